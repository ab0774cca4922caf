#pragma once

#include <optional>
#include <string>

#include "NimbeSync/HistoryLibrary.h"

namespace nimbe {

/// Brings the text of a note that was open in the editor back into the history, in which
/// the note may have been changed or deleted in the meantime. Any thread.
struct NoteWriter {
    enum class Rule {
        asIs,   // only over the text that the editor knows
        anyway, // over any other text, and also when the note is deleted: it is back then
        beside  // as it is, or else as a note of its own
    };
    struct Request {
        DictationEntry known; // as the editor knows it to be stored
        std::string text;     // not blank
        Rule rule = Rule::asIs;
        Date now; // of a note of its own
    };
    struct Outcome {
        enum class Kind {
            stored,  // under whichever id
            failed,  // nothing has changed
            changed, // it has another text now, and kept it
            deleted  // it is not there any more
        };
        Kind kind = Kind::failed;
        std::optional<DictationEntry> entry = {}; // as it is stored now
        std::string problem = {};                 // for the user, one sentence; of a failure
    };

    [[nodiscard]] static Outcome write(HistoryLibrary& history, const Request& request);
};

} // namespace nimbe
