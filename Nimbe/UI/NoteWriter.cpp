#include "NimbeUI/NoteWriter.h"

#include <utility>

namespace nimbe {
namespace {

using Kind = NoteWriter::Outcome::Kind;

std::optional<NoteWriter::Outcome> problemOf(const HistoryLibrary& history) {
    const auto problem = history.problem();
    if (!problem || problem->isPartial()) return std::nullopt;
    return NoteWriter::Outcome{.problem = std::string(problem->sentence)};
}

} // namespace

NoteWriter::Outcome NoteWriter::write(HistoryLibrary& history, const Request& request) {
    const auto& id = request.known.id;
    auto found = history.entry(id);
    if (const auto failed = problemOf(history)) return *failed;
    const bool isKnown = found && found->text == request.known.text;
    if (!isKnown && request.rule == Rule::asIs) {
        const auto kind = found ? Kind::changed : Kind::deleted;
        return {.kind = kind, .entry = std::move(found)};
    }
    if (!isKnown && request.rule == Rule::beside) {
        auto own = history.append(request.text, std::nullopt, request.known.mode, request.now);
        if (const auto failed = problemOf(history)) return *failed;
        return {.kind = Kind::stored, .entry = std::move(own)};
    }
    if (!found) {
        // From the trash with all that belongs to it, else from what the editor knows.
        (void)history.restore(id);
        if (!history.entry(id)) history.reinstate(request.known);
        if (const auto failed = problemOf(history)) return *failed;
    }
    history.update(id, request.text);
    if (const auto failed = problemOf(history)) return *failed;
    found = history.entry(id);
    if (const auto failed = problemOf(history)) return *failed;
    if (!found) return {.kind = Kind::deleted};
    return {.kind = Kind::stored, .entry = std::move(found)};
}

} // namespace nimbe
