#include "NimbeApp/CrashReports.h"

#include <system_error>
#include <utility>

namespace nimbe {
namespace {

namespace fs = std::filesystem;

/// Of two files of one moment the one with the greater name, so that the answer does not
/// hang on the order of the folder.
using Found = std::optional<std::pair<fs::file_time_type, fs::path>>;

void consider(const fs::directory_entry& entry, Found& newest) {
    std::error_code error;
    if (entry.symlink_status(error).type() != fs::file_type::regular) return;
    const auto changed = entry.last_write_time(error);
    if (error) return;
    auto candidate = std::make_pair(changed, entry.path());
    if (!newest || candidate > *newest) newest = std::move(candidate);
}

} // namespace

std::optional<fs::path> CrashReportFolder::newest(const std::vector<CrashReportFolder>& folders) {
    Found newest;
    for (const auto& [folder, prefix] : folders) {
        std::error_code error;
        fs::directory_iterator entries(folder, error);
        std::size_t count = 0;
        while (!error && entries != fs::directory_iterator() && count++ < mostFiles) {
            if (entries->path().filename().native().starts_with(prefix)) consider(*entries, newest);
            entries.increment(error);
        }
    }
    if (!newest) return std::nullopt;
    return std::move(newest->second);
}

} // namespace nimbe
