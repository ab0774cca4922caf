#include "NimbeMCP/HistoryTools.h"

#include <array>
#include <charconv>
#include <cmath>
#include <optional>

#include "Foundation/ISO8601.h"
#include "NimbeMCP/JsonText.h"
#include "NimbeMCP/LocalHistoryBackend.h"
#include "NimbeMCP/MCPTools.h"

namespace nimbe {
namespace {

using jsonText::appendMember;

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

void appendEnd(std::string& to, Date createdAt, std::string_view mode) {
    to += ',';
    appendMember(to, "createdAt", iso8601::format(createdAt));
    to += ',';
    appendMember(to, "mode", mode);
    to += '}';
}

} // namespace

std::string HistoryTools::call(std::string_view name, const Json& arguments) {
    if (name == "search_dictations") return search(arguments);
    if (name == "get_dictation") return get(arguments);
    if (name == "list_dictations") return list(arguments);
    return MCPTools::result("Unknown tool: " + std::string(name), true);
}

std::string HistoryTools::search(const Json& arguments) {
    const auto* words = stringIn(arguments, "query");
    if (!words) return MCPTools::result("Missing 'query'", true);
    MemoryQuery query{*words, integerIn(arguments, "limit", searchLimit),
        dateIn(arguments, "since"), dateIn(arguments, "until")};
    if (const auto* mode = stringIn(arguments, "mode")) query.mode = *mode;
    std::string payload = R"({"results":[)";
    for (const auto& hit : backend.search(query)) {
        if (payload.back() == '}') payload += ',';
        payload += '{';
        appendMember(payload, "id", hit.id);
        payload += ',';
        appendMember(payload, "snippet", hit.snippet);
        payload += R"(,"score":)";
        appendScore(payload, hit.score);
        appendEnd(payload, hit.createdAt, hit.mode);
    }
    payload += "]}";
    return MCPTools::result(payload, false);
}

std::string HistoryTools::get(const Json& arguments) {
    const auto* id = stringIn(arguments, "id");
    if (!id) return MCPTools::result("Missing 'id'", true);
    const auto record = backend.get(*id);
    if (!record) return MCPTools::result("No dictation with id " + *id, true);
    std::string payload = "{";
    appendMember(payload, "id", record->id);
    payload += ',';
    appendMember(payload, "text", record->text);
    appendEnd(payload, record->createdAt, record->mode);
    return MCPTools::result(payload, false);
}

std::string HistoryTools::list(const Json& arguments) {
    const auto* cursor = stringIn(arguments, "cursor");
    const auto page = backend.list(integerIn(arguments, "limit", listLimit),
        cursor ? std::optional<std::string_view>(*cursor) : std::nullopt,
        dateIn(arguments, "since"), dateIn(arguments, "until"));
    std::string payload = R"({"items":[)";
    for (const auto& record : page.records) {
        if (payload.back() == '}') payload += ',';
        payload += '{';
        appendMember(payload, "id", record.id);
        payload += ',';
        appendMember(payload, "preview", excerpt(record.text, previewLength));
        appendEnd(payload, record.createdAt, record.mode);
    }
    payload += ']';
    if (page.nextCursor) {
        payload += ',';
        appendMember(payload, "nextCursor", *page.nextCursor);
    }
    payload += '}';
    return MCPTools::result(payload, false);
}

} // namespace nimbe
