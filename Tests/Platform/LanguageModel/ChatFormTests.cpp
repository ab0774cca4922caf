#include <gtest/gtest.h>

#include "PlatformLanguageModel/ChatForm.h"
#include "Recorded.h"

namespace nimbe {
namespace {

using Schema = ChatForm::Schema;
using Thinking = ChatForm::Thinking;

const LanguageModel::Request request{"Do \"this\".\n", " Grüße\t漢字 ",
    {"Draft", {{"text", "The text."}, {"points", "Each.", GeneratedType::Field::Kind::texts}}}};

} // namespace

TEST(ChatForm, isTheBodyThatServersRead) {
    const ChatForm form{Schema::jsonSchema, Thinking::templateArgument};
    EXPECT_EQ(form.body("m", request),
        R"({"model":"m","messages":[{"role":"system","content":"Do \"this\".\n"},)"
        R"({"role":"user","content":" Grüße\t漢字 "}],)"
        R"("response_format":{"type":"json_schema","json_schema":{"name":"Draft","strict":true,)"
        R"("schema":{"type":"object","properties":{)"
        R"("text":{"type":"string","description":"The text."},)"
        R"("points":{"type":"array","items":{"type":"string"},"description":"Each."}},)"
        R"("required":["text","points"],"additionalProperties":false}}},)"
        R"("stream":true,"stream_options":{"include_usage":true},)"
        R"("chat_template_kwargs":{"enable_thinking":false}})");

    struct Case {
        const char* why;
        ChatForm form;
        std::optional<int> mostTokens;
        std::vector<const char*> has;
        std::vector<const char*> lacks;
    };
    const Case cases[] = {
        {"an object", {Schema::jsonObject}, {},
            {R"("response_format":{"type":"json_object","schema":{"type":"object")"},
            {"max_tokens", "temperature", "thinking", "reasoning"}},
        {"no form", {Schema::none, Thinking::effort}, {},
            {R"("reasoning_effort":"none")", R"("stream":true)"},
            {"response_format", "enable_thinking"}},
        {"no usage", {Schema::none, Thinking::unsaid, false}, 1,
            {R"("max_tokens":1)", R"("stream":true)"}, {"stream_options"}},
    };
    for (const auto& c : cases) {
        const auto body = c.form.body("m", request, c.mostTokens);
        for (const auto* part : c.has) EXPECT_NE(body.find(part), body.npos) << c.why << part;
        for (const auto* part : c.lacks) EXPECT_EQ(body.find(part), body.npos) << c.why << part;
    }
}

TEST(ChatForm, leavesOutWhatIsRefused) {
    struct Case {
        const char* why;
        int status;
        std::string body;
        ChatForm form;
        std::optional<ChatForm> next;
    };
    const ChatForm full{Schema::jsonSchema, Thinking::effort, true};
    const Case cases[] = {
        {"the schema", 400, R"({"error":"'response_format.type' must be 'text'"})", full,
            ChatForm{Schema::jsonObject, Thinking::effort, true}},
        {"an object", 400, recorded("lm-studio/error-json-object.json"),
            {Schema::jsonObject, Thinking::effort}, ChatForm{Schema::none, Thinking::effort}},
        {"as others say it", 422, R"({"detail":[{"loc":["body","response_format"]}]})", full,
            ChatForm{Schema::jsonObject, Thinking::effort, true}},
        {"the effort", 400, recorded("ollama/error-thinking.json"), full,
            ChatForm{Schema::jsonSchema, Thinking::unsaid, true}},
        {"an argument", 400, R"({"error":{"message":"unknown field: Chat_Template_kwargs"}})",
            {Schema::jsonSchema, Thinking::templateArgument}, ChatForm{}},
        {"usage", 400, R"({"error":"stream_options is not supported"})", full,
            ChatForm{Schema::jsonSchema, Thinking::effort, false}},
        {"what was not sent", 400, recorded("ollama/error-thinking.json"), {}, std::nullopt},
        {"nothing is left to leave out", 400, R"({"error":"bad response_format"})",
            {Schema::none, Thinking::unsaid, false}, std::nullopt},
        {"another status", 500, R"({"error":"bad response_format"})", full, std::nullopt},
        {"another reason", 400, recorded("llama.cpp/error-too-long.json"), full, std::nullopt},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.form.after(ChatError::ofBody(c.status, c.body)), c.next) << c.why;
}

TEST(ChatError, tellsWhy) {
    using Kind = LanguageModelError::Kind;
    struct Case {
        int status;
        std::string body;
        Kind kind;
    };
    const Case cases[] = {
        {400, recorded("llama.cpp/error-too-long.json"), Kind::tooLong},
        {400, recorded("lm-studio/error-too-long.json"), Kind::tooLong},
        {413, "", Kind::tooLong},
        {503, recorded("llama.cpp/error-loading.json"), Kind::unavailable},
        {503,
            R"({"error":{"message":"server busy, please try again.  maximum pending requests exceeded"}})",
            Kind::refused},
        {404, recorded("ollama/error-model.json"), Kind::unavailable},
        {400, recorded("lm-studio/error-none-loaded.json"), Kind::unavailable},
        {401, recorded("llama.cpp/error-key.json"), Kind::refused},
        {403, "", Kind::refused},
        {404, "404 page not found", Kind::refused},
        {500, "\xFF<html>", Kind::refused},
        {302, "", Kind::refused},
    };
    for (const auto& c : cases) {
        const auto error = ChatError::ofBody(c.status, c.body).error();
        EXPECT_EQ(error.kind, c.kind) << c.status << c.body;
        EXPECT_EQ(error.detail, "status " + std::to_string(c.status));
    }
}

} // namespace nimbe
