#pragma once

#include <deque>
#include <map>
#include <string>
#include <vector>

#include "NimbeEngine/Speech/SpeechModels.h"

namespace nimbe {

/// Models in memory, by id. Answers of install() and verify() come from their queues,
/// in order; with none left an installation never ends and a model is as it should be.
class FakeSpeechModels final : public SpeechModels {
public:
    using Outcome = Result<void, SpeechModelError>;

    std::map<std::string, Place, std::less<>> places;
    std::map<std::string, std::uint64_t, std::less<>> partial; // bytes
    std::deque<Outcome> installations;
    std::deque<Outcome> verifications;
    std::optional<SpeechModelError> removalError;
    std::vector<std::uint64_t> progress; // bytes that an installation tells of
    std::vector<std::string> asked;      // "install ID ADDRESS", "remove ID", "verify ID"

    [[nodiscard]] std::optional<Place> installed(const SpeechModel& model) override {
        const auto found = places.find(model.id);
        return found == places.end() ? std::nullopt : std::optional(found->second);
    }
    [[nodiscard]] std::uint64_t downloaded(const SpeechModel& model) override {
        const auto found = partial.find(model.id);
        return found == partial.end() ? 0 : found->second;
    }
    [[nodiscard]] Task<Outcome> install(const SpeechModel& model, std::string address,
        std::function<void(Progress)> onProgress) override {
        const std::string id(model.id);
        const auto total = model.bytes();
        asked.push_back("install " + id + " " + address);
        for (const auto done : progress) onProgress({done, total});
        if (installations.empty()) co_await never();
        auto outcome = std::move(installations.front());
        installations.pop_front();
        if (outcome) places[id] = Place{"/models/" + id, false};
        co_return outcome;
    }
    [[nodiscard]] Outcome remove(const SpeechModel& model) override {
        asked.push_back("remove " + std::string(model.id));
        if (removalError) return failure(*removalError);
        const auto found = places.find(model.id);
        if (found == places.end())
            return failure(SpeechModelError{SpeechModelError::Kind::notInstalled});
        if (found->second.isPackaged)
            return failure(SpeechModelError{SpeechModelError::Kind::isPackaged});
        places.erase(found);
        return {};
    }
    [[nodiscard]] Task<Outcome> verify(const SpeechModel& model) override {
        const bool isThere = places.contains(model.id);
        asked.push_back("verify " + std::string(model.id));
        if (!isThere) co_return failure(SpeechModelError{SpeechModelError::Kind::notInstalled});
        if (verifications.empty()) co_return Outcome();
        auto outcome = std::move(verifications.front());
        verifications.pop_front();
        co_return outcome;
    }
};

} // namespace nimbe
