#include "NimbeMCP/LocalHistoryBackend.h"

#include <algorithm>
#include <charconv>
#include <span>

#include "Foundation/Text.h"

namespace nimbe {
namespace {

/// A whole decimal number with an optional sign; anything else counts as the begin, as all
/// below 0 do.
std::int64_t place(std::optional<std::string_view> cursor) {
    auto text = cursor.value_or("");
    // from_chars knows the minus sign only.
    if (text.starts_with('+')) text.remove_prefix(1);
    std::int64_t number = 0;
    const char* end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && rest == end ? number : 0;
}

/// The text, or its first `most` user-perceived characters and "…".
std::string excerpt(std::string_view text, std::size_t most) {
    const auto kept = text::beginning(text, most);
    constexpr std::string_view ellipsis = "…";
    std::string result;
    result.reserve(kept.size() + ellipsis.size());
    result += kept;
    if (kept.size() < text.size()) result += ellipsis;
    return result;
}

} // namespace

MemoryIndex& LocalHistoryBackend::index() {
    auto records = source.records();
    if (!known || known->records() != records) {
        known.reset(); // not both at once: they may be large
        known.emplace(std::move(records));
    }
    return *known;
}

std::vector<SearchHit> LocalHistoryBackend::search(const MemoryQuery& query) {
    auto& all = index();
    const auto most = static_cast<std::size_t>(std::max<std::int64_t>(query.limit, 0));
    const auto found = all.search(query, most);
    std::vector<SearchHit> hits;
    hits.reserve(found.size());
    for (const auto position : found) {
        const auto& record = all[position];
        hits.push_back(
            {record.id, excerpt(record.text, snippetLength), 1, record.createdAt, record.mode});
    }
    return hits;
}

std::optional<MemoryRecord> LocalHistoryBackend::get(std::string_view id) {
    const auto* record = index().find(id);
    return record ? std::optional(*record) : std::nullopt;
}

MemoryBackend::Page LocalHistoryBackend::list(std::int64_t limit,
    std::optional<std::string_view> cursor, std::optional<Date> since, std::optional<Date> until) {
    const auto& all = index();
    const auto range = all.between(since, until);
    const auto count = static_cast<std::int64_t>(range.size());
    const auto start = std::clamp<std::int64_t>(place(cursor), 0, count);
    const auto wanted = std::clamp<std::int64_t>(limit, 0, count);
    const auto end = std::min(start + wanted, count);
    Page page;
    page.kept = all.records();
    page.records = std::span(*page.kept)
                       .subspan(range.begin + static_cast<std::size_t>(start),
                           static_cast<std::size_t>(end - start));
    if (start + wanted < count) page.nextCursor = std::to_string(end);
    return page;
}

} // namespace nimbe
