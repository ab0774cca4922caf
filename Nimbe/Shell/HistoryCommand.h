#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Foundation/Calendar.h"
#include "Foundation/FileWriter.h"
#include "NimbeKitCore/History/SemanticIndex.h"
#include "NimbeShell/CommandLine.h"
#include "NimbeSync/HistoryLibrary.h"

namespace nimbe {

struct HistoryOptions {
    enum class Verb { list, search, show, exportTo, add, deleteIds, restore, trash, erase, empty };
    Verb verb = Verb::list;
    std::vector<std::string> ids = {}; // whole, or the first digits
    std::string query = {};
    std::string folder = {};
    std::string mode = "notes";
    std::optional<std::size_t> limit = {};
    bool isJson = false;
    bool wantsOriginal = false;
    bool isConfirmed = false;
};

/// What the verbs of the history work on.
struct HistoryServices {
    HistoryLibrary& history;
    TextEmbedder& embedder;
    FileWriter& files;
    Calendar calendar;
    Date now;
};

[[nodiscard]] int runHistory(
    const HistoryOptions& options, const HistoryServices& services, Streams streams);

} // namespace nimbe
