#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Foundation/FileWriter.h"
#include "Foundation/Log.h"
#include "Foundation/Published.h"
#include "Foundation/Task.h"
#include "Foundation/UserDefaults.h"
#include "NimbeApp/FolderPicker.h"
#include "NimbeKitCore/History/DictationEntry.h"

namespace nimbe {

/// Writes dictations as Markdown files into a folder of the user's choice, an
/// Obsidian vault for instance: all on request, or each as it is made. Files that
/// are there are replaced by name, never deleted. Main actor.
class ObsidianExporter : public std::enable_shared_from_this<ObsidianExporter> {
public:
    inline static const Setting<std::string> exportFolder{"obsidianExportFolder"};
    inline static const Setting<bool> isAutomatic{"obsidianAutoExport", false};

    /// Lent; all outlive the exporter.
    struct Platform {
        MainActor& actor;
        UserDefaults& defaults;
        FolderPicker& picker;
        FileWriter& files;
        LogSink& log;
    };
    [[nodiscard]] static std::shared_ptr<ObsidianExporter> create(Platform platform);

    Published<std::optional<std::string>> _folderPath; // absolute; shown by its last part
    Published<std::optional<std::string>> _lastResult; // for the user, one sentence

    /// Opens the picker, unless it is open.
    void chooseFolder();
    void clearFolder();

    // What of an export is written in one go, while nothing else happens: so many files at
    // most, and none after so many seconds. A disk that turns takes about that for one.
    static constexpr std::size_t batch = 100;
    static constexpr Seconds longestTurn = 0.02;

    /// Stops at the first file that cannot be written, or at the next exportAll().
    void exportAll(std::vector<DictationEntry> entries);
    /// Writes the entry when that is switched on; says only what went wrong.
    void autoExport(const DictationEntry& entry);

private:
    explicit ObsidianExporter(Platform platform);

    [[nodiscard]] static Task<void> choose(std::weak_ptr<ObsidianExporter> weakSelf);
    [[nodiscard]] static Task<void> writeAll(std::weak_ptr<ObsidianExporter> weakSelf,
        std::string folder, std::vector<DictationEntry> entries);
    [[nodiscard]] bool write(const std::string& folder, const DictationEntry& entry);

    Platform platform;
    Log log;
    TaskHandle picking;
    TaskHandle writing;
    bool isPicking = false;
};

} // namespace nimbe
