#include <cstdlib>
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "NimbeEngine/Speech/SpeechModel.h"
#include "Sound.h"
#include "Support/Process.h"
#include "Support/RecordedSpeech.h"
#include "Support/TemporaryFolder.h"

namespace nimbe {
namespace {

namespace fs = std::filesystem;

const fs::path packaged =
    fs::path(NIMBE_EXECUTABLE).parent_path().parent_path() / "share" / "nimbe" / "models";

/// The program with what it loads, copied to a place of its own.
struct ModelFaultTest : testing::Test {
    TemporaryFolder folder;
    const SpeechModel& model = *SpeechModel::named("tiny");
    fs::path userFolder = folder.path / "home" / "data" / "models" / model.folder;
    std::string recording = RecordedSpeech::sentences()[4].file.string();

    ModelFaultTest() { ::setenv("NIMBE_HOME", (folder.path / "home").c_str(), 1); }

    [[nodiscard]] Process transcribe(const fs::path& executable = NIMBE_EXECUTABLE) const {
        return Process::run({executable.string(), "transcribe", "--model", "tiny", recording}, "");
    }
    [[nodiscard]] fs::path copiedExecutable() const {
        auto copy = folder.path / "bin" / "nimbe";
        fs::create_directories(copy.parent_path());
        fs::copy_file(NIMBE_EXECUTABLE, copy);
        return copy;
    }
    /// In the user's folder, which comes before what is packaged: `damaged` has other
    /// bytes, all sizes are right.
    void installWith(std::string_view damaged, const std::string& bytes) const {
        fs::remove_all(userFolder);
        fs::create_directories(userFolder);
        for (const auto& file : model.files) {
            const auto path = userFolder / file.name;
            if (file.name != damaged) {
                fs::create_symlink(packaged / model.folder / file.name, path);
                continue;
            }
            std::ofstream(path, std::ios::binary) << bytes;
            fs::resize_file(path, file.bytes);
        }
    }
};

} // namespace

TEST_F(ModelFaultTest, aDamagedModelOfTheUsersIsNamedSo) {
    const std::string noise = [] {
        std::string bytes;
        for (unsigned i = 0, state = 1; i < 100'000; ++i) {
            state = state * 1664525 + 1013904223;
            bytes += static_cast<char>(state >> 24);
        }
        return bytes;
    }();
    for (const auto& file : model.files) {
        for (const auto& bytes : {std::string(), noise}) {
            installWith(file.name, bytes);
            const auto process = transcribe();
            EXPECT_EQ(process.exitCode, 1) << file.name;
            EXPECT_EQ(process.output, "") << file.name;
            EXPECT_EQ(process.error,
                "nimbe transcribe: The speech model cannot be used. Check it with: nimbe models "
                "verify\n")
                << file.name;
        }
    }
}

TEST_F(ModelFaultTest, anIncompleteModelOfTheUsersGivesWayToThePackagedOne) {
    installWith(SpeechModel::tokens, "");
    fs::resize_file(userFolder / SpeechModel::tokens, 10);
    const auto process = transcribe();
    EXPECT_EQ(process.exitCode, 0) << process.error;
    EXPECT_NE(process.output, "");
}

TEST_F(ModelFaultTest, aProgramWithoutItsPartsSaysWhichIsMissing) {
    const auto executable = copiedExecutable();
    const auto library = [&](const char* name) {
        return folder.path / "lib" / "nimbe" / name;
    };
    const auto install = [&](const char* name) {
        const auto program = fs::path(NIMBE_EXECUTABLE).parent_path().parent_path();
        fs::create_symlink(program / "lib" / "nimbe" / name, library(name));
    };
    const auto expectMissing = [&](const std::string& what) {
        const auto process = transcribe(executable);
        EXPECT_EQ(process.exitCode, 1);
        EXPECT_EQ(process.output, "");
        EXPECT_TRUE(process.error.starts_with("nimbe: " + what + " cannot be loaded: "))
            << process.error;
    };
    expectMissing("The command line");
    fs::create_directories(library("").parent_path());
    install("libnimbe-shell.so");
    expectMissing("What Nimbe hears with");
    std::ofstream(library("libnimbe-hearing.so")) << "no library";
    expectMissing("What Nimbe hears with");
    fs::remove(library("libnimbe-hearing.so"));
    install("libnimbe-hearing.so");
    const auto noModel = transcribe(executable);
    EXPECT_EQ(noModel.exitCode, 1);
    EXPECT_EQ(noModel.error,
        "nimbe transcribe: The speech model is not installed, or not whole. Install it with: "
        "nimbe models install tiny --from ADDRESS\n");
    const auto format = Process::run({executable.string(), "format"}, "um hello");
    EXPECT_EQ(format.exitCode, 0) << "what needs neither works";
}

} // namespace nimbe
