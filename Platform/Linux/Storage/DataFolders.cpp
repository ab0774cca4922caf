#include "PlatformStorage/DataFolders.h"

#include <cstdlib>

namespace nimbe {
namespace {

namespace fs = std::filesystem;

/// Empty and relative values count as unset, as the XDG rules say.
std::optional<fs::path> folder(const DataFolders::Environment& environment, const char* name) {
    const auto value = environment(name);
    if (!value || value->empty() || value->front() != '/') return std::nullopt;
    return fs::path(*value);
}

std::optional<fs::path> base(
    const DataFolders::Environment& environment, const char* name, const char* below) {
    const auto set = folder(environment, name);
    const auto home = folder(environment, "HOME");
    return set || !home ? set : std::optional<fs::path>(*home / below);
}

std::optional<std::string> ofThisProcess(const char* name) {
    const char* value = std::getenv(name);
    return value ? std::optional<std::string>(value) : std::nullopt;
}

} // namespace

std::optional<DataFolders> DataFolders::find(const Environment& environment) {
    // The user's own word, so a relative one is not passed over.
    if (const auto named = environment("NIMBE_HOME"); named && !named->empty()) {
        std::error_code error; // the working folder has gone
        const auto portable = fs::absolute(*named, error);
        if (error) return std::nullopt;
        return DataFolders{portable / "data", portable / "cache", portable / "config", true};
    }

    const auto data = base(environment, "XDG_DATA_HOME", ".local/share");
    const auto cache = base(environment, "XDG_CACHE_HOME", ".cache");
    const auto config = commonConfig(environment);
    if (!data || !cache || !config) return std::nullopt;
    return DataFolders{*data / "nimbe", *cache / "nimbe", *config, false};
}

std::optional<DataFolders> DataFolders::find() {
    return find(ofThisProcess);
}

std::optional<fs::path> DataFolders::commonConfig(const Environment& environment) {
    return base(environment, "XDG_CONFIG_HOME", ".config");
}

std::optional<fs::path> DataFolders::commonConfig() {
    return commonConfig(ofThisProcess);
}

} // namespace nimbe
