#pragma once

#include <string>

#include "NimbeKitCore/History/DictationEntry.h"

namespace nimbe {

/// One note as a Markdown file with front matter.
struct MarkdownExporter {
    /// "Nimbe 2026-03-07 4F1C09AB.md": the day in UTC and the id's first eight
    /// digits. It depends on nothing that an edit changes.
    [[nodiscard]] static std::string fileName(const DictationEntry& entry);

    [[nodiscard]] static std::string fileBody(const DictationEntry& entry);
};

} // namespace nimbe
