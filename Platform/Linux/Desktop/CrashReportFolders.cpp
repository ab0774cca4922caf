#include "PlatformDesktop/CrashReportFolders.h"

#include <array>
#include <cstdio>

namespace nimbe {
namespace {

/// The kernel's name of a process: the file's, cut. proc(5), /proc/pid/comm.
constexpr std::size_t longestComm = 15;

/// As systemd-coredump writes a name into a file's name.
std::string escaped(const std::string& comm) {
    std::string text;
    for (const char c : comm) {
        const auto byte = static_cast<unsigned char>(c);
        if (c != '.' && c != '\\' && byte > ' ' && byte < 0x7F) {
            text += c;
            continue;
        }
        std::array<char, 5> code{};
        std::snprintf(code.data(), code.size(), "\\x%02x", byte);
        text += code.data();
    }
    return text;
}

} // namespace

std::vector<CrashReportFolder> crashReportFolders(const std::filesystem::path& program) {
    // "core.COMM.UID.BOOT.PID.TIME", with the ending of the compression, and COMM of the
    // process whichever thread crashed: make_filename() in
    // https://github.com/systemd/systemd/blob/main/src/coredump/coredump-submit.c
    const auto comm = program.filename().native().substr(0, longestComm);

    // "PATH.UID.crash", the slashes of PATH as underscores: make_report_file() in
    // https://github.com/canonical/apport/blob/main/apport/fileutils.py
    auto path = program.native();
    for (char& c : path)
        if (c == '/') c = '_';
    return {
        {"/var/lib/systemd/coredump", "core." + escaped(comm) + "."}, {"/var/crash", path + "."}};
}

} // namespace nimbe
