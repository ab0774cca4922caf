#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <set>
#include <thread>

#include "Foundation/Json.h"
#include "Foundation/Text.h"
#include "LiveProcess.h"
#include "NimbeEngine/Speech/SpeechModel.h"
#include "Sound.h"
#include "Support/RecordedSpeech.h"
#include "Support/SoundSession.h"
#include "Support/WordErrors.h"

namespace nimbe {
namespace {

namespace fs = std::filesystem;

/// A microphone into which books are read, and the program that listens to it.
struct ListenTest : SoundTest {
    TemporaryFolder folder;
    std::vector<RecordedSpeech> book = RecordedSpeech::sentences();
    std::string microphone = std::getenv("SESSION_MIC_SINK");

    void SetUp() override {
        SoundTest::SetUp();
        ::setenv("NIMBE_HOME", (folder.path / "home").c_str(), 1);
        fs::create_directory(folder.path / "home");
        EXPECT_EQ(recordings(), "");
    }

    static std::vector<std::string> listening(std::vector<std::string> options = {}) {
        options.insert(options.begin(), {NIMBE_EXECUTABLE, "listen"});
        return options;
    }
    static Process devices(std::vector<std::string> options = {}) {
        options.insert(options.begin(), {NIMBE_EXECUTABLE, "devices"});
        return Process::run(std::move(options), "");
    }
    /// False when the program does not open the microphone.
    static bool waitUntilHeard() {
        // The server tells of it, but nothing that a test could wait on for less.
        for (int i = 0; i < 200; ++i) {
            if (!recordings().empty()) return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        return false;
    }
    /// Ends when all of it was played.
    static Process played(const fs::path& file, const std::string& sink) {
        return Process::run(
            {"/usr/bin/paplay", "--device=" + sink, "--latency-msec=40", file.string()}, "");
    }
    void play(const fs::path& file) const { EXPECT_EQ(played(file, microphone).exitCode, 0); }

    /// A sentence; with a second one after a pause.
    [[nodiscard]] fs::path spoken(std::size_t sentences) const {
        auto sound = Sound::read(book[4].file);
        if (sentences == 2) {
            sound.append(Sound::silence(1));
            sound.append(Sound::read(book[1].file));
        }
        sound.append(Sound::silence(0.3)); // paplay ends a little before its sound does
        auto path = folder.path / "spoken.wav";
        sound.writeWav(path);
        return path;
    }
    [[nodiscard]] std::vector<std::string> wordsSpoken(std::size_t sentences) const {
        auto words = book[4].words;
        if (sentences == 2) words.insert(words.end(), book[1].words.begin(), book[1].words.end());
        return words;
    }
    /// Into a model of the user's that has all sizes right.
    void damageModel() const {
        const auto& model = *SpeechModel::named("tiny");
        const auto models = folder.path / "home" / "data" / "models" / model.folder;
        fs::create_directories(models);
        for (const auto& file : model.files) {
            std::ofstream(models / file.name).flush();
            fs::resize_file(models / file.name, file.bytes);
        }
    }
};

/// What stood on the terminal's line, in its order.
std::vector<std::string> drawnLines(const std::string& terminal) {
    std::vector<std::string> all;
    for (std::size_t at = 0; at < terminal.size();) {
        const auto end = std::min(terminal.find("\x1B[K", at), terminal.size());
        auto line = terminal.substr(at, end - at);
        line.erase(0, line.find_last_of('\r') + 1);
        all.push_back(line);
        at = end + 3;
    }
    return all;
}

} // namespace

TEST_F(ListenTest, devicesAreListedAndChosen) {
    EXPECT_EQ(devices().output, "* System Default\n  VirtualMicrophone (virtual_mic)\n");
    const auto chosen = devices({"--use", "virtual_mic"});
    EXPECT_EQ(chosen.exitCode, 0);
    EXPECT_EQ(chosen.output, "  System Default\n* VirtualMicrophone (virtual_mic)\n");
    EXPECT_EQ(devices().output, chosen.output) << "the choice is kept";

    const auto unknown = devices({"--use", "no_such_mic"});
    EXPECT_EQ(unknown.exitCode, 1);
    EXPECT_EQ(unknown.error, "nimbe devices: There is no microphone \"no_such_mic\".\n");
    EXPECT_EQ(devices({"--use", ""}).exitCode, 1);
    EXPECT_EQ(devices().output, chosen.output) << "and stays";
    // What is played elsewhere is no microphone.
    EXPECT_EQ(devices({"--use", "speakers.monitor"}).exitCode, 1);
    {
        UsbMicrophone usb("usb", "rate=48000 channels=1", "Zo\xC3\xAB");
        EXPECT_NE(devices({"--use", usb.uid()}).output.find("* Zo\xC3\xAB (usb_mic)\n"),
            std::string::npos);
    }
    const auto list = Json::parse(devices({"--json"}).output);
    ASSERT_TRUE(list);
    const auto& gone = list->asArray()->back();
    EXPECT_EQ(*gone.member("id")->asString(), "usb_mic");
    EXPECT_EQ(*gone.member("available")->asBool(), false);
    EXPECT_EQ(*gone.member("chosen")->asBool(), true);
    EXPECT_EQ(devices({"--use", "default"}).exitCode, 0);
    EXPECT_EQ(devices().output, "* System Default\n  VirtualMicrophone (virtual_mic)\n");
}

TEST_F(ListenTest, whatIsSaidIsWrittenHoweverItEnds) {
    struct Case {
        const char* why;
        void (*end)(LiveProcess&);
    };
    const Case cases[] = {
        {"the end of input",
            [](LiveProcess& program) {
                program.endInput();
            }},
        {"Enter",
            [](LiveProcess& program) {
                program.type("\n");
            }},
        {"Ctrl+C",
            [](LiveProcess& program) {
                program.signal(SIGINT);
            }},
        {"the session's end",
            [](LiveProcess& program) {
                program.signal(SIGTERM);
            }},
    };
    const auto file = spoken(1);
    const auto read = Process::run({NIMBE_EXECUTABLE, "transcribe", file.string()}, "");
    EXPECT_EQ(wordsOf(read.output), wordsSpoken(1));
    for (const auto& c : cases) {
        LiveProcess program(listening());
        ASSERT_TRUE(waitUntilHeard()) << c.why;
        program.type("not a line yet");
        play(file);
        c.end(program);
        const auto process = program.finish();
        EXPECT_EQ(process.exitCode, 0) << c.why;
        EXPECT_EQ(process.error, "") << c.why;
        EXPECT_EQ(wordsOf(process.output), wordsOf(read.output)) << c.why << process.output;
    }
}

TEST_F(ListenTest, theTextGrowsOnATerminal) {
    const auto file = spoken(2);
    for (const unsigned columns : {80U, 40U}) {
        LiveProcess program(listening({"--save"}), columns);
        ASSERT_TRUE(program.waitForError("Listening. Enter ends."));
        ASSERT_TRUE(waitUntilHeard());
        play(file);
        program.type("\n");
        const auto process = program.finish();
        EXPECT_EQ(process.exitCode, 0);
        EXPECT_EQ(wordsOf(process.output), wordsSpoken(2)) << process.output;
        std::set<std::string> texts;
        for (const auto& line : drawnLines(process.error)) {
            EXPECT_LT(text::characterCount(line), columns) << line;
            const auto blank = line.find(' ');
            if (blank != line.npos) texts.insert(line.substr(blank + 1));
        }
        EXPECT_GE(texts.size(), 5U);
        const auto isWithin = [&](const char* part) {
            return std::any_of(texts.begin(), texts.end(),
                [&](const auto& text) { return text.find(part) != text.npos; });
        };
        EXPECT_TRUE(isWithin("himself")) << "of the first sentence";
        EXPECT_TRUE(isWithin("disposed")) << "of the second";
        EXPECT_TRUE(process.error.ends_with("\r\x1B[K")) << "the line is cleared at the end";
    }
}

TEST_F(ListenTest, silenceIsNoText) {
    LiveProcess program(listening({"--model", "tiny"}));
    ASSERT_TRUE(waitUntilHeard());
    program.endInput();
    const auto process = program.finish();
    EXPECT_EQ(process.exitCode, 0);
    EXPECT_EQ(process.output, "");
    EXPECT_EQ(process.error, "nimbe listen: Nothing was heard.\n");
}

TEST_F(ListenTest, aModelThatCannotBeUsedIsNamedSo) {
    damageModel();
    LiveProcess program(listening({"--model", "tiny"}));
    const auto process = program.finish();
    EXPECT_EQ(process.exitCode, 1);
    EXPECT_EQ(process.output, "");
    EXPECT_TRUE(process.error.starts_with("nimbe listen: ")) << process.error;
    EXPECT_EQ(std::count(process.error.begin(), process.error.end(), '\n'), 1) << process.error;
}

TEST_F(ListenTest, anUnpluggedMicrophoneCostsNoWord) {
    UsbMicrophone usb("usb");
    ASSERT_EQ(devices({"--use", usb.uid()}).exitCode, 0);
    LiveProcess program(listening());
    ASSERT_TRUE(waitUntilHeard());
    EXPECT_EQ(played(spoken(2), "usb").exitCode, 0);
    usb.unplug();
    const auto process = program.finish();
    EXPECT_EQ(process.exitCode, 1);
    EXPECT_EQ(wordsOf(process.output), wordsSpoken(2)) << process.output;
    EXPECT_EQ(process.error,
        "nimbe listen: The selected microphone is unavailable. Choose another microphone in "
        "Settings. On the command line: nimbe devices --use ID\n");
}

TEST_F(ListenTest, aKilledServerCostsNoWord) {
    SoundServer server; // in the place of the session's
    (void)pactl({"load-module", "module-null-sink", "sink_name=desk", "norewinds=1"});
    (void)pactl(
        {"load-module", "module-remap-source", "source_name=desk_mic", "master=desk.monitor"});
    (void)pactl({"set-default-source", "desk_mic"});
    LiveProcess program(listening({"--json"}));
    ASSERT_TRUE(waitUntilHeard());
    EXPECT_EQ(played(spoken(1), "desk").exitCode, 0);
    server.kill();
    const auto process = program.finish();
    EXPECT_EQ(process.exitCode, 1);
    const auto transcript = Json::parse(process.output);
    ASSERT_TRUE(transcript) << process.output << process.error;
    EXPECT_EQ(wordsOf(*transcript->member("text")->asString()), wordsSpoken(1));
    EXPECT_EQ(transcript->member("utterances")->asArray()->size(), 1U);
    EXPECT_EQ(std::count(process.error.begin(), process.error.end(), '\n'), 1) << process.error;
    server.start();
}

TEST_F(ListenTest, aMissingServerIsToldSoon) {
    const auto expectTold = [&] {
        for (const std::string verb : {"devices", "listen"}) {
            LiveProcess program({NIMBE_EXECUTABLE, verb});
            const auto process = program.finish(10);
            EXPECT_EQ(process.exitCode, 1) << verb;
            EXPECT_EQ(process.output, "") << verb;
            EXPECT_EQ(process.error, "nimbe " + verb + ": The sound server does not answer.\n");
        }
    };
    const std::string session = std::getenv("PULSE_SERVER");
    ::setenv("PULSE_SERVER", "unix:/nonexistent", 1);
    expectTold();
    ::setenv("PULSE_SERVER", session.c_str(), 1);
    const StoppedServer stopped;
    expectTold();
}

} // namespace nimbe
