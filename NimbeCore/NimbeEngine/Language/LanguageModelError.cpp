#include "NimbeEngine/Language/LanguageModelError.h"

namespace nimbe {

std::string_view LanguageModelError::message() const {
    switch (kind) {
    case Kind::unavailable: return "There is no language model to ask.";
    case Kind::refused: return "The language model's server refused the request.";
    case Kind::tooLong: return "The text is too long for the language model.";
    case Kind::timedOut: return "The language model did not answer in time.";
    case Kind::brokenOff: return "The language model's server broke off the answer.";
    case Kind::malformed: return "The language model's answer could not be understood.";
    case Kind::tooLarge: return "The language model's answer was far too long.";
    case Kind::stopped: return "The language model's answer was stopped.";
    }
    return {};
}

} // namespace nimbe
