#include "NimbeMCP/HistoryTools.h"

#include <array>
#include <charconv>
#include <cmath>
#include <optional>
#include <utility>

#include "Foundation/ISO8601.h"
#include "Foundation/Text.h"
#include "NimbeMCP/JsonText.h"
#include "NimbeMCP/MCPTools.h"

namespace nimbe {
namespace {

using jsonText::appendEscapedTwice;

constexpr std::int64_t searchLimit = 10;
constexpr std::int64_t listLimit = 20;

const std::string* stringIn(const Json& arguments, std::string_view name) {
    const auto* value = arguments.member(name);
    return value ? value->asString() : nullptr;
}

/// Whole numbers however they are written: 10.0 and 1e1 are integers by JSON Schema, and some
/// clients write every number so.
std::int64_t integerIn(const Json& arguments, std::string_view name, std::int64_t otherwise) {
    const auto* value = arguments.member(name);
    if (!value) return otherwise;
    if (const auto integer = value->asInteger()) return *integer;
    const auto number = value->asDouble();
    const bool isWhole = number && std::trunc(*number) == *number && std::abs(*number) < 0x1p63;
    return isWhole ? static_cast<std::int64_t>(*number) : otherwise;
}

std::optional<Date> dateIn(const Json& arguments, std::string_view name) {
    const auto* text = stringIn(arguments, name);
    return text ? iso8601::parse(*text) : std::nullopt;
}

/// With a point, as whole numbers too are a score.
void appendScore(std::string& to, double score) {
    std::array<char, 32> buffer{};
    const auto [end, error] = std::to_chars(buffer.data(), buffer.data() + buffer.size(), score);
    const std::string_view text(buffer.data(), static_cast<std::size_t>(end - buffer.data()));
    to += text;
    if (text.find_first_of(".e") == text.npos) to += ".0";
}

// A payload is written as the text of a string that it will be: its own quotation marks have
// a backslash, and what stands between them is escaped twice.

std::string payloadBeginning(std::string_view begin) {
    constexpr std::size_t usualSize = 8192; // of a page, and a little
    std::string payload;
    payload.reserve(usualSize);
    payload += MCPTools::beforePayload;
    payload += begin;
    return payload;
}

void appendId(std::string& to, std::string_view id) {
    to += to.back() == '}' ? R"(,{\"id\":\")" : R"({\"id\":\")";
    appendEscapedTwice(to, id);
}

void appendEnd(std::string& to, Date createdAt, std::string_view mode) {
    to += R"(,\"createdAt\":\")";
    iso8601::append(to, createdAt);
    to += R"(\",\"mode\":\")";
    appendEscapedTwice(to, mode);
    to += R"(\"})";
}

std::string finished(std::string&& payload, std::string_view end) {
    payload += end;
    payload += MCPTools::behindPayload;
    return std::move(payload);
}

} // namespace

std::string HistoryTools::call(std::string_view name, const Json& arguments) {
    if (name == "search_dictations") return search(arguments);
    if (name == "get_dictation") return get(arguments);
    if (name == "list_dictations") return list(arguments);
    return MCPTools::error("Unknown tool: " + std::string(name));
}

std::string HistoryTools::search(const Json& arguments) {
    const auto* words = stringIn(arguments, "query");
    if (!words) return MCPTools::error("Missing 'query'");
    MemoryQuery query{*words, integerIn(arguments, "limit", searchLimit),
        dateIn(arguments, "since"), dateIn(arguments, "until")};
    if (const auto* mode = stringIn(arguments, "mode")) query.mode = *mode;
    const auto hits = backend.search(query);
    auto payload = payloadBeginning(R"({\"results\":[)");
    for (const auto& hit : hits) {
        appendId(payload, hit.id);
        payload += R"(\",\"snippet\":\")";
        appendEscapedTwice(payload, hit.snippet);
        payload += R"(\",\"score\":)";
        appendScore(payload, hit.score);
        appendEnd(payload, hit.createdAt, hit.mode);
    }
    return finished(std::move(payload), "]}");
}

std::string HistoryTools::get(const Json& arguments) {
    const auto* id = stringIn(arguments, "id");
    if (!id) return MCPTools::error("Missing 'id'");
    const auto record = backend.get(*id);
    if (!record) return MCPTools::error("No dictation with id " + *id);
    auto payload = payloadBeginning("");
    appendId(payload, record->id);
    payload += R"(\",\"text\":\")";
    appendEscapedTwice(payload, record->text);
    payload += R"(\")";
    appendEnd(payload, record->createdAt, record->mode);
    return finished(std::move(payload), "");
}

std::string HistoryTools::list(const Json& arguments) {
    const auto* cursor = stringIn(arguments, "cursor");
    const auto page = backend.list(integerIn(arguments, "limit", listLimit),
        cursor ? std::optional<std::string_view>(*cursor) : std::nullopt,
        dateIn(arguments, "since"), dateIn(arguments, "until"));
    auto payload = payloadBeginning(R"({\"items\":[)");
    for (const auto& record : page.records) {
        const auto preview = text::beginning(record.text, previewLength);
        appendId(payload, record.id);
        payload += R"(\",\"preview\":\")";
        appendEscapedTwice(payload, preview);
        payload += preview.size() < record.text.size() ? R"(…\")" : R"(\")";
        appendEnd(payload, record.createdAt, record.mode);
    }
    payload += ']';
    if (page.nextCursor) {
        payload += R"(,\"nextCursor\":\")";
        appendEscapedTwice(payload, *page.nextCursor);
        payload += R"(\")";
    }
    return finished(std::move(payload), "}");
}

} // namespace nimbe
