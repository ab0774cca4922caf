#pragma once

#include <array>
#include <cstdlib>
#include <functional>
#include <optional>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "Fakes/FakeLogSink.h"
#include "Fakes/MemoryUserDefaults.h"
#include "Foundation/RunLoop.h"
#include "NimbeEngine/Language/LanguageModelSettings.h"
#include "PlatformHttp/CurlHttpClient.h"
#include "PlatformLanguageModel/ChatCompletionsModel.h"
#include "Support/TestModelServer.h"

namespace nimbe {

using Dialect = TestModelServer::Dialect;
using Availability = LanguageModel::Availability;

inline constexpr std::array allDialects{Dialect::llamaCpp, Dialect::ollama, Dialect::lmStudio};

inline const char* name(Dialect dialect) {
    switch (dialect) {
    case Dialect::llamaCpp: return "llama.cpp";
    case Dialect::ollama: return "Ollama";
    case Dialect::lmStudio: return "LM Studio";
    }
    return "";
}

inline std::string word(TestMisbehaviour kind) {
    for (const auto& named : testMisbehaviours())
        if (named.kind == kind) return std::string(named.word);
    return "none";
}

/// Counts what is sent, to whomever.
class CountedHttpClient final : public HttpClient {
public:
    int sent = 0;

    explicit CountedHttpClient(HttpClient& client) : client(client) {}
    Task<Result<HttpResponse, HttpError>> send(HttpRequest request, Receiver* receiver) override {
        ++sent;
        return client.send(std::move(request), receiver);
    }

private:
    HttpClient& client;
};

template <class T>
Task<void> keepResult(Task<T> task, std::optional<T>& result) {
    result = co_await task;
}

/// The model as the application has it, over TCP, with settings that name one address.
struct ModelServerScene {
    RunLoop loop;
    MemoryUserDefaults defaults;
    FakeLogSink log;
    CurlHttpClient curl{loop};
    CountedHttpClient http{curl};
    ChatCompletionsModel model{loop, http, defaults, log};

    explicit ModelServerScene(const std::string& address) {
        for (const char* proxy : {"http_proxy", "https_proxy", "all_proxy", "no_proxy"})
            ::unsetenv(proxy);
        EXPECT_TRUE(defaults.set(LanguageModelSettings::address, address));
        EXPECT_TRUE(defaults.set(LanguageModelSettings::deadline, std::string("1")));
    }

    /// Absent: it did not end in time.
    template <class T>
    std::optional<T> run(Task<T> task, Seconds watchdog = 20) {
        std::optional<T> result;
        const Token bite = loop.schedule(watchdog, [this] { loop.stop(); });
        loop.runUntilDone(keepResult(std::move(task), result));
        return result;
    }
    /// Runs the loop until `isDone`; false when that takes too long.
    bool waitUntil(const std::function<bool()>& isDone, Seconds watchdog = 20) {
        for (const Seconds end = loop.now() + watchdog; loop.now() < end;) {
            if (isDone()) return true;
            const Token wake = loop.schedule(0.005, [this] { loop.stop(); });
            loop.run();
        }
        return false;
    }
    Availability::Kind check() {
        const auto found = run(model.check());
        return found ? found->kind : Availability::Kind::unknown;
    }
    [[nodiscard]] Availability::Kind known() { return model.availability().get().kind; }
};

/// Some sentences without a word that the rules take out.
inline std::string spokenText(std::size_t bytes) {
    const std::string sentence = "we met at the caf\xC3\xA9 and went through the plans for May, ";
    std::string text;
    while (text.size() < bytes) text += sentence;
    return text + "then we left";
}

/// What the server's own model makes of it.
inline std::string polishedText(std::string text) {
    text[0] = 'W';
    return text + ".";
}

} // namespace nimbe
