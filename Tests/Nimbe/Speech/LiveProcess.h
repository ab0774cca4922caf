#pragma once

#include <string>
#include <vector>

#include "Support/Process.h"

namespace nimbe {

/// A program that a test talks to while it runs. It is killed with the object.
class LiveProcess {
public:
    /// With pipes for its three streams.
    explicit LiveProcess(std::vector<std::string> arguments)
        : LiveProcess(std::move(arguments), 0) {}
    /// With its standard input and error on a terminal of so many columns; 0: with pipes.
    LiveProcess(std::vector<std::string> arguments, unsigned columns);
    ~LiveProcess();
    LiveProcess(const LiveProcess&) = delete;
    LiveProcess& operator=(const LiveProcess&) = delete;

    void type(const std::string& text) const;
    void endInput();
    void signal(int number) const;

    /// Takes what comes until the error stream holds `text`. False when it does not within
    /// so many seconds, or when the program has ended.
    [[nodiscard]] bool waitForError(const std::string& text, double seconds = 10);

    /// All that it wrote, once it has ended; killed, with exit code -1, after so many
    /// seconds.
    [[nodiscard]] Process finish(double seconds = 20);

private:
    int child = -1;
    int input = -1;
    int output = -1;
    int error = -1; // the terminal, when there is one
    Process process;

    void readSome(int milliseconds);
};

} // namespace nimbe
