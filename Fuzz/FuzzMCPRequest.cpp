#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>

#include "Check.h"
#include "Fakes/FakeMemoryRecordSource.h"
#include "Foundation/Text.h"
#include "NimbeMCP/HistoryTools.h"
#include "NimbeMCP/LocalHistoryBackend.h"
#include "NimbeMCP/MCPServer.h"

namespace {

using namespace nimbe;

const MemoryRecords records{
    {"A", "The Café opens at nine o'clock", Date{794003200.5}, "messaging"},
    {"B", "STRASSE \"nine\"\n\x01 \\ lives", Date{794003100}, "email"},
    {"C", "cafe\u0301 au lait", Date{794003000}, "notes"},
    {"D", "ΟΔΥΣΣΕΥΣ 👨‍👩‍👧‍👦", Date{-1}, "poem"},
};

/// The ids by a look at every record; only for queries without other conditions.
std::string plainSearch(const Json& arguments) {
    const auto words = text::words(text::lowerCase(*arguments.member("query")->asString()));
    const auto* limit = arguments.member("limit");
    auto left = limit && limit->asNumber() ? limit->asInteger().value() : 10;
    std::string ids;
    for (const auto& record : records) {
        const auto lower = text::lowerCase(record.text);
        const bool isFound = std::all_of(words.begin(), words.end(),
            [&](const auto& word) { return lower.find(word) != lower.npos; });
        if (isFound && left-- > 0) ids += record.id;
    }
    return ids;
}

void checkTool(const Json& request, const Json& result) {
    check(result.asObject()->size() == 2, "a tool's result has two members");
    const auto& content = result.member("content")->asArray()->at(0);
    const auto& answer = *content.member("text")->asString();
    if (result.member("isError")->asBool().value()) return;
    const auto payload = Json::parse(answer);
    check(payload && payload->asObject(), "what a tool answers is JSON");
    const auto* found = payload->member("results");
    const auto* arguments = request.member("params")->member("arguments");
    if (!found || arguments->member("since") || arguments->member("until") ||
        arguments->member("mode"))
        return;
    const auto* limit = arguments->member("limit");
    if (limit && limit->asNumber() && !limit->asInteger()) return; // 10.0 is one, 0.5 is not
    std::string ids;
    for (const auto& hit : *found->asArray()) ids += *hit.member("id")->asString();
    check(ids == plainSearch(*arguments), "what is found is what a plain search finds");
}

void checkAnswer(const Result<Json, JsonError>& request, const std::string& answer) {
    check(answer.find('\n') == answer.npos, "an answer is one line");
    const auto json = Json::parse(answer);
    check(json && json->asObject()->size() == 3, "an answer is JSON with three members");
    const auto* id = request ? request->member("id") : nullptr;
    check(id ? *json->member("id") == *id : json->member("id")->isNull(), "the id comes back");
    const auto* result = json->member("result");
    check((result != nullptr) != (json->member("error") != nullptr), "a result or an error");
    if (result && result->member("content")) checkTool(*request, *result);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FakeMemoryRecordSource source(records);
    LocalHistoryBackend backend(source);
    HistoryTools tools(backend);
    MCPServer server(tools, "1");
    std::string_view lines(reinterpret_cast<const char*>(data), size);
    while (!lines.empty()) {
        const auto line = lines.substr(0, lines.find('\n'));
        lines.remove_prefix(std::min(lines.size(), line.size() + 1));
        const auto request = Json::parse(line);
        const auto answer = server.handle(line);
        if (answer)
            checkAnswer(request, *answer);
        else
            check(line.empty() || request, "only what is JSON is passed over");
    }
    return 0;
}
