#pragma once

#include <memory>
#include <string>

#include "NimbeApp/FolderPicker.h"

class QFileDialog;

namespace nimbe {

/// The toolkit's dialog for folders. Main thread; needs a QApplication.
class QtFolderPicker final : public FolderPicker {
public:
    explicit QtFolderPicker(MainActor& actor);
    QtFolderPicker(const QtFolderPicker&) = delete;
    QtFolderPicker& operator=(const QtFolderPicker&) = delete;
    ~QtFolderPicker() override;

    /// One at a time: a dialog that is open is closed as if cancelled. Dropping the task
    /// leaves it open for nobody, until the next one or the end of this.
    [[nodiscard]] Task<std::optional<std::filesystem::path>> chooseFolder() override;

private:
    MainActor& actor;
    std::unique_ptr<QFileDialog> dialog;
};

} // namespace nimbe
