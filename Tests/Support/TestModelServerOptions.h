#pragma once

#include <functional>
#include <string>
#include <vector>

#include "Foundation/Date.h"
#include "Foundation/Json.h"
#include "Support/TestModelServerMisbehaviour.h"

namespace nimbe {

/// What a test model server is like.
struct TestModelServerOptions {
    enum class Dialect { llamaCpp, ollama, lmStudio };
    enum class Thinking {
        none,
        apart,  // in a member of its own
        inlined // before the text, in <think>
    };
    struct Model {
        std::string id;
        bool isLoaded = true;
        bool isEmbedding = false;
    };
    /// What the model is given.
    struct Question {
        enum class Form { text, object, schema };
        std::string instructions;
        std::string prompt;
        Form form = Form::text;
        Json schema = {};
    };
    /// What the model writes. On the server's threads.
    using ModelWrites = std::function<std::string(const Question&)>;

    Dialect dialect = Dialect::llamaCpp;
    /// llama.cpp serves one; with another number of them it is a router.
    std::vector<Model> models = {{"test-model"}};
    bool isOld = false;             // knows no JSON schema
    bool refusesEffortNone = false; // an Ollama of 2025, for instance
    bool isLoading = false;         // llama.cpp: 503; the others let requests wait
    Thinking thinking = Thinking::none;
    std::string key = {};               // empty: none is asked for
    std::size_t contextLength = 131072; // tokens; here a token is four bytes
    Seconds pause = 0;                  // before each piece of a streamed answer
    Seconds headPause = 0.4;            // of TestMisbehaviour::slowHead
    std::size_t pieceLength = 4;        // characters
    TestMisbehaviour misbehaviour = TestMisbehaviour::none;
    /// What is asked before a text is sent, too; else the texts only.
    bool misbehavesEverywhere = false;
    std::string redirectTarget = "http://192.0.2.1"; // an address that nobody has
    ModelWrites model = {};                          // none: testModelWrites()
};

} // namespace nimbe
