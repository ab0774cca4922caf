#include "NimbeUI/Fonts.h"

#include <QtCore/QDir>
#include <QtGui/QFontDatabase>
#include <mutex>

void initializeNimbeResources() {
    Q_INIT_RESOURCE(nimbe_fonts);
    Q_INIT_RESOURCE(nimbe_qml);
}

namespace nimbe {

void registerFonts(LogSink& sink) {
    static std::mutex mutex;
    static bool isDone = false;
    const std::lock_guard lock(mutex);
    if (isDone) return;
    isDone = true;
    initializeNimbeResources();
    const Log log(sink, "ui");
    const QDir folder(":/nimbe/fonts");
    const auto files = folder.entryList(QDir::Files);
    int missing = files.empty() ? 1 : 0;
    for (const auto& file : files)
        if (QFontDatabase::addApplicationFont(folder.filePath(file)) < 0) ++missing;
    if (missing > 0) log.warning("fonts: %d could not be loaded, others stand in", missing);
}

} // namespace nimbe
