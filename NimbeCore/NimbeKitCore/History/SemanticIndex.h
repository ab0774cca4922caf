#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "Foundation/Locale.h"
#include "NimbeKitCore/History/DictationEntry.h"

namespace nimbe {

/// Turns a text into a vector; texts of similar meaning have vectors of similar
/// direction. Any length, the same for all texts of one embedder. Main thread; may
/// take milliseconds a text.
class TextEmbedder {
public:
    virtual ~TextEmbedder() = default;

    /// Absent when there is none for this text.
    [[nodiscard]] virtual std::optional<std::vector<double>> vector(std::string_view text) = 0;
};

/// For where there is no embedder: the search goes by keyword alone.
class UnavailableTextEmbedder final : public TextEmbedder {
public:
    [[nodiscard]] std::optional<std::vector<double>> vector(std::string_view /*text*/) override {
        return std::nullopt;
    }
};

/// Searches entries by keyword and by meaning.
class SemanticIndex {
public:
    // Similar texts of unlike words are above it, unlike texts below.
    static constexpr double semanticThreshold = 0.3;

    explicit SemanticIndex(TextEmbedder& embedder, Locale locale = Locale::forText())
        : embedder(embedder), locale(std::move(locale)) {}

    /// Keyword matches first, then entries that are close enough in meaning; each
    /// closest first, newest first where equally close. A blank query gives the
    /// entries as they are. Asks for a vector for each entry.
    [[nodiscard]] std::vector<DictationEntry> ranked(std::string_view query,
        const std::vector<DictationEntry>& in, std::optional<std::size_t> limit = std::nullopt);

    /// The cosine of the angle between two vectors; 0 when they differ in length,
    /// are empty or have no direction.
    [[nodiscard]] static double similarity(
        const std::vector<double>& left, const std::vector<double>& right);

private:
    struct Scored {
        DictationEntry entry;
        bool isKeyword = false;
        double semantic = 0;
    };

    TextEmbedder& embedder;
    Locale locale;

    [[nodiscard]] std::vector<Scored> scored(
        std::string_view query, const std::vector<DictationEntry>& entries);
};

} // namespace nimbe
