#pragma once

#include "Foundation/FileWriter.h"
#include "PlatformStorage/AtomicFile.h"

namespace nimbe {

/// Documents as files that their owner's umask decides about.
class AtomicFileWriter final : public FileWriter {
public:
    [[nodiscard]] std::error_code write(
        const std::filesystem::path& file, std::string_view content) override {
        const auto* bytes = reinterpret_cast<const std::uint8_t*>(content.data());
        return AtomicFile::write(file, {bytes, content.size()}, std::filesystem::perms(0666),
            AtomicFile::Existing::replace);
    }
};

} // namespace nimbe
