#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/Result.h"
#include "Foundation/Task.h"

namespace nimbe {

/// What of speech recognition is on this machine, by locale identifier ("en-US").
/// Main thread.
class SpeechAssets {
public:
    enum class Status { unsupported, supported, downloading, installed, unknown };

    virtual ~SpeechAssets() = default;

    /// The locale in which speech of the asked one is recognised; absent: in none.
    [[nodiscard]] virtual std::optional<std::string> supportedLocale(
        std::string_view equivalentTo) = 0;
    [[nodiscard]] virtual std::vector<std::string> installedLocales() = 0;
    [[nodiscard]] virtual Status status(std::string_view locale) = 0;

    /// Progress from 0 to 1. An error is a sentence for the user. May take as long as
    /// the network likes: callers set a deadline.
    [[nodiscard]] virtual Task<Result<void, std::string>> downloadAndInstall(
        std::string locale, std::function<void(double)> onProgress) = 0;

    /// Locales that are kept ready for this program; their number is limited.
    [[nodiscard]] virtual std::vector<std::string> reservedLocales() = 0;
    [[nodiscard]] virtual std::size_t maximumReservedLocales() = 0;
    /// An error is for the log.
    [[nodiscard]] virtual Result<void, std::string> reserve(std::string_view locale) = 0;
};

} // namespace nimbe
