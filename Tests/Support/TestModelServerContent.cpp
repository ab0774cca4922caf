#include "Support/TestModelServerContent.h"

#include <string_view>
#include <vector>

#include "Foundation/Text.h"

namespace nimbe {
namespace {

using Question = TestModelServerOptions::Question;

std::vector<std::string> sentences(std::string_view text) {
    std::vector<std::string> found;
    std::size_t begin = 0;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const bool isEnd = std::string_view(".!?\n").find(text[at]) != text.npos &&
                           (at + 1 == text.size() || text[at + 1] == ' ' || text[at] == '\n');
        if (!isEnd && at + 1 < text.size()) continue;
        const auto sentence = text::trimmed(text.substr(begin, at + 1 - begin));
        if (!sentence.empty()) found.emplace_back(sentence);
        begin = at + 1;
    }
    return found;
}

std::string polished(const Question& question) {
    std::string text(text::trimmed(std::string_view(question.prompt)));
    if (question.instructions.find("half the length") != question.instructions.npos) {
        const auto all = sentences(text);
        text.clear();
        for (std::size_t i = 0; i < (all.size() + 1) / 2; ++i) text += (i > 0 ? " " : "") + all[i];
    }
    if (text.empty()) return text;
    if (text[0] >= 'a' && text[0] <= 'z') text[0] = static_cast<char>(text[0] - 'a' + 'A');
    if (std::string_view(".!?").find(text.back()) == std::string_view::npos) text += '.';
    return text;
}

bool is(const Json& property, const char* type) {
    const auto* named = property.member("type");
    return named && *named == Json(type);
}

/// The members that the schema asks for, as `value` gives them.
template <class Value>
std::string filled(const Question& question, Value value) {
    Json::Object members;
    const auto* properties =
        question.form == Question::Form::schema ? question.schema.member("properties") : nullptr;
    if (const auto* asked = properties ? properties->asObject() : nullptr)
        for (const auto& [name, property] : *asked)
            members.push_back(
                {name, is(property, "boolean") ? Json(true) : value(name, is(property, "array"))});
    else
        members.push_back({"text", value("text", false)});
    return Json(std::move(members)).text();
}

std::string filledWith(const Question& question, const std::string& text) {
    return filled(question, [&](const std::string&, bool isList) {
        return isList ? Json(Json::Array{Json(text)}) : Json(text);
    });
}

} // namespace

std::string testModelWrites(const Question& question) {
    const auto text = polished(question);
    if (question.form == Question::Form::text) return text;
    return filled(question, [&](const std::string& name, bool isList) {
        if (!isList) return Json(name == "recipientName" ? std::string() : text);
        Json::Array points;
        for (auto& sentence : sentences(text)) points.emplace_back(std::move(sentence));
        return Json(std::move(points));
    });
}

std::string testModelWrites(
    const Question& question, const std::string& rightContent, TestMisbehaviour misbehaviour) {
    using enum TestMisbehaviour;
    const auto text = polished(question);
    switch (misbehaviour) {
    case noContent: return {};
    case invalidJson: return "{'text': \"" + text + "\", 'or \"so\"]";
    case wrongSchema: return R"({"answer": {"is": "yes"}, "confidence": 0.9})";
    case wrongTypes:
        return filled(question, [&](const std::string&, bool isList) {
            return isList ? Json("no list") : Json::integer(7);
        });
    case noSchema: return text;
    case echoInstructions: return filledWith(question, question.instructions);
    case chatty: return filledWith(question, "Sure! Here's the cleaned text: " + text);
    case answersQuestion:
        return filledWith(question,
            "That is a good question. There are several things to consider here, and as a "
            "language model I can only give a general overview of them. First, it depends on "
            "what exactly you mean by \"" +
                text +
                "\". Second, opinions differ widely. Would you like me to go into more detail "
                "about any of these points, or to suggest further reading about them?");
    case empty:
        return filled(question, [](const std::string&, bool isList) {
            return isList ? Json(Json::Array()) : Json("");
        });
    case blank: return filledWith(question, " \n\t ");
    case longText: {
        std::string tenTimes;
        for (int i = 0; i < 10; ++i) tenTimes += question.prompt + " ";
        return filledWith(question, tenTimes);
    }
    case notUtf8: return filledWith(question, text + std::string(notUtf8Mark) + text);
    case nul: return filledWith(question, std::string(1, '\0') + text);
    case deep: return R"({"text":)" + std::string(100'000, '[') + std::string(100'000, ']') + "}";
    case none:
    case hang:
    case hangMidway:
    case slowHead:
    case trickle:
    case breakOff:
    case breakOffAtOnce:
    case endless:
    case huge:
    case redirect:
    case redirect307:
    case html:
    case invalidBody:
    case error400:
    case error404Model:
    case error500:
    case errorInStream:
    case tooLong:
    case cutPrompt:
    case length:
    case noDone: break;
    }
    return rightContent;
}

} // namespace nimbe
