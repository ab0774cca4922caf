#include "NimbeShell/HistoryCommand.h"

#include <algorithm>
#include <filesystem>
#include <istream>
#include <ostream>

#include "Foundation/Json.h"
#include "Foundation/Text.h"
#include "NimbeKitCore/History/MarkdownExporter.h"
#include "NimbeKitCore/History/NotesDayGrouping.h"
#include "NimbeShell/HistoryID.h"
#include "NimbeShell/HistoryText.h"
#include "NimbeShell/Input.h"

namespace nimbe {
namespace {

namespace fs = std::filesystem;
using Verb = HistoryOptions::Verb;

/// One run of a verb. Messages begin with its name.
class HistoryCommand {
public:
    HistoryCommand(const HistoryOptions& options, const HistoryServices& services, Streams streams)
        : options(options), library(services.history), services(services), streams(streams) {}

    [[nodiscard]] int run();

private:
    const HistoryOptions& options;
    HistoryLibrary& library;
    const HistoryServices& services;
    Streams streams;

    [[nodiscard]] int list();
    [[nodiscard]] int search();
    [[nodiscard]] int show();
    [[nodiscard]] int exportTo();
    [[nodiscard]] int add();
    [[nodiscard]] int trash();
    [[nodiscard]] int empty();

    /// Does it for each id until one fails; says which were done.
    template <typename Action>
    [[nodiscard]] int forEachId(const char* done, Action action);
    [[nodiscard]] int deleteAll();
    [[nodiscard]] std::optional<UUID> deleteOne(const std::string& id);
    [[nodiscard]] std::optional<UUID> restoreOne(const std::string& id);
    [[nodiscard]] std::optional<UUID> eraseOne(const std::string& id);
    [[nodiscard]] bool canRestore(const TrashedEntry& item);
    [[nodiscard]] std::vector<TrashedEntry> trashedItems() { return library.trashed(services.now); }

    /// The record that the id names, or a message that none or several do.
    template <typename Record>
    [[nodiscard]] const Record* find(
        const std::vector<Record>& records, const std::string& id, const char* where);

    [[nodiscard]] int fail(const std::string& message);
    [[nodiscard]] int refuse(const std::string& message);
    /// `done`: what was done all the same when the output cannot be written.
    [[nodiscard]] int ended(const std::string& done = "");
    /// Says what kept the last operation from its work.
    [[nodiscard]] bool hasProblem();
    /// The same, but a list that counts as empty stops no change.
    [[nodiscard]] bool isStopped();

