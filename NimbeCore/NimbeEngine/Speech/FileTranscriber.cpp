#include "NimbeEngine/Speech/FileTranscriber.h"

#include <algorithm>
#include <exception>

#include "NimbeEngine/Audio/AudioLevel.h"
#include "NimbeEngine/Speech/UtteranceRecognizer.h"

namespace nimbe {
namespace {

constexpr AudioFormat heardFormat{SpeechDecoder::sampleRate, 1};
constexpr std::size_t framesAtOnce = 4096;

/// Reads a file in the format that the recogniser hears.
class ConvertedFile {
public:
    ConvertedFile(AudioFile& file, AudioConverter* converter, std::size_t capacity)
        : file(file), converter(converter), input(framesAtOnce * file.format().channels),
          output(heardFormat, capacity) {}

    /// False at the end, or after an error.
    [[nodiscard]] bool next() {
        if (isEnded) return false;
        const auto count = file.read(input);
        if (!count) error = count.error();
        isEnded = !count || *count == 0;
        const std::span samples(input.data(), isEnded ? 0 : *count * file.format().channels);
        if (!converter) {
            output.frameLength = samples.size();
            std::copy(samples.begin(), samples.end(), output.samples.begin());
        } else if (!(isEnded ? converter->drain(output) : converter->convert(samples, output))) {
            error = AudioFileError{AudioFileError::Kind::unusable, converter->error()};
            isEnded = true;
            return false;
        }
        return true;
    }

    [[nodiscard]] std::span<const float> samples() const {
        return {output.samples.data(), output.frameLength};
    }

    std::optional<AudioFileError> error;

private:
    AudioFile& file;
    AudioConverter* converter; // null: the file has the format already
    std::vector<float> input;
    PCMBuffer output;
    bool isEnded = false;
};

} // namespace

FileTranscriber::Transcript FileTranscriber::transcribe(
    AudioFile& file, const OnProgress& onProgress) {
    Transcript transcript;
    const auto format = file.format();
    const auto capacity = conversionCapacity(format.sampleRate, heardFormat.sampleRate);
    std::unique_ptr<AudioConverter> converter;
    if (capacity && format != heardFormat) converter = converters.make(format, heardFormat);
    if (!capacity || (format != heardFormat && !converter)) {
        transcript.error = AudioFileError{AudioFileError::Kind::unusable};
        return transcript;
    }
    UtteranceRecognizer utterances(*recognizer.detector, *recognizer.decoder,
        UtteranceRecognizer::Volatile::unwanted, [&](TranscriptionResult result) {
            transcript.text += result.text;
            transcript.utterances.push_back(std::move(result));
        });
    const auto keepsGoing = [] {
        return true;
    };
    ConvertedFile converted(file, converter.get(), *capacity);
    try {
        while (converted.next()) {
            utterances.hear(converted.samples());
            (void)utterances.work(keepsGoing);
            if (!onProgress(utterances.heardSeconds())) break;
        }
        utterances.finish();
        (void)utterances.work(keepsGoing);
        transcript.error = converted.error;
    } catch (const std::exception& error) {
        // What was recognised until then is kept.
        transcript.error = AudioFileError{AudioFileError::Kind::notRecognised, error.what()};
    }
    transcript.duration = utterances.heardSeconds();
    return transcript;
}

} // namespace nimbe
