#include "Support/TestModelServerMisbehaviour.h"

#include <array>

namespace nimbe {
namespace {

using enum TestMisbehaviour;

constexpr std::array names{
    TestMisbehaviourName{hang, "hang", "no answer, not even a head"},
    TestMisbehaviourName{hangMidway, "hang-midway", "half of the answer, then nothing more"},
    TestMisbehaviourName{slowHead, "slow-head", "the answer begins late"},
    TestMisbehaviourName{trickle, "trickle", "a byte a second"},
    TestMisbehaviourName{breakOff, "break-off", "the connection ends halfway through the answer"},
    TestMisbehaviourName{breakOffAtOnce, "break-off-at-once", "and before any of it"},
    TestMisbehaviourName{endless, "endless", "1 GiB of pieces, each as it should be"},
    TestMisbehaviourName{huge, "huge", "1 GiB in one string"},
    TestMisbehaviourName{redirect, "redirect", "status 302 to another host"},
    TestMisbehaviourName{redirect307, "redirect-307", "status 307, which repeats the request"},
    TestMisbehaviourName{html, "html", "a page for people"},
    TestMisbehaviourName{invalidBody, "invalid-body", "an answer that is no JSON"},
    TestMisbehaviourName{error400, "error-400", "the request is refused"},
    TestMisbehaviourName{error404Model, "error-404-model", "there is no such model"},
    TestMisbehaviourName{error500, "error-500", "the server fails"},
    TestMisbehaviourName{errorInStream, "error-in-stream",
        "it fails halfway; a whole answer is an error with status 200"},
    TestMisbehaviourName{tooLong, "too-long", "the text does not fit into the context"},
    TestMisbehaviourName{cutPrompt, "cut-prompt", "the model silently reads the end of it only"},
    TestMisbehaviourName{length, "length", "the output limit is reached halfway"},
    TestMisbehaviourName{noDone, "no-done", "half the content, then the end without a reason"},
    TestMisbehaviourName{noContent, "no-content", "the model writes nothing at all"},
    TestMisbehaviourName{invalidJson, "invalid-json", "content that only resembles JSON"},
    TestMisbehaviourName{wrongSchema, "wrong-schema", "content with other members"},
    TestMisbehaviourName{wrongTypes, "wrong-types", "numbers for texts, texts for lists"},
    TestMisbehaviourName{noSchema, "no-schema", "plain text, whatever form was asked for"},
    TestMisbehaviourName{echoInstructions, "echo-instructions", "the instructions as the text"},
    TestMisbehaviourName{chatty, "chatty", "\"Sure! Here's ...\" before the text"},
    TestMisbehaviourName{answersQuestion, "answers-question", "a long reply to the text"},
    TestMisbehaviourName{empty, "empty", "empty texts and lists"},
    TestMisbehaviourName{blank, "blank", "texts of blanks"},
    TestMisbehaviourName{longText, "long", "the text ten times"},
    TestMisbehaviourName{notUtf8, "not-utf8", "bytes that are no UTF-8 within the text"},
    TestMisbehaviourName{nul, "nul", "a NUL character within the text"},
    TestMisbehaviourName{deep, "deep", "lists nested a hundred thousand deep"},
};

} // namespace

std::span<const TestMisbehaviourName> testMisbehaviours() {
    return names;
}

std::optional<TestMisbehaviour> testMisbehaviour(std::string_view word) {
    for (const auto& name : names)
        if (name.word == word) return name.kind;
    return std::nullopt;
}

} // namespace nimbe
