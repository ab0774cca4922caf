#pragma once

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace nimbe {

/// A program that runs beside the test; what it writes goes to a file. It is killed with
/// the object, and with the test program.
class BackgroundProcess {
public:
    /// `environment`: names and values beside those of the test.
    explicit BackgroundProcess(std::vector<std::string> arguments, std::filesystem::path output,
        std::vector<std::pair<std::string, std::string>> environment = {});
    ~BackgroundProcess();
    BackgroundProcess(const BackgroundProcess&) = delete;
    BackgroundProcess& operator=(const BackgroundProcess&) = delete;

    [[nodiscard]] int pid() const { return child; }
    void signal(int number) const;
    /// Its exit code, or 128 and the number of the signal that ended it; -1 when it has not
    /// ended after so many seconds.
    [[nodiscard]] int wait(double seconds = 15);
    /// All that it has written.
    [[nodiscard]] std::string output() const;

private:
    int child = -1;
    int exitCode = -1;
    std::filesystem::path file;
};

} // namespace nimbe
