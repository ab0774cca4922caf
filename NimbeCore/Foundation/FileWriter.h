#pragma once

#include <filesystem>
#include <string_view>
#include <system_error>

namespace nimbe {

/// Writes the user's documents. Any thread; blocks.
class FileWriter {
public:
    virtual ~FileWriter() = default;

    /// The file is afterwards whole, in place of any file of that name, or as it
    /// was before. Its folder must be there.
    [[nodiscard]] virtual std::error_code write(
        const std::filesystem::path& file, std::string_view content) = 0;
};

} // namespace nimbe
