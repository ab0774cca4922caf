#pragma once

#include "Foundation/ConfigFiles.h"

namespace nimbe {

class AtomicConfigFiles final : public ConfigFiles {
public:
    static constexpr std::size_t largest = 16 * 1024 * 1024; // bytes

    [[nodiscard]] Result<std::optional<std::string>, std::error_code> read(
        const std::filesystem::path& file) override;
    [[nodiscard]] std::error_code replace(const std::filesystem::path& file,
        const std::optional<std::string>& before, std::string_view content) override;
};

} // namespace nimbe
