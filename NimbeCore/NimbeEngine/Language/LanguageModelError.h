#pragma once

#include <string>
#include <string_view>

namespace nimbe {

struct LanguageModelError {
    enum class Kind {
        unavailable, // there is no server, no model, or it is not allowed to be asked
        refused,     // the server answered with an error
        tooLong,     // the text is longer than the model can read
        timedOut,    // a deadline passed
        brokenOff,   // the connection ended before any answer did
        malformed,   // an answer of another form than the one asked for
        tooLarge,    // the answer is longer than any that could be meant
        stopped      // by the receiver of the partial answers
    };
    Kind kind = Kind::refused;
    std::string detail = {}; // for the log; nothing of what was said

    [[nodiscard]] std::string_view message() const; // for the user, one sentence
};

} // namespace nimbe
