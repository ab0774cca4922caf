#include <algorithm>
#include <array>
#include <fstream>
#include <iterator>
#include <map>
#include <optional>

#include <gtest/gtest.h>

#include "Foundation/RunLoop.h"
#include "PlatformHttp/CurlHttpClient.h"
#include "Support/TestModelServer.h"

namespace nimbe {
namespace {

using Options = TestModelServer::Options;
using Dialect = TestModelServer::Dialect;
using Thinking = Options::Thinking;
using Answer = Result<HttpResponse, HttpError>;

/// What of a value is the same in every run: its members, their types, and those texts
/// that say what it is.
std::string shape(const Json& value, const std::string& key = {}) {
    if (const auto* object = value.asObject()) {
        std::map<std::string, std::string> members;
        for (const auto& [name, member] : *object) members[name] = shape(member, name);
        std::string all;
        for (const auto& [name, member] : members) all += " " + name + "=" + member;
        return "{" + all + " }";
    }
    if (const auto* array = value.asArray())
        return array->empty() ? "[]" : "[" + shape(array->front()) + "]";
    if (value.isNull()) return "null";
    if (value.asNumber()) return "number";
    constexpr std::array telling{"object", "role", "finish_reason", "state", "owned_by"};
    const bool isTelling = std::find(telling.begin(), telling.end(), key) != telling.end();
    return value.asString() ? (isTelling ? *value.asString() : "text") : "bool";
}

/// A line for each event, those in a row that are alike only once; of what is no stream one.
std::string shapeOfBody(const std::string& body) {
    std::string all;
    std::string last;
    for (std::size_t at = 0, end = 0; at < body.size(); at = end + 2) {
        end = std::min(body.find("\n\n", at), body.size());
        const auto event = body.substr(at, end - at);
        const auto data = event.find("data: ");
        const auto before = data == event.npos ? std::string() : event.substr(0, data + 6);
        const auto text = event.substr(before.size());
        const auto json = Json::parse(text);
        const auto line = before + (json ? shape(*json) : text) + "\n";
        if (line != last) all += line;
        last = line;
    }
    return all;
}

std::string contents(const std::string& path) {
    std::ifstream file(NIMBE_RECORDED "/" + path, std::ios::binary);
    EXPECT_TRUE(file.is_open()) << path;
    return {std::istreambuf_iterator<char>(file), {}};
}

Task<void> keepAnswer(Task<Answer> request, std::optional<Answer>& answer) {
    answer = co_await request;
}

Answer sent(const std::string& address, const std::string& method, const std::string& path,
    const std::string& body) {
    RunLoop loop;
    CurlHttpClient client(loop);
    HttpRequest request;
    request.method = method == "POST" ? HttpRequest::Method::post : HttpRequest::Method::get;
    request.url = address + path;
    request.body = body;
    request.deadline = 20;
    std::optional<Answer> answer;
    loop.runUntilDone(keepAnswer(client.send(std::move(request), nullptr), answer));
    return *answer;
}

/// "status content-type server", then the body's shape.
std::string told(const HttpResponse& response) {
    auto type = response.header("content-type").value_or("");
    if (type.starts_with("text/plain")) type = "text/plain"; // with and without a charset
    return std::to_string(response.status) + " " + type + " " +
           response.header("server").value_or("") + response.header("x-powered-by").value_or("") +
           "\n" + shapeOfBody(response.body);
}

HttpResponse recorded(const std::string& text) {
    HttpResponse response;
    response.status = std::stoi(text.substr(9, 3));
    const auto end = text.find("\n\n");
    for (auto at = text.find('\n') + 1; at < end; at = text.find('\n', at) + 1) {
        const auto line = text.substr(at, text.find('\n', at) - at);
        auto name = line.substr(0, line.find(':'));
        std::transform(name.begin(), name.end(), name.begin(),
            [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        response.headers.emplace_back(name, line.substr(std::min(name.size() + 2, line.size())));
    }
    response.body = text.substr(end + 2);
    return response;
}

} // namespace

TEST(TestModelServer, answersLikeTheRecordedOnes) {
    struct Case {
        std::string file;
        std::function<void(Options&)> change = [](Options&) {
        };
    };
    const auto thinks = [](Options& options) {
        options.thinking = Thinking::apart;
    };
    const auto fails = [](Options& options) {
        options.misbehaviour = TestMisbehaviour::errorInStream;
    };
    const auto isSmall = [](Options& options) {
        options.contextLength = 1;
    };
    const auto isRouter = [](Options& options) {
        options.models = {{"a"}, {"b", false}};
    };
    const auto hasNone = [](Options& options) {
        options.models.clear();
    };
    const Case cases[] = {
        {"llama.cpp/health"},
        {"llama.cpp/models"},
        {"llama.cpp/unknown-path"},
        {"llama.cpp/whole"},
        {"llama.cpp/streamed"},
        {"llama.cpp/streamed-without-usage"},
        {"llama.cpp/length"},
        {"llama.cpp/bad-json"},
        {"llama.cpp/bad-schema"},
        {"llama.cpp/bad-thinking"},
        {"llama.cpp/no-messages"},
        {"llama.cpp/unknown-form"},
        {"llama.cpp/thinking", thinks},
        {"llama.cpp/thinking-streamed", thinks},
        {"llama.cpp/error-midway", fails},
        {"llama.cpp/too-long", isSmall},
        {"llama.cpp/too-long-streamed", isSmall},
        {"llama.cpp/router-models", isRouter},
        {"llama.cpp/router-unknown-model", isRouter},
        {"llama.cpp/loading",
            [](Options& options) {
                options.isLoading = true;
            }},
        {"llama.cpp/key-missing",
            [](Options& options) {
                options.key = "k";
            }},
        {"ollama/root"},
        {"ollama/version"},
        {"ollama/unknown-path"},
        {"ollama/wrong-method"},
        {"ollama/models"},
        {"ollama/no-models", hasNone},
        {"ollama/tags"},
        {"ollama/running"},
        {"ollama/none-running", hasNone},
        {"ollama/whole"},
        {"ollama/streamed"},
        {"ollama/streamed-without-usage"},
        {"ollama/thinking", thinks},
        {"ollama/thinking-streamed", thinks},
        {"ollama/error-midway", fails},
        {"ollama/unknown-model"},
        {"ollama/no-messages"},
        {"ollama/bad-effort"},
        {"lm-studio/unknown-path"},
        {"lm-studio/version"},
        {"lm-studio/models"},
        {"lm-studio/models-with-state"},
        {"lm-studio/whole"},
        {"lm-studio/streamed"},
        {"lm-studio/thinking-streamed", thinks},
        {"lm-studio/error-midway", fails},
        {"lm-studio/refused-form"},
        {"lm-studio/unknown-model"},
        {"lm-studio/too-long", isSmall},
        {"lm-studio/too-long-streamed", isSmall},
    };
    for (const auto& c : cases) {
        Options options;
        if (c.file.starts_with("ollama")) options = {Dialect::ollama, {{"llama3.2:latest"}}};
        if (c.file.starts_with("lm")) options = {Dialect::lmStudio, {{"llama-3.2-1b-instruct"}}};
        c.change(options);
        TestModelServer server(std::move(options));
        const auto request = contents(c.file + ".request");
        const auto line = std::min(request.find('\n'), request.size());
        const auto space = request.find(' ');
        const auto answer = sent(server.address(), request.substr(0, space),
            request.substr(space + 1, line - space - 1),
            request.substr(std::min(line + 1, request.size())));
        ASSERT_TRUE(answer) << c.file << ": " << answer.error().detail;
        EXPECT_EQ(told(*answer), told(recorded(contents(c.file + ".response")))) << c.file;
    }
}

TEST(TestModelServer, theModelIsAPlainTextWorker) {
    const auto schema = [](const std::string& properties) {
        return R"(,"response_format":{"type":"json_schema","json_schema":{"schema":{"properties":)" +
               properties + "}}}}";
    };
    const std::string text = R"({"text":{"type":"string"}})";
    struct Case {
        const char* why;
        const char* instructions;
        const char* prompt;
        std::string rest;
        const char* expected;
    };
    const Case cases[] = {
        {"no form", "Polish.", " grüße an alle ", "}", "Grüße an alle."},
        {"a form", "Polish.", "is it so?", schema(text), R"({"text":"Is it so?"})"},
        {"half of three sentences", "About half the length.", "One. Two? Three!", schema(text),
            R"({"text":"One. Two?"})"},
        {"points", "Points.", "one. at 3.5 two", schema(R"({"points":{"type":"array"}})"),
            R"({"points":["One.","at 3.5 two."]})"},
        {"a mail", "Mail.", "hi", schema(R"({"recipientName":{},"body":{}})"),
            R"({"recipientName":"","body":"Hi."})"},
        {"cut by the limit, never within a character", "Polish.", "aéé", R"(,"max_tokens":1})",
            "Aé"},
    };
    const TestModelServer server({});
    for (const auto& c : cases) {
        const auto answer = sent(server.address(), "POST", "/v1/chat/completions",
            std::string(R"({"messages":[{"role":"system","content":")") + c.instructions +
                R"("},{"role":"user","content":")" + c.prompt + "\"}]" + c.rest);
        ASSERT_TRUE(answer) << c.why;
        const auto body = Json::parse(answer->body);
        ASSERT_TRUE(body) << c.why;
        const auto* choices = body->member("choices");
        ASSERT_TRUE(choices) << c.why << answer->body;
        EXPECT_EQ(
            *choices->asArray()->front().member("message")->member("content"), Json(c.expected))
            << c.why;
    }
}

TEST(TestModelServer, everyMisbehaviourHasItsWord) {
    int next = 1; // after `none`
    for (const auto& name : testMisbehaviours()) {
        EXPECT_EQ(static_cast<int>(name.kind), next++) << name.word;
        EXPECT_EQ(testMisbehaviour(name.word), name.kind);
    }
    EXPECT_EQ(next, static_cast<int>(TestMisbehaviour::deep) + 1);
    EXPECT_EQ(testMisbehaviour("nothing"), std::nullopt);
}

} // namespace nimbe
