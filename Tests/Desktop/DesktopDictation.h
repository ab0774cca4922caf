#pragma once

#include <cstdlib>
#include <iostream>

#include <gtest/gtest.h>

#include "DesktopScene.h"
#include "Support/WordErrors.h"

namespace nimbe {

/// The whole program on a real desktop: keys, microphone, windows, clipboard, history.
struct DesktopDictation : testing::Test, DesktopScene {
    std::vector<RecordedSpeech> phrases = RecordedSpeech::phrases();
    std::vector<RecordedSpeech> sentences = RecordedSpeech::sentences();

    /// Each test begins with nothing stored.
    void SetUp() override { std::filesystem::remove_all(dataFolder()); }
    void TearDown() override {
        windows.key(DesktopWindows::altLeft, false);
        if (HasFailure() && app) std::cerr << "--- the program's log\n" << app->output();
        app.reset();
    }
    [[nodiscard]] static std::filesystem::path dataFolder() {
        return std::filesystem::path(std::getenv("XDG_DATA_HOME")) / "nimbe";
    }
    [[nodiscard]] static std::filesystem::path sentinel() {
        return dataFolder() / "launch-sentinel.json";
    }
    [[nodiscard]] static std::filesystem::path settingsFile() {
        return dataFolder() / "settings.sqlite";
    }
    /// Few words may be misheard, none may be missing.
    void expectSaid(const std::string& text, const RecordedSpeech& speech) {
        const auto errors = WordErrors::between(speech.words, wordsOf(text));
        EXPECT_LE(errors.wrong, errors.words / 4) << text << "\nsaid: " << speech.said;
    }
};

} // namespace nimbe
