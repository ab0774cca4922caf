#pragma once

#include <string>
#include <vector>

#include "NimbeApp/RemoteInstance.h"

namespace nimbe {

/// Answers as scripted, and keeps what it was asked.
class FakeRemoteInstance final : public RemoteInstance {
public:
    std::optional<RemoteError> error = RemoteError{RemoteError::Kind::notRunning};
    bool isDone = true;
    RemoteStatus state{"idle"};
    std::vector<std::string> asked;

    Result<bool, RemoteError> ask(Command command) override {
        constexpr const char* names[] = {"toggle", "start", "stop", "cancel"};
        return answer(names[static_cast<int>(command)], isDone);
    }
    Result<RemoteStatus, RemoteError> status() override { return answer("status", state); }
    Result<void, RemoteError> activate() override { return answer("activate"); }
    Result<void, RemoteError> quit() override { return answer("quit"); }

private:
    template <typename T>
    Result<T, RemoteError> answer(const char* what, T value) {
        asked.emplace_back(what);
        if (error) return failure(*error);
        return value;
    }
    Result<void, RemoteError> answer(const char* what) {
        asked.emplace_back(what);
        if (error) return failure(*error);
        return {};
    }
};

} // namespace nimbe
