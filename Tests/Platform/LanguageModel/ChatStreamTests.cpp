#include <gtest/gtest.h>

#include "PlatformLanguageModel/ChatStream.h"
#include "Recorded.h"

namespace nimbe {
namespace {

using Kind = LanguageModelError::Kind;
using Field = GeneratedType::Field;

const GeneratedType oneText{"Answer", {{"text", ""}}};
const GeneratedType draft{"Draft", {{"name", ""}, {"points", "", Field::Kind::texts}}};

constexpr std::size_t limit = 1 << 20;

/// "WHOLE or PART: CONTENT", or "error: KIND".
std::string read(const std::string& name, const std::string& body,
    const LanguageModel::Request& request, std::size_t piece = limit) {
    ChatStream stream(limit);
    HttpResponse head{200};
    if (name.ends_with(".stream")) head.headers = {{"content-type", "text/event-stream"}};
    stream.begin(head);
    for (std::size_t at = 0; at < body.size(); at += piece)
        if (!stream.add(std::string_view(body).substr(at, piece))) break;
    stream.finish();
    const auto told = [](Kind kind) {
        return "error: " + std::to_string(static_cast<int>(kind));
    };
    if (stream.fault()) return told(stream.fault()->kind);
    if (const auto error = stream.error()) return told(error->error().kind);
    const auto response = stream.completion().response(request, stream.isStream());
    if (!response) return told(response.error().kind);
    return (response->isWhole ? "whole: " : "part: ") + response->content.text();
}

std::string error(Kind kind) {
    return "error: " + std::to_string(static_cast<int>(kind));
}

std::string message(
    const std::string& content, const char* reason = "stop", const std::string& more = "") {
    Json text(content);
    return R"({"choices":[{"index":0,"message":{"role":"assistant","content":)" + text.text() +
           R"(},"finish_reason":")" + reason + R"("}])" + more + "}";
}

} // namespace

TEST(ChatStream, readsWhatServersSend) {
    struct Case {
        const char* name;
        std::string expected;
    };
    const Case cases[] = {
        {"llama.cpp/chat.json", R"(whole: {"text":"tkbz"})"},
        {"llama.cpp/chat.stream", R"(whole: {"text":"tkbz"})"},
        {"llama.cpp/chat-thinking.json", R"(whole: {"text":" i}k aq j"})"},
        {"llama.cpp/chat-thinking.stream", R"(whole: {"text":" i}k aq j"})"},
        {"llama.cpp/chat-length.json", "part: {}"},
        {"llama.cpp/chat-length.stream", R"(part: {"text":"jq\""})"},
        {"llama.cpp/chat-pings.stream", R"(part: {"text":"jj\""})"},
        {"llama.cpp/chat-thinking-length.json", error(Kind::brokenOff)},
        {"llama.cpp/error-midstream.stream", error(Kind::tooLong)},
        {"ollama/chat.json", R"(whole: {"text":"Grüße, 漢字."})"},
        {"ollama/chat.stream", R"(whole: {"text":"Grüße, 漢字."})"},
        {"ollama/error-midstream.stream", R"(part: {"text":"Grüße, 漢字."})"},
        {"lm-studio/error-too-long.stream", error(Kind::tooLong)},
        {"lm-studio/error-path.json", error(Kind::refused)},
    };
    for (const auto& c : cases) {
        const auto body = recorded(c.name);
        for (const std::size_t piece : {1U, 2U, 3U, 7U, 1000U, 100'000U})
            EXPECT_EQ(read(c.name, body, {"", "", oneText}, piece), c.expected)
                << c.name << ", cut at " << piece;
    }
}

TEST(ChatStream, takesOnlyAnAnswerOfTheFormAskedFor) {
    struct Case {
        const char* why;
        std::string body;
        const GeneratedType& type;
        std::string expected;
    };
    const auto malformed = error(Kind::malformed);
    const Case cases[] = {
        {"more than asked for", message(R"({"x":1,"text":"a","y":{}})"), oneText,
            R"(whole: {"text":"a"})"},
        {"both fields", message(R"({"points":["b","c"],"name":"a"})"), draft,
            R"(whole: {"name":"a","points":["b","c"]})"},
        {"no points", message(R"({"points":[],"name":"a"})"), draft,
            R"(whole: {"name":"a","points":[]})"},
        {"another field", message(R"({"answer":"a"})"), oneText, malformed},
        {"one is missing", message(R"({"name":"a"})"), draft, malformed},
        {"a number", message(R"({"text":1})"), oneText, malformed},
        {"null", message(R"({"text":null})"), oneText, malformed},
        {"a text for a list", message(R"({"name":"a","points":"b"})"), draft, malformed},
        {"a list of numbers", message(R"({"name":"a","points":[1]})"), draft, malformed},
        {"a list", message(R"(["a"])"), draft, malformed},
        {"not closed", message(R"({"text":"a)"), oneText, malformed},
        {"words behind", message(R"({"text":"a"} There.)"), oneText, malformed},
        {"a NUL character", message("{\"text\":\"a\\u0000\"}"), oneText, malformed},
        {"plain text", message("Plain."), oneText, R"(whole: {"text":"Plain."})"},
        {"plain text of a thinker", message("<think>no</think>\nPlain."), oneText,
            R"(whole: {"text":"Plain."})"},
        {"a thinker without end", message("<think>no"), oneText, malformed},
        {"plain text for two fields", message("Plain."), draft, malformed},
        {"nothing", message(""), oneText, malformed},
        {"blanks", message(" \n"), oneText, malformed},
        {"an object where thoughts belong",
            R"({"choices":[{"message":{"content":"","reasoning_content":"{\"text\":\"a\"}"}}]})",
            oneText, R"(whole: {"text":"a"})"},
        {"the same in two fields, in the other dialect",
            R"({"choices":[{"message":{"reasoning":"{\"name\":\"a\",\"points\":[]}"}}]})", draft,
            R"(whole: {"name":"a","points":[]})"},
        {"another form there", R"({"choices":[{"message":{"reasoning":"{\"x\":1}"}}]})", oneText,
            malformed},
        {"thoughts alone", R"({"choices":[{"message":{"reasoning":"Let me see."}}]})", oneText,
            malformed},
        {"what is said counts",
            R"({"choices":[{"message":{"content":"Said.","reasoning":"{\"text\":\"a\"}"}}]})",
            oneText, R"(whole: {"text":"Said."})"},
        {"no content", R"({"choices":[{"message":{"content":null}}]})", oneText, malformed},
        {"no choice", R"({"choices":[]})", oneText, malformed},
        {"cut", message(R"({"name":"a","points":["b","c)", "length"), draft,
            R"(part: {"name":"a","points":["b","c"]})"},
        {"cut plain text", message("Plain", "length"), oneText, R"(part: {"text":"Plain"})"},
        {"cut within nothing", message("", "length"), oneText, error(Kind::brokenOff)},
        {"cut and damaged", message("{text", "length"), oneText, malformed},
        {"withheld", message(R"({"text":"a)", "content_filter"), oneText, R"(part: {"text":"a"})"},
        {"an error as a text", R"({"error":"no"})", oneText, error(Kind::refused)},
        {"beside an answer", message(R"({"text":"a"})", "stop", R"(,"error":{"message":"no"})"),
            oneText, error(Kind::refused)},
        {"an error that is none", message(R"({"text":"a"})", "stop", R"(,"error":null)"), oneText,
            R"(whole: {"text":"a"})"},
        {"a page", "<!doctype html>", oneText, malformed},
        {"a list of all", "[]", oneText, malformed},
        {"not UTF-8", message("{\"text\":\"a\"}") + "\xFF", oneText, malformed},
        {"empty", "", oneText, malformed},
        {"bytes over the limit", std::string(limit + 1, ' '), oneText, error(Kind::tooLarge)},
    };
    for (const auto& c : cases) EXPECT_EQ(read("", c.body, {"", "", c.type}), c.expected) << c.why;
}

