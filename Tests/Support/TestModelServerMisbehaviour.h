#pragma once

#include <optional>
#include <span>
#include <string_view>

namespace nimbe {

/// What a test model server does wrong. "Content" is what the model wrote; everything else
/// around it is then as it should be.
enum class TestMisbehaviour {
    none,
    // The connection.
    hang,
    hangMidway,
    slowHead,
    trickle,
    breakOff,
    breakOffAtOnce,
    endless,
    huge,
    redirect,
    redirect307,
    // The answer around the content.
    html,
    invalidBody,
    error400,
    error404Model,
    error500,
    errorInStream,
    tooLong,
    cutPrompt,
    length,
    noDone,
    noContent,
    // The content.
    invalidJson,
    wrongSchema,
    wrongTypes,
    noSchema,
    echoInstructions,
    chatty,
    answersQuestion,
    empty,
    blank,
    longText,
    notUtf8,
    nul,
    deep
};

struct TestMisbehaviourName {
    TestMisbehaviour kind;
    std::string_view word; // on the command line
    std::string_view meaning;
};

/// All but `none`, in their order.
[[nodiscard]] std::span<const TestMisbehaviourName> testMisbehaviours();
[[nodiscard]] std::optional<TestMisbehaviour> testMisbehaviour(std::string_view word);

} // namespace nimbe
