#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/Date.h"
#include "Foundation/FileWriter.h"
#include "Foundation/Log.h"
#include "Foundation/Published.h"
#include "Foundation/UserDefaults.h"
#include "NimbeApp/CrashReports.h"
#include "NimbeApp/DocumentOpener.h"
#include "NimbeKitCore/CrashSentinel.h"

namespace nimbe {

/// Tells whether the run before ended cleanly, by a file (see LaunchSentinel) that is
/// there while the program runs, and offers the two ways out. Main actor; one instance of
/// the program at a time. File system errors are logged and never stop the program.
class CrashSentinelController {
public:
    inline static const Setting<bool> forceLocalOnlyOnce{"forceLocalOnlyOnce", false};

    using ReportFolder = CrashReportFolder;

    /// Lent; all outlive the controller.
    struct Platform {
        FileWriter& files;
        UserDefaults& defaults;
        DocumentOpener& opener;
        LogSink& log;
        std::filesystem::path sentinel; // "launch-sentinel.json" in the data folder
        std::vector<ReportFolder> reports;
        std::string fileManager;     // as the report's text calls it
        std::string feedbackAddress; // of an e-mail
        std::function<Date()> now = Date::now;
    };

    static constexpr std::string_view bannerText = "Nimbe didn't shut down cleanly last time.";
    static constexpr std::string_view reportButton = "Report a Problem";
    static constexpr std::string_view localOnlyButton = "Relaunch local-only";
    static constexpr std::string_view localOnlyNote =
        "Quit and reopen Nimbe. The next launch skips iCloud sync once.";

    explicit CrashSentinelController(Platform platform);

    /// Of this launch, until dismissed.
    Published<CrashSentinel::LaunchAssessment> _assessment;
    std::optional<Date> priorLaunchAt; // when the run that ended uncleanly had started

    /// Once, before there is anything to see. Makes the data folder where it is missing,
    /// for this user alone.
    void assessLaunch();
    /// A clean end.
    void applicationWillTerminate();

    /// Shows the newest report, if there is one, and begins an e-mail.
    void reportProblem();
    /// The next launch goes without the cloud, once. False: it could not be stored.
    [[nodiscard]] bool relaunchLocalOnly();
    void dismiss();

private:
    Platform platform;
    Log log;

    void makeFolder();
};

/// Whether this launch was asked to go without the cloud, once: reads and clears in one step,
/// so that of several programs one is told. One that cannot be cleared holds for this launch
/// too.
[[nodiscard]] bool takeForceLocalOnlyOnce(UserDefaults& defaults);

} // namespace nimbe
