#include <cmath>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <limits>
#include <numbers>
#include <random>
#include <sndfile.h>
#include <sstream>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include "Foundation/Json.h"
#include "Sound.h"
#include "Support/Process.h"
#include "Support/RecordedSpeech.h"
#include "Support/TemporaryFolder.h"
#include "Support/WordErrors.h"

namespace nimbe {
namespace {

namespace fs = std::filesystem;

constexpr int wav16 = SF_FORMAT_WAV | SF_FORMAT_PCM_16;

struct TranscribeTest : testing::Test {
    TemporaryFolder folder;
    std::vector<RecordedSpeech> book = RecordedSpeech::sentences();

    TranscribeTest() {
        ::setenv("NIMBE_HOME", (folder.path / "home").c_str(), 1);
        fs::create_directory(folder.path / "home");
    }
    static Process run(std::vector<std::string> words) {
        words.insert(words.begin(), {NIMBE_EXECUTABLE, "transcribe"});
        return Process::run(std::move(words), "", 100);
    }
    [[nodiscard]] std::string file(const std::string& name) const {
        return (folder.path / name).string();
    }
    static Json json(std::string_view line) {
        auto parsed = Json::parse(line);
        EXPECT_TRUE(parsed) << line;
        return parsed ? *parsed : Json();
    }
};

std::vector<std::string> lines(const std::string& text) {
    std::istringstream stream(text);
    std::vector<std::string> all;
    for (std::string line; std::getline(stream, line);) all.push_back(line);
    return all;
}

std::string textIn(const Json& object, const char* name) {
    const auto* member = object.member(name);
    const auto* text = member ? member->asString() : nullptr;
    EXPECT_NE(text, nullptr) << name;
    return text ? *text : "";
}

double numberIn(const Json& object, const char* name) {
    const auto* member = object.member(name);
    const auto number = member ? member->asDouble() : std::nullopt;
    EXPECT_TRUE(number) << name;
    return number.value_or(-1);
}

} // namespace

TEST_F(TranscribeTest, aReadBookIsWrittenDown) {
    std::vector<std::string> said;
    std::vector<std::string> files;
    for (const auto& sentence : book) {
        said.insert(said.end(), sentence.words.begin(), sentence.words.end());
        files.push_back(sentence.file.string());
    }
    const auto process = run(files);
    EXPECT_EQ(process.exitCode, 0);
    EXPECT_EQ(process.error, "");
    const auto errors = WordErrors::between(said, wordsOf(process.output)).wrong;
    std::cout << errors << " word errors in " << said.size() << " words\n";
    EXPECT_LE(errors, 1U) << process.output; // the second "a" of the stutter cannot be heard
    const auto written = lines(process.output);
    ASSERT_EQ(written.size(), 9U) << "a line for each, blank ones between them";
    for (std::size_t i = 1; i < written.size(); i += 2) EXPECT_EQ(written[i], "");
}

TEST_F(TranscribeTest, theSameSoundInAnotherFormIsTheSameText) {
    struct Case {
        const char* why;
        int format;
        int rate;
        int channels;
        std::size_t mostErrors;
    };
    const Case cases[] = {
        {"a studio's", SF_FORMAT_FLAC | SF_FORMAT_PCM_24, 48'000, 2, 1},
        {"a video's", SF_FORMAT_OGG | SF_FORMAT_VORBIS, 44'100, 2, 2},
        {"a messenger's", SF_FORMAT_OGG | SF_FORMAT_OPUS, 48'000, 1, 2},
        {"a telephone's, without the upper half", wav16, 8'000, 1, 4},
        {"a music player's", SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III, 44'100, 2, 2},
        {"a recorder's", SF_FORMAT_WAV | SF_FORMAT_FLOAT, 96'000, 6, 1},
    };
    Sound all;
    std::vector<std::string> said;
    for (const auto& sentence : book) {
        all.append(Sound::read(sentence.file));
        all.append(Sound::silence(1.5));
        said.insert(said.end(), sentence.words.begin(), sentence.words.end());
    }
    std::vector<std::string> files;
    for (const auto& c : cases) {
        files.push_back(file(c.why));
        all.at(c.rate).write(files.back(), c.format, c.channels);
    }
    const auto process = run(files);
    EXPECT_EQ(process.exitCode, 0) << process.error;
    const auto texts = lines(process.output);
    ASSERT_EQ(texts.size(), 2 * std::size(cases) - 1) << process.output;
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        const auto errors = WordErrors::between(said, wordsOf(texts[2 * i])).wrong;
        std::cout << cases[i].why << ": " << errors << " word errors\n";
        EXPECT_LE(errors, cases[i].mostErrors) << cases[i].why << texts[2 * i];
    }
}

TEST_F(TranscribeTest, whereNobodySpeaksThereIsNoText) {
    std::mt19937 random(1);
    std::normal_distribution<float> noise(0, std::pow(10.0F, -30.0F / 20));
    auto hiss = Sound::silence(5);
    for (auto& sample : hiss.samples) sample = noise(random);
    auto hum = Sound::silence(5);
    for (std::size_t i = 0; i < hum.samples.size(); ++i)
        hum.samples[i] = 0.3F * static_cast<float>(std::sin(
                                    2 * std::numbers::pi * 50 * static_cast<double>(i) / hum.rate));
    auto noNumbers = Sound::silence(2);
    for (auto& sample : noNumbers.samples) sample = std::numeric_limits<float>::quiet_NaN();
    auto word = Sound::read(book[0].file);
    word.samples = {word.samples.begin() + 16'000, word.samples.begin() + 16'000 + 3'200};
    struct Case {
        const char* why;
        Sound sound;
        int format = wav16;
    };
    const Case cases[] = {
        {"silence", Sound::silence(5)},
        {"noise at -30 dB", hiss},
        {"a hum of 50 Hz", hum},
        {"a fifth of a second of speech", word},
        {"no sample at all", Sound()},
        {"one sample", Sound::silence(1.0 / 16'000)},
        {"what is no number", noNumbers, SF_FORMAT_WAV | SF_FORMAT_FLOAT},
    };
    std::vector<std::string> words{"--model", "tiny"};
    std::string expected;
    for (const auto& c : cases) {
        words.push_back(file(c.why));
        c.sound.write(words.back(), c.format);
        expected += "nimbe transcribe: " + words.back() + ": There is no speech in it.\n";
    }
    const auto process = run(words);
    EXPECT_EQ(process.exitCode, 0);
    EXPECT_EQ(process.output, "");
    EXPECT_EQ(process.error, expected);
}

// With the small model, for the time that it takes.
TEST_F(TranscribeTest, tenMinutesLoseNothingAndTakeNoMoreMemoryThanOne) {
    constexpr double pause = 1.5;
#ifdef NIMBE_SANITIZED
    constexpr std::size_t rounds = 2; // it takes many times as long
#else
    constexpr std::size_t rounds = 19;
#endif
    Sound round;
    std::vector<double> begins; // of what is said, within one round
    for (const auto& sentence : book) {
        begins.push_back(round.seconds());
        round.append(Sound::read(sentence.file));
        round.append(Sound::silence(pause));
    }
    round.writeWav(file("round.wav"));
    Sound all;
    for (std::size_t i = 0; i < rounds; ++i) all.append(round);
    all.writeWav(file("all.wav"));

    // What the libraries take differs from run to run by up to 28 MB.
    long brief = std::numeric_limits<long>::max();
    for (int i = 0; i < 3; ++i)
        brief = std::min(brief, run({"--model", "tiny", file("round.wav")}).peakMemory);
    const auto process = run({"--model", "tiny", "--json", file("all.wav")});
    ASSERT_EQ(process.exitCode, 0) << process.error;
    const auto transcript = json(process.output);
    const auto utterances = *transcript.member("utterances")->asArray();
    EXPECT_NEAR(numberIn(transcript, "duration"), all.seconds(), 0.1);
    ASSERT_EQ(utterances.size(), rounds * book.size());
    std::string joined;
    std::size_t errors = 0;
    double last = 0;
    for (std::size_t i = 0; i < utterances.size(); ++i) {
        const auto& sentence = book[i % book.size()];
        const double begin = numberIn(utterances[i], "begin");
        const double end = numberIn(utterances[i], "end");
        const auto earlierRounds = i / book.size();
        const double expected =
            static_cast<double>(earlierRounds) * round.seconds() + begins[i % book.size()];
        EXPECT_GE(begin, last) << i;
        EXPECT_LT(begin, end) << i;
        EXPECT_NEAR(begin, expected, 0.8) << i;
        last = end;
        const auto text = textIn(utterances[i], "text");
        joined += (i == 0 ? "" : " ") + text;
        const auto wrong = WordErrors::between(sentence.words, wordsOf(text)).wrong;
        errors += wrong;
        EXPECT_LE(wrong, 3U) << i << ": " << text;
    }
    EXPECT_LE(last, all.seconds());
    EXPECT_EQ(textIn(transcript, "raw"), joined);
    std::cout << errors << " word errors, " << brief << " kB for half a minute, "
              << process.peakMemory << " kB for ten\n";
#ifndef NIMBE_SANITIZED // which takes memory of its own
    EXPECT_GT(all.seconds(), 600);
    // The sound alone would be 39 MB as the recogniser takes it.
    EXPECT_LT(process.peakMemory, brief + 35'000);
    EXPECT_LT(process.peakMemory, 400'000);
#endif
}

TEST_F(TranscribeTest, wrongInputsGetAClearAnswer) {
    const auto good = book[1].file.string();
    ASSERT_EQ(::mkfifo(file("pipe").c_str(), 0600), 0);
    std::ofstream(file("text.wav")) << "These are words, but nobody says them.\n";
    std::ofstream(file("empty.wav")).flush();
    auto slow = Sound::silence(1);
    slow.rate = 10;
    slow.writeWav(file("slow.wav"));
    struct Case {
        std::vector<std::string> words;
        int exitCode;
        std::string message;
    };
    const Case cases[] = {
        {{}, 2, "nimbe: FILE is required\nUsage: nimbe transcribe FILE... [OPTIONS]\n"},
        {{file("none.wav")}, 1, file("none.wav") + ": There is no such file.\n"},
        {{""}, 1, ": There is no such file.\n"},
        {{folder.path.string()}, 1, "The file cannot be read: it is not a regular file.\n"},
        {{file("pipe")}, 1, "The file cannot be read: it is not a regular file.\n"},
        {{file("text.wav")}, 1,
            "This is not a recording that can be read (WAV, FLAC, Ogg, MP3).\n"},
        {{file("empty.wav")}, 1,
            "This is not a recording that can be read (WAV, FLAC, Ogg, MP3).\n"},
        {{file("slow.wav")}, 1,
            "The recording has a sample rate or channels that cannot be used.\n"},
        {{good, "--model", "huge"}, 2, "--model: huge not in {base,tiny}"},
        {{good, "--mode", "poem"}, 2, "--mode: poem not in "},
        {{good, "--raw", "--json"}, 2, "--raw excludes --json"},
        {{good, "--loud"}, 2, "--loud"},
        {{"-dash.wav"}, 2, "FILE is required"},
        {{"--model", "tiny", "--", "-dash.wav"}, 1, "-dash.wav: There is no such file.\n"},
        {{file("line\nbreak\x1B[31m.wav"), "--model", "tiny"}, 1,
            "/line break [31m.wav: There is no such file.\n"},
    };
    for (const auto& c : cases) {
        const auto process = run(c.words);
        const auto why = c.words.empty() ? "nothing" : c.words.back();
        EXPECT_EQ(process.exitCode, c.exitCode) << why;
        EXPECT_EQ(process.output, "") << why;
        EXPECT_NE(process.error.find(c.message), std::string::npos) << why << process.error;
    }
}

TEST_F(TranscribeTest, aBadFileAmongOthersCostsOnlyItsOwnText) {
    auto half = Sound::read(book[0].file);
    half.append(Sound::silence(2));
    half.writeWav(file("half.wav"));
    fs::resize_file(file("half.wav"), fs::file_size(file("half.wav")) - 32'000);
    const std::vector<std::string> files{
        book[4].file.string(), file("none.wav"), file("half.wav"), book[1].file.string()};
    auto words = files;
    words.emplace_back("--json");
    const auto process = run(words);
    EXPECT_EQ(process.exitCode, 1);
    EXPECT_EQ(
        process.error, "nimbe transcribe: " + file("none.wav") + ": There is no such file.\n" +
                           "nimbe transcribe: " + file("half.wav") +
                           ": The recording is damaged; what comes before that place was read.\n");
    const auto objects = lines(process.output);
    ASSERT_EQ(objects.size(), files.size()) << process.output;
    for (std::size_t i = 0; i < objects.size(); ++i)
        EXPECT_EQ(textIn(json(objects[i]), "file"), files[i]);
    EXPECT_EQ(wordsOf(textIn(json(objects[0]), "text")), book[4].words);
    EXPECT_EQ(textIn(json(objects[1]), "error"), "There is no such file.");
    EXPECT_EQ(json(objects[1]).member("text"), nullptr);
    EXPECT_EQ(wordsOf(textIn(json(objects[2]), "text")), book[0].words);
    EXPECT_TRUE(textIn(json(objects[2]), "error").starts_with("The recording is damaged"));
    EXPECT_EQ(wordsOf(textIn(json(objects[3]), "text")), book[1].words);
    EXPECT_EQ(json(objects[3]).member("error"), nullptr);
}

TEST_F(TranscribeTest, textsAreKeptWithTheirMode) {
    const auto before = run({book[4].file.string(), "--raw"});
    EXPECT_EQ(wordsOf(before.output), book[4].words);
    const auto process =
        run({book[4].file.string(), book[1].file.string(), "--save", "--mode", "email"});
    EXPECT_EQ(process.exitCode, 0) << process.error;
    const auto kept = Process::run({NIMBE_EXECUTABLE, "history", "list", "--json"}, "");
    const auto list = json(kept.output);
    ASSERT_EQ(list.asArray()->size(), 2U);
    const auto texts = lines(process.output);
    EXPECT_EQ(textIn(list.asArray()->at(0), "text"), texts.at(2)); // the newest first
    EXPECT_EQ(textIn(list.asArray()->at(1), "text"), texts.at(0));
    EXPECT_EQ(textIn(list.asArray()->at(0), "mode"), "email");

    // Nothing was said, so nothing is kept.
    Sound::silence(1).writeWav(file("quiet.wav"));
    EXPECT_EQ(run({file("quiet.wav"), "--save"}).exitCode, 0);
    // What cannot be kept is still written.
    fs::remove_all(folder.path / "home");
    std::ofstream(folder.path / "home") << "a file in the folder's place";
    const auto unkept = run({book[4].file.string(), "--save"});
    EXPECT_EQ(unkept.exitCode, 1);
    EXPECT_EQ(wordsOf(unkept.output), book[4].words);
    EXPECT_NE(unkept.error.find("not kept"), std::string::npos) << unkept.error;
}

TEST_F(TranscribeTest, namesAreWrittenAsTheyAre) {
    fs::current_path(folder.path);
    for (const std::string name : {"\xC3\x9C"
                                   "bung \xE2\x98\x83.wav",
             "-dash.wav", "a \"b\".wav"}) {
        fs::copy_file(book[4].file, name);
        const auto process = run({"--model", "tiny", "--json", "--", name});
        EXPECT_EQ(process.exitCode, 0) << name << process.error;
        EXPECT_EQ(textIn(json(process.output), "file"), name);
    }
    fs::copy_file(book[4].file, "bad\xFF.wav");
    const auto process = run({"--model", "tiny", "--json", "bad\xFF.wav"});
    EXPECT_EQ(process.exitCode, 0) << process.error;
    EXPECT_EQ(textIn(json(process.output), "file"), "bad\xEF\xBF\xBD.wav"); // as JSON can say it
    fs::current_path("/");
}

TEST_F(TranscribeTest, anOutputThatCannotBeWrittenIsAFailure) {
    const auto process =
        Process::run({"/bin/sh", "-c", R"("$0" transcribe --model tiny "$1" >/dev/full)",
                         NIMBE_EXECUTABLE, book[4].file.string()},
            "");
    EXPECT_EQ(process.exitCode, 1);
    EXPECT_EQ(process.error, "nimbe transcribe: The output cannot be written.\n");
}

} // namespace nimbe
