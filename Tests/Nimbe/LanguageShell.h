#pragma once

#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Fakes/FakeLanguageModel.h"
#include "Fakes/FakeLogSink.h"
#include "Fakes/FakeTransformProvider.h"
#include "Fakes/MemoryUserDefaults.h"
#include "Fakes/NoShellServices.h"
#include "PlatformStorage/AtomicFileWriter.h"

namespace nimbe {

/// A shell whose language model and history are fakes.
class LanguageShell : public testing::Test, protected NoShellServices {
protected:
    struct Run {
        int exitCode;
        std::string output;
        std::string error;
    };
    using Kind = LanguageModel::Availability::Kind;

    FakeLanguageModel model;
    FakeTransformProvider transforms;
    MemoryUserDefaults defaults;
    FakeLogSink log;
    DictationHistory notes{defaults, log};
    HistoryLibrary library{notes, defaults, [](auto) {
                               return HistoryLibrary::Synced();
                           }};
    UnavailableTextEmbedder embedder;
    AtomicFileWriter writer;
    HistoryServices historyServices{library, embedder, writer, Calendar::user(), Date::now()};
    RunLoop loop;
    std::function<void()> whenAsked; // while the verb begins to wait
    bool isInterrupted = false;      // when the first partial texts are there
    LanguageServices services{loop, model, transforms, defaults, [this](const auto& interrupt) {
                                  return waitWith(interrupt);
                              }};
    bool hasLanguage = true;

    const LanguageServices* language(std::ostream& error) override {
        if (hasLanguage) return &services;
        error << "nimbe: no language\n";
        return nullptr;
    }
    UserDefaults* settings(std::ostream& /*error*/) override { return &defaults; }
    const HistoryServices* history(std::ostream& /*error*/) override { return &historyServices; }

    Run run(std::vector<const char*> words, const std::string& text = "") {
        words.insert(words.begin(), "nimbe");
        std::istringstream input(text);
        std::ostringstream output;
        std::ostringstream error;
        const int code = runCommandLine(
            static_cast<int>(words.size()), words.data(), *this, {input, output, error});
        return {code, output.str(), error.str()};
    }

private:
    Token waitWith(const std::function<void()>& interrupt) {
        if (whenAsked) whenAsked();
        // Behind the start of the transform, which is posted next.
        if (isInterrupted) loop.post([this, interrupt] { loop.post(interrupt); });
        return {};
    }
};

} // namespace nimbe
