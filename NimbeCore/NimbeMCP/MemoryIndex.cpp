#include "NimbeMCP/MemoryIndex.h"

#include <algorithm>
#include <bit>
#include <functional>

#include "Foundation/Text.h"
#include "NimbeMCP/SubstringSearch.h"

namespace nimbe {
namespace {

/// The words of a query as they stand in texts in lower case: the longest first, which is
/// in the fewest of them; none twice.
std::vector<std::string> wordsOf(std::string_view query) {
    auto words = text::words(text::lowerCase(query));
    std::sort(words.begin(), words.end(), [](const auto& left, const auto& right) {
        return left.size() != right.size() ? left.size() > right.size() : left < right;
    });
    words.erase(std::unique(words.begin(), words.end()), words.end());
    return words;
}

} // namespace

MemoryIndex::MemoryIndex(std::shared_ptr<const MemoryRecords> records) : all(std::move(records)) {}

MemoryIndex::Range MemoryIndex::between(
    std::optional<Date> since, std::optional<Date> until) const {
    auto begin = all->begin();
    auto end = all->end();
    if (until)
        begin = std::partition_point(
            begin, end, [&](const auto& record) { return record.createdAt > *until; });
    if (since)
        end = std::partition_point(
            begin, end, [&](const auto& record) { return record.createdAt >= *since; });
    return {static_cast<std::size_t>(begin - all->begin()),
        static_cast<std::size_t>(end - all->begin())};
}

std::vector<std::size_t> MemoryIndex::search(const MemoryQuery& query, std::size_t most) {
    std::vector<std::size_t> found;
    if (most == 0) return found;
    const auto range = between(query.since, query.until);
    const auto words = wordsOf(query.text);
    const auto take = [&](std::size_t position) {
        if (query.mode && (*all)[position].mode != *query.mode) return;
        for (std::size_t i = 1; i < words.size(); ++i)
            if (!holds(position, words[i])) return;
        found.push_back(position);
    };
    if (words.empty()) {
        for (std::size_t at = range.begin; at < range.end && found.size() < most; ++at) take(at);
        return found;
    }
    if (begins.empty()) lowerTexts();
    const SubstringSearch first(words.front());
    const auto texts = std::string_view(lowered).substr(0, begins[range.end]);
    std::size_t position = range.begin;
    while (position < range.end && found.size() < most) {
        const auto at = first.find(texts, begins[position]);
        if (at == texts.npos) break;
        const auto behind = std::upper_bound(
            begins.begin() + static_cast<std::ptrdiff_t>(position), begins.end(), at);
        position = static_cast<std::size_t>(behind - begins.begin());
        take(position - 1);
    }
    return found;
}

bool MemoryIndex::holds(std::size_t position, std::string_view word) const {
    const auto begin = begins[position];
    return std::string_view(lowered).substr(begin, begins[position + 1] - begin).find(word) !=
           std::string_view::npos;
}

void MemoryIndex::lowerTexts() {
    std::size_t size = 0;
    for (const auto& record : *all) size += record.text.size() + 1;
    lowered.reserve(size); // what changes its length in lower case is rare
    begins.reserve(all->size() + 1);
    for (const auto& record : *all) {
        begins.push_back(lowered.size());
        text::appendLowerCase(lowered, record.text);
        lowered += '\n';
    }
    begins.push_back(lowered.size());
}

void MemoryIndex::hashIds() {
    slots.assign(std::bit_ceil(all->size() * 2 + 1), 0);
    const std::size_t mask = slots.size() - 1;
    // In their order: of equal ids the first is met first.
    for (std::size_t position = 0; position < all->size(); ++position) {
        auto slot = std::hash<std::string_view>{}((*all)[position].id) & mask;
        while (slots[slot] != 0) slot = (slot + 1) & mask;
        slots[slot] = static_cast<std::uint32_t>(position + 1);
    }
}

const MemoryRecord* MemoryIndex::find(std::string_view id) {
    if (slots.empty()) hashIds();
    const std::size_t mask = slots.size() - 1;
    for (auto slot = std::hash<std::string_view>{}(id)&mask; slots[slot] != 0;
         slot = (slot + 1) & mask)
        if (const auto& record = (*all)[slots[slot] - 1]; record.id == id) return &record;
    return nullptr;
}

} // namespace nimbe
