#include "NimbeApp/ObsidianExporter.h"

#include "NimbeKitCore/History/MarkdownExporter.h"

namespace nimbe {

std::shared_ptr<ObsidianExporter> ObsidianExporter::create(Platform platform) {
    return std::shared_ptr<ObsidianExporter>(new ObsidianExporter(platform));
}

ObsidianExporter::ObsidianExporter(Platform lent) : platform(lent), log(lent.log, "export") {
    if (auto folder = platform.defaults.get(exportFolder); !folder.empty())
        _folderPath.set(std::move(folder));
}

void ObsidianExporter::chooseFolder() {
    if (isPicking) return;
    isPicking = true;
    picking = startTask(platform.actor, choose(weak_from_this()));
}

Task<void> ObsidianExporter::choose(std::weak_ptr<ObsidianExporter> weakSelf) {
    auto self = weakSelf.lock();
    if (!self) co_return;
    auto asking = self->platform.picker.chooseFolder();
    self.reset();

    const auto chosen = co_await std::move(asking);

    self = weakSelf.lock();
    if (!self) co_return;
    self->isPicking = false;
    if (!chosen || chosen->empty()) co_return;
    if (self->platform.defaults.set(exportFolder, chosen->string()))
        self->_folderPath.set(chosen->string());
    else
        self->_lastResult.set("The folder could not be remembered.");
}

void ObsidianExporter::clearFolder() {
    if (platform.defaults.remove(exportFolder)) _folderPath.set(std::nullopt);
}

void ObsidianExporter::exportAll(std::vector<DictationEntry> entries) {
    const auto& folder = _folderPath.get();
    if (!folder) return _lastResult.set("Choose a folder first.");
    if (entries.empty()) return _lastResult.set("No notes to export yet.");
    writing = startTask(platform.actor, writeAll(weak_from_this(), *folder, std::move(entries)));
}

Task<void> ObsidianExporter::writeAll(std::weak_ptr<ObsidianExporter> weakSelf, std::string folder,
    std::vector<DictationEntry> entries) {
    const auto count = std::to_string(entries.size());
    std::size_t begin = 0; // of this turn
    Seconds since = 0;
    for (std::size_t at = 0; at < entries.size(); ++at) {
        auto self = weakSelf.lock();
        if (!self) co_return;
        if (at == begin) since = self->platform.actor.now();
        if (!self->write(folder, entries[at])) {
            self->_lastResult.set("Export failed. Check that the folder still exists.");
            co_return;
        }
        const bool isTurnOver =
            at + 1 - begin == batch || self->platform.actor.now() - since >= longestTurn;
        if (!isTurnOver || at + 1 == entries.size()) continue;
        self->_lastResult.set("Exporting " + std::to_string(at + 1) + " of " + count + "…");
        auto& actor = self->platform.actor;
        self.reset();
        begin = at + 1;
        co_await sleep(actor, 0);
    }
    const auto self = weakSelf.lock();
    if (self) self->_lastResult.set("Exported " + count + (count == "1" ? " note." : " notes."));
}

void ObsidianExporter::autoExport(const DictationEntry& entry) {
    const auto& folder = _folderPath.get();
    if (!folder || !platform.defaults.get(isAutomatic)) return;
    if (!write(*folder, entry))
        _lastResult.set("Auto-export failed. Check that the folder still exists.");
}

bool ObsidianExporter::write(const std::string& folder, const DictationEntry& entry) {
    const auto file = std::filesystem::path(folder) / MarkdownExporter::fileName(entry);
    const auto error = platform.files.write(file, MarkdownExporter::fileBody(entry));
    if (error) log.error("export: a note could not be written, errno=%d", error.value());
    return !error;
}

} // namespace nimbe
