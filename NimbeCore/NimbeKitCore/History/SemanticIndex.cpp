#include "NimbeKitCore/History/SemanticIndex.h"

#include <algorithm>
#include <cmath>
#include <set>
#include <tuple>

#include "Foundation/Text.h"
#include "NimbeKitCore/History/HistoryFilter.h"

namespace nimbe {

double SemanticIndex::similarity(
    const std::vector<double>& left, const std::vector<double>& right) {
    if (left.size() != right.size()) return 0;
    double product = 0;
    double leftSquares = 0;
    double rightSquares = 0;
    for (std::size_t i = 0; i < left.size(); ++i) {
        product += left[i] * right[i];
        leftSquares += left[i] * left[i];
        rightSquares += right[i] * right[i];
    }
    if (!(leftSquares > 0) || !(rightSquares > 0)) return 0;
    const double cosine = product / (std::sqrt(leftSquares) * std::sqrt(rightSquares));
    // Not a number has no place in an order.
    return std::isfinite(cosine) ? cosine : 0;
}

std::vector<SemanticIndex::Scored> SemanticIndex::scored(
    std::string_view query, const std::vector<DictationEntry>& entries) {
    std::set<UUID> keywords;
    for (const auto& entry : HistoryFilter::matching(query, entries, locale))
        keywords.insert(entry.id);
    const auto wanted = embedder.vector(query);
    std::vector<Scored> candidates;
    candidates.reserve(entries.size());
    for (const auto& entry : entries) {
        Scored candidate{entry, keywords.contains(entry.id)};
        const auto vector = wanted ? embedder.vector(entry.text) : std::nullopt;
        if (vector) candidate.semantic = similarity(*wanted, *vector);
        candidates.push_back(std::move(candidate));
    }
    return candidates;
}

std::vector<DictationEntry> SemanticIndex::ranked(std::string_view query,
    const std::vector<DictationEntry>& in, std::optional<std::size_t> limit) {
    const auto most = limit.value_or(in.size());
    const auto trimmed = text::trimmed(query);
    if (trimmed.empty())
        return {in.begin(), in.begin() + static_cast<std::ptrdiff_t>(std::min(most, in.size()))};

    auto candidates = scored(trimmed, in);
    std::erase_if(candidates, [](const Scored& candidate) {
        return !candidate.isKeyword && candidate.semantic < semanticThreshold;
    });
    const auto rank = [](const Scored& candidate) {
        return std::tuple(
            candidate.isKeyword, candidate.semantic, candidate.entry.timestamp.sinceReference);
    };
    std::stable_sort(candidates.begin(), candidates.end(),
        [&](const Scored& left, const Scored& right) { return rank(left) > rank(right); });
    std::vector<DictationEntry> result;
    for (auto& candidate : candidates) {
        if (result.size() == most) break;
        result.push_back(std::move(candidate.entry));
    }
    return result;
}

} // namespace nimbe
