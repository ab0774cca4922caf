#include "NimbeApp/CrashSentinelController.h"

#include <system_error>

#include "NimbeApp/LaunchSentinel.h"

namespace nimbe {
namespace {

namespace fs = std::filesystem;

/// All but the unreserved characters of RFC 3986 and `kept` as %XX.
std::string percentEncoded(std::string_view text, std::string_view kept = {}) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    constexpr std::string_view unreserved =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";
    std::string encoded;
    for (const char c : text) {
        if (unreserved.find(c) != unreserved.npos || kept.find(c) != kept.npos) {
            encoded += c;
            continue;
        }
        const auto byte = static_cast<unsigned char>(c);
        encoded += {'%', digits[byte >> 4U], digits[byte & 15U]};
    }
    return encoded;
}

} // namespace

CrashSentinelController::CrashSentinelController(Platform lent)
    : platform(std::move(lent)), log(platform.log, "launch") {}

void CrashSentinelController::assessLaunch() {
    const auto left = LaunchSentinel::read(platform.sentinel);
    const auto assessment = CrashSentinel::assess(left.has_value(), left ? left->consecutive : 0);
    if (left) priorLaunchAt = left->launchedAt;
    if (assessment.uncleanShutdown)
        log.warning("launch: the run before did not end cleanly, %lld in a row",
            static_cast<long long>(assessment.consecutiveCount));

    makeFolder();
    const LaunchSentinel own{platform.now(), assessment.consecutiveCount};
    if (const auto error = platform.files.write(platform.sentinel, own.encode()))
        log.error("launch: the sentinel could not be written, errno=%d", error.value());
    _assessment.set(assessment);
}

void CrashSentinelController::makeFolder() {
    const auto folder = platform.sentinel.parent_path();
    std::error_code error;
    if (folder.empty() || fs::exists(folder, error)) return;
    fs::create_directories(folder, error);
    if (!error) fs::permissions(folder, fs::perms::owner_all, error);
    if (error) log.error("launch: the data folder could not be made, errno=%d", error.value());
}

void CrashSentinelController::applicationWillTerminate() {
    std::error_code error;
    if (fs::is_directory(platform.sentinel, error)) return; // not ours
    fs::remove(platform.sentinel, error);
    if (error) log.error("launch: the sentinel could not be deleted, errno=%d", error.value());
}

void CrashSentinelController::reportProblem() {
    std::string body = "Nimbe did not shut down cleanly. Describe what happened before it stopped.";
    if (const auto report = CrashReportFolder::newest(platform.reports)) {
        platform.opener.reveal(*report);
        body = "Nimbe did not shut down cleanly. The crash report is selected in " +
               platform.fileManager + "; please drag it into this email.";
    }
    platform.opener.openURL("mailto:" + percentEncoded(platform.feedbackAddress, "@+") +
                            "?subject=" + percentEncoded("Nimbe Mac problem report") +
                            "&body=" + percentEncoded(body));
}

bool CrashSentinelController::relaunchLocalOnly() {
    return platform.defaults.set(forceLocalOnlyOnce, true);
}

void CrashSentinelController::dismiss() {
    _assessment.set({});
}

bool takeForceLocalOnlyOnce(UserDefaults& defaults) {
    const auto& once = CrashSentinelController::forceLocalOnlyOnce;
    if (!defaults.get(once)) return false; // most launches write nothing
    bool isAsked = true;
    (void)defaults.transaction([&] {
        isAsked = defaults.get(once);
        return isAsked && defaults.remove(once);
    });
    return isAsked;
}

} // namespace nimbe
