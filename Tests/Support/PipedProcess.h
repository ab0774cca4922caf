#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace nimbe {

/// A program that a test talks to by lines while it runs, with a pipe for each of its
/// standard streams. It is killed with the object.
class PipedProcess {
public:
    /// `environment`: names and values beside those of the test.
    explicit PipedProcess(std::vector<std::string> arguments,
        const std::vector<std::pair<std::string, std::string>>& environment = {});
    ~PipedProcess();
    PipedProcess(const PipedProcess&) = delete;
    PipedProcess& operator=(const PipedProcess&) = delete;

    [[nodiscard]] int pid() const { return child; }

    /// Writes all of it, taking meanwhile what the program writes; false when it does not read.
    bool write(std::string_view bytes);
    /// The next line of its output, without the break; absent at its end, or after so many
    /// seconds.
    [[nodiscard]] std::optional<std::string> readLine(double seconds = 20);
    /// A line, and the one that answers it.
    [[nodiscard]] std::optional<std::string> ask(const std::string& line);

    void closeInput();
    void closeOutput();

    /// Its exit code, or 128 and the number of the signal that ended it; -1 when it has not
    /// ended after so many seconds, and is then killed. Takes what it still writes.
    [[nodiscard]] int finish(double seconds = 20);
    /// What it has written to standard error so far; all of it after finish().
    [[nodiscard]] const std::string& error();

private:
    int child = -1;
    int in = -1;
    int out = -1;
    int err = -1;
    std::string output;
    std::size_t given = 0; // of the output: lines that were read
    std::string errors;

    bool step(int milliseconds, std::string_view& toWrite);
};

} // namespace nimbe
