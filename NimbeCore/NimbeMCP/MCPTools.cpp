#include "NimbeMCP/MCPTools.h"

#include "NimbeMCP/JsonText.h"

namespace nimbe {
namespace {

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

} // namespace

std::string_view MCPTools::descriptors() {
    return tools;
}

std::string MCPTools::error(std::string_view text) {
    std::string json = R"({"content":[{"type":"text","text":)";
    jsonText::appendQuoted(json, text);
    json += R"(}],"isError":true})";
    return json;
}

} // namespace nimbe
