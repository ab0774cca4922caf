#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

namespace nimbe {

/// A speech model: a folder of files, each known by its length and digest.
struct SpeechModel {
    struct File {
        std::string_view name;
        std::uint64_t bytes;
        std::string_view sha256; // lower case
    };

    std::string_view id; // what the user calls it
    std::string_view title;
    std::string_view folder; // its name, also under the address to download from
    std::string_view locale;
    std::array<File, 4> files;

    [[nodiscard]] std::uint64_t bytes() const;

    static constexpr std::string_view defaultID = "base";
    static constexpr std::string_view encoder = "encoder_model.onnx";
    static constexpr std::string_view decoder = "decoder_model_merged.onnx";
    static constexpr std::string_view tokens = "tokens.txt";
    static constexpr std::string_view voiceDetector = "silero_vad.onnx";

    /// All that this version knows, the default first.
    [[nodiscard]] static std::span<const SpeechModel> all();
    /// Null when there is none of that id.
    [[nodiscard]] static const SpeechModel* named(std::string_view id);
};

} // namespace nimbe
