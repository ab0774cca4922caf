#include "NimbeMCP/MCPTools.h"

#include <array>
#include <charconv>
#include <cmath>
#include <optional>

#include "Foundation/ISO8601.h"
#include "NimbeMCP/JsonText.h"
#include "NimbeMCP/LocalHistoryBackend.h"

namespace nimbe {
namespace {

using jsonText::appendMember;

// Models read these to choose a tool: they say what it is for, not how it works.
constexpr std::string_view tools =
    R"([{"name":"search_dictations",)"
    R"("description":"Search the user's past voice dictations (their own on-device history) by )"
    R"(keyword. Returns the most relevant recent dictations with a short snippet. Use this to )"
    R"(recall what the user said or noted before.",)"
    R"("inputSchema":{"type":"object","properties":{)"
    R"("query":{"type":"string",)"
    R"("description":"Keywords to search for. All words must appear."},)"
    R"("limit":{"type":"integer","description":"Max results to return. Default 10."},)"
    R"("since":{"type":"string",)"
    R"("description":"Only include dictations on/after this ISO-8601 date-time."},)"
    R"("until":{"type":"string",)"
    R"("description":"Only include dictations on/before this ISO-8601 date-time."},)"
    R"("mode":{"type":"string",)"
    R"("description":"Filter by dictation mode: messaging, email, notes, or coding."}},)"
    R"("required":["query"]},)"
    R"("annotations":{"readOnlyHint":true,"openWorldHint":false}},)"
    R"({"name":"get_dictation",)"
    R"("description":"Get the full text of one dictation by its id (as returned by )"
    R"(search_dictations or list_dictations).",)"
    R"("inputSchema":{"type":"object","properties":{)"
    R"("id":{"type":"string","description":"The dictation id."}},"required":["id"]},)"
    R"("annotations":{"readOnlyHint":true,"openWorldHint":false}},)"
    R"({"name":"list_dictations",)"
    R"("description":"List the user's recent dictations, newest first, with pagination. Use when )"
    R"(the user wants to browse rather than search.",)"
    R"("inputSchema":{"type":"object","properties":{)"
    R"("limit":{"type":"integer","description":"Max results per page. Default 20."},)"
    R"("cursor":{"type":"string",)"
    R"("description":"Pagination cursor from a previous call's nextCursor."},)"
    R"("since":{"type":"string",)"
    R"("description":"Only include dictations on/after this ISO-8601 date-time."},)"
    R"("until":{"type":"string",)"
    R"("description":"Only include dictations on/before this ISO-8601 date-time."}}},)"
    R"("annotations":{"readOnlyHint":true,"openWorldHint":false}}])";

constexpr std::int64_t searchLimit = 10;
constexpr std::int64_t listLimit = 20;

std::string result(std::string_view text, bool isError) {
    std::string json;
    json.reserve(text.size() + text.size() / 4 + 64);
    json += R"({"content":[{"type":"text","text":)";
    jsonText::appendQuoted(json, text);
    json += isError ? R"(}],"isError":true})" : R"(}],"isError":false})";
    return json;
}

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

std::string_view MCPTools::descriptors() {
    return tools;
}

std::string MCPTools::call(std::string_view name, const Json& arguments) {
    if (name == "search_dictations") return search(arguments);
    if (name == "get_dictation") return get(arguments);
    if (name == "list_dictations") return list(arguments);
    return result("Unknown tool: " + std::string(name), true);
}

std::string MCPTools::search(const Json& arguments) {
    const auto* words = stringIn(arguments, "query");
    if (!words) return result("Missing 'query'", true);
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
    return result(payload, false);
}

std::string MCPTools::get(const Json& arguments) {
    const auto* id = stringIn(arguments, "id");
    if (!id) return result("Missing 'id'", true);
    const auto record = backend.get(*id);
    if (!record) return result("No dictation with id " + *id, true);
    std::string payload = "{";
    appendMember(payload, "id", record->id);
    payload += ',';
    appendMember(payload, "text", record->text);
    appendEnd(payload, record->createdAt, record->mode);
    return result(payload, false);
}

std::string MCPTools::list(const Json& arguments) {
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
    return result(payload, false);
}

} // namespace nimbe