    std::vector<DictationEntry> listed; // of deleteOne(), read once
    bool isIncomplete = false; // what is beside the history could not be read: said at once
};

int HistoryCommand::fail(const std::string& message) {
    streams.output.flush();
    streams.error << "nimbe history: " << message << "\n";
    return ExitCode::failure;
}

int HistoryCommand::refuse(const std::string& message) {
    (void)fail(message);
    return ExitCode::usage;
}

int HistoryCommand::ended(const std::string& done) {
    if (streams.output.flush()) return isIncomplete ? ExitCode::failure : ExitCode::success;
    return fail("The output cannot be written." + done);
}

bool HistoryCommand::hasProblem() {
    const auto problem = library.problem();
    if (!problem) return false;
    streams.output.flush();
    sayProblem(*problem, "nimbe history", streams.error);
    if (problem->kind != HistoryProblem::Kind::syncedUnreadable) return true;
    isIncomplete = true;
    return false;
}

bool HistoryCommand::isStopped() {
    return hasProblem() && !library.problem()->isPartial();
}

template <typename Record>
const Record* HistoryCommand::find(
    const std::vector<Record>& records, const std::string& id, const char* where) {
    const auto found = HistoryID::find(records, id, where);
    if (found) return *found;
    (void)fail(found.error());
    return nullptr;
}

int HistoryCommand::run() {
    for (const auto& id : options.ids)
        if (!HistoryID::prefix(id)) return refuse(HistoryID::refusal(id));
    switch (options.verb) {
    case Verb::list: return list();
    case Verb::search: return search();
    case Verb::show: return show();
    case Verb::exportTo: return exportTo();
    case Verb::add: return add();
    case Verb::deleteIds: return deleteAll();
    case Verb::restore:
        return forEachId("Restored", [this](const auto& id) { return restoreOne(id); });
    case Verb::trash: return trash();
    case Verb::erase:
        return forEachId("Deleted for good", [this](const auto& id) { return eraseOne(id); });
    case Verb::empty: return empty();
    }
    return ExitCode::usage;
}

int HistoryCommand::list() {
    auto entries = library.feed().entries();
    if (hasProblem()) return ExitCode::failure;
    const bool isEmpty = entries.empty();
    if (options.limit && *options.limit < entries.size())
        entries.erase(entries.begin() + static_cast<std::ptrdiff_t>(*options.limit), entries.end());
    if (options.isJson)
        streams.output << historyText::json(entries) << "\n";
    else if (isEmpty)
        streams.output << "No dictations yet\nHold Option and speak. Your notes land here.\n";
    else
        historyText::writeSections(streams.output, entries, services.now, services.calendar);
    return ended();
}

int HistoryCommand::search() {
    const auto entries = library.feed().entries();
    if (hasProblem()) return ExitCode::failure;
    SemanticIndex index(services.embedder);
    const auto found = index.ranked(options.query, entries, options.limit);
    if (options.isJson)
        streams.output << historyText::json(found) << "\n";
    else if (found.empty())
        streams.output << "Nothing matches \"" << options.query << "\"\n";
    else
        historyText::writeRows(streams.output, found, services.now, services.calendar);
    return ended();
}

int HistoryCommand::show() {
    auto records = library.feed().entries();
    if (hasProblem()) return ExitCode::failure;
    for (const auto& item : trashedItems()) {
        const auto isThere = [&](const auto& entry) {
            return entry.id == item.entry.id;
        };
        if (std::none_of(records.begin(), records.end(), isThere)) records.push_back(item.entry);
    }
    const auto* entry = find(records, options.ids[0], "");
    if (!entry) return ExitCode::failure;
    if (options.isJson)
        streams.output << historyText::json(*entry) << "\n";
    else
        streams.output << (options.wantsOriginal ? entry->originalText.value_or(entry->text)
                                                 : entry->text)
                       << "\n";
    return ended();
}

int HistoryCommand::exportTo() {
    const auto entries = library.feed().entries();
    if (hasProblem()) return ExitCode::failure;
    const fs::path folder = options.folder;
    const std::string shown = "\"" + options.folder + "\"";
    std::error_code error;
    if (!fs::exists(folder, error) && !error) {
        // The last part alone: a slip in the rest should not make a tree of folders.
        fs::create_directory(folder, error);
        if (error) return fail("The folder " + shown + " cannot be made: " + error.message() + ".");
    }
    if (error || !fs::is_directory(folder, error)) return fail(shown + " is not a folder.");
    for (const auto& entry : entries) {
        const auto name = MarkdownExporter::fileName(entry);
        error = services.files.write(folder / name, MarkdownExporter::fileBody(entry));
        if (error)
            return fail(
                "\"" + name + "\" cannot be written in " + shown + ": " + error.message() + ".");
    }
    const auto count = std::to_string(entries.size());
    if (options.isJson)
        streams.output << "{\"exported\":" << count << "}\n";
    else if (entries.empty())
        streams.output << "No notes to export yet.\n";
    else
        streams.output << "Exported " << count << (entries.size() == 1 ? " note.\n" : " notes.\n");
    return ended();
}

int HistoryCommand::add() {
    auto text = readText(streams.input, "nimbe history", streams.error);
    if (!text) return ExitCode::failure;
    if (text::trimmed(*text).empty()) return fail("There is no text on standard input.");
    const auto mode = dictationMode(options.mode);
    if (!mode) return refuse("There is no mode \"" + options.mode + "\".");
    const auto entry = library.append(std::move(*text), std::nullopt, *mode, services.now);
    if (isStopped()) return fail("The text was not kept.");
    if (options.isJson)
        streams.output << historyText::json(entry) << "\n";
    else
        streams.output << entry.id.text() << "\n";
    return ended(" The text is kept as " + entry.id.text() + ".");
}

template <typename Action>
int HistoryCommand::forEachId(const char* done, Action action) {
    Json::Array ids;
    bool isDone = true;
    for (const auto& given : options.ids) {
        const auto id = action(given);
        isDone = id.has_value();
        if (!isDone) break;
        ids.emplace_back(id->text());
        if (!options.isJson) streams.output << done << ": " << id->text() << "\n";
    }
    if (options.isJson) streams.output << Json(ids).text(Json::Layout::pretty) << "\n";
    const int code = ended(ids.empty() ? "" : " The change is made.");
    return isDone ? code : ExitCode::failure;
}

int HistoryCommand::deleteAll() {
    // What the trash has no room for would be gone for good.
    const auto waiting = trashedItems().size();
    if (isStopped()) return ExitCode::failure;
    if (!options.isConfirmed && options.ids.size() > 1 &&
        waiting + options.ids.size() > DictationHistory::cap)
        return refuse("Recently Deleted holds " + std::to_string(DictationHistory::cap) +
                      ", and has " + std::to_string(waiting) +
                      ": the oldest there would be deleted for good. Say so with --yes.");
    listed = library.feed().entries();
    if (hasProblem()) return ExitCode::failure;
    return forEachId("Moved to Recently Deleted", [this](const auto& id) { return deleteOne(id); });
}

std::optional<UUID> HistoryCommand::deleteOne(const std::string& id) {
    const auto* entry = find(listed, id, "");
    if (!entry) return std::nullopt;
    const UUID found = entry->id;
    library.deleteEntry(found, services.now);
    if (isStopped()) return std::nullopt;
    std::erase_if(listed, [&](const auto& other) { return other.id == found; });
    return found;
}

std::optional<UUID> HistoryCommand::restoreOne(const std::string& id) {
    const auto items = trashedItems();
    if (isStopped()) return std::nullopt;
    const auto* item = find(items, id, " in Recently Deleted");
    if (!item || !canRestore(*item)) return std::nullopt;
    const auto restored = library.restore(item->entry.id);
    if (isStopped() || !restored) return std::nullopt;
    return restored->entry.id;
}

/// False, with a message, where taking an item out of the trash would lose it.
bool HistoryCommand::canRestore(const TrashedEntry& item) {
    const auto id = item.entry.id.text();
    if (item.wasSynced || library.keepsAll()) return true;
    const auto entries = library.local().entries();
    if (library.local().problem()) return true; // the restoring says it
    if (entries.size() < DictationHistory::cap) return true;
    // It goes before the first that is not newer, and the last one goes.
    const bool hasPlace = std::any_of(entries.begin(), entries.end(),
        [&](const auto& entry) { return entry.timestamp <= item.entry.timestamp; });
    if (hasPlace)
        (void)fail("The history is full: its oldest dictation " + entries.back().id.text() +
                   " makes room.");
    else
        (void)fail(id + " is older than the hundred dictations that the history keeps. Delete a "
                        "newer one first.");
    return hasPlace;
}

std::optional<UUID> HistoryCommand::eraseOne(const std::string& id) {
    const auto items = trashedItems();
    if (isStopped()) return std::nullopt;
    const auto* item = find(items, id, " in Recently Deleted");
    if (!item) return std::nullopt;
    library.erase(item->entry.id);
    if (hasProblem()) return std::nullopt;
    return item->entry.id;
}

int HistoryCommand::trash() {
    const auto items = trashedItems();
    if (hasProblem()) return ExitCode::failure;
    if (options.isJson)
        streams.output << historyText::json(items) << "\n";
    else if (items.empty())
        streams.output << "Deleted dictations stay for 30 days, then are removed for good.\n";
    else
        historyText::writeRows(streams.output, items, services.now, services.calendar);
    return ended();
}

int HistoryCommand::empty() {
    const auto count = trashedItems().size();
    if (isStopped()) return ExitCode::failure;
    const auto what = std::to_string(count) + (count == 1 ? " dictation" : " dictations");
    if (count > 0 && !options.isConfirmed)
        return refuse("This would delete " + what + " for good. Say so with --yes.");
    library.emptyTrash();
    if (hasProblem()) return ExitCode::failure;
    if (options.isJson)
        streams.output << "{\"deleted\":" << count << "}\n";
    else
        streams.output << "Deleted for good: " << what << "\n";
    return ended(" The change is made.");
}

} // namespace

int runHistory(const HistoryOptions& options, const HistoryServices& services, Streams streams) {
    return HistoryCommand(options, services, streams).run();
}

} // namespace nimbe