TEST(ChatStream, tellsAnEndFromABreak) {
    const auto delta = [](const char* content, const char* finish = "null") {
        return "data: {\"choices\":[{\"delta\":{\"content\":" + Json(content).text() +
               "},\"finish_reason\":" + finish + "}]}\n\n";
    };
    const auto done = std::string("data: [DONE]\n\n");
    const auto both = delta("{\"text\":\"a") + delta("b\"}");
    struct Case {
        const char* why;
        std::string body;
        std::string expected;
    };
    const Case cases[] = {
        {"a reason and the mark", both + delta("", "\"stop\"") + done, R"(whole: {"text":"ab"})"},
        {"only the mark", both + done, R"(whole: {"text":"ab"})"},
        {"only a reason", both + delta("", "\"stop\""), R"(whole: {"text":"ab"})"},
        {"neither", both, R"(part: {"text":"ab"})"},
        {"midway", delta("{\"text\":\"a"), R"(part: {"text":"a"})"},
        {"before all", "", error(Kind::brokenOff)},
        {"the mark before all", done, error(Kind::malformed)},
        {"what comes behind the mark is not read", both + done + delta("c"),
            R"(whole: {"text":"ab"})"},
        {"an error midway", both + "data: {\"error\":{\"message\":\"no\"}}\n\n",
            error(Kind::refused)},
        {"an older one", both + "error: {\"code\":500,\"message\":\"no\"}\n\n",
            error(Kind::refused)},
        {"one of no form", both + "event: error\ndata: no\n\n", error(Kind::refused)},
        {"damaged", both + "data: {\"choices\"\n\n" + done, error(Kind::malformed)},
        {"not UTF-8", both + "data: \"\xFF\"\n\n" + done, error(Kind::malformed)},
        {"too large an event", "data: " + std::string(1 << 20, 'a') + "\n\n",
            error(Kind::tooLarge)},
        {"too large in all",
            delta("{\"text\":\"") + delta(std::string(600'000, 'a').c_str()) +
                delta(std::string(600'000, 'a').c_str()) + delta("\"}") + done,
            error(Kind::tooLarge)},
    };
    for (const auto& c : cases)
        EXPECT_EQ(read("a.stream", c.body, {"", "", oneText}), c.expected) << c.why;
}

TEST(ChatStream, noticesAPromptThatWasCut) {
    struct Case {
        const char* why;
        std::string prompt;
        const char* tokens;
        bool isRead;
    };
    std::string cyrillic;
    for (int i = 0; i < 6000; ++i) cyrillic += "я";
    const Case cases[] = {
        {"six characters a token", std::string(6000, 'a'), "1000", true},
        {"more", std::string(6001, 'a'), "1000", false},
        {"characters, not bytes", cyrillic, "1000", true},
        {"a short prompt", std::string(4000, 'a'), "1", true},
        {"and a longer one", std::string(4001, 'a'), "1", false},
        {"not counted", std::string(6000, 'a'), "0", true},
        {"nor a number", std::string(6000, 'a'), "null", true},
    };
    for (const auto& c : cases) {
        const auto usage = std::string(R"(,"usage":{"prompt_tokens":)") + c.tokens + "}";
        const auto got =
            read("", message(R"({"text":"a"})", "stop", usage), {"", c.prompt, oneText});
        EXPECT_EQ(got, c.isRead ? R"(whole: {"text":"a"})" : error(Kind::tooLong)) << c.why;
    }
}

} // namespace nimbe
