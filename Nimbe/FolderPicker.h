#pragma once

#include <filesystem>
#include <optional>

#include "Foundation/Task.h"

namespace nimbe {

/// A dialog in which the user chooses a folder, or makes one; files cannot be
/// chosen. Main thread. Open for as long as the user likes.
class FolderPicker {
public:
    virtual ~FolderPicker() = default;

    /// Absent when the user cancels.
    [[nodiscard]] virtual Task<std::optional<std::filesystem::path>> chooseFolder() = 0;
};

} // namespace nimbe
