#include "LiveProcess.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <stdexcept>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

namespace nimbe {
namespace {

using Clock = std::chrono::steady_clock;

struct Ends {
    int read = -1;
    int write = -1;
};

Ends makePipe() {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("pipe");
    return {ends[0], ends[1]};
}

Ends makeTerminal(unsigned columns) {
    Ends ends;
    winsize size{};
    size.ws_row = 24;
    size.ws_col = static_cast<unsigned short>(columns);
    if (::openpty(&ends.read, &ends.write, nullptr, nullptr, &size) != 0)
        throw std::runtime_error("openpty");
    ::fcntl(ends.read, F_SETFD, FD_CLOEXEC);
    ::fcntl(ends.write, F_SETFD, FD_CLOEXEC);
    return ends;
}

void closeEnd(int& end) {
    if (end >= 0) ::close(end);
    end = -1;
}

} // namespace

LiveProcess::LiveProcess(std::vector<std::string> arguments, unsigned columns) {
    std::signal(SIGPIPE, SIG_IGN);
    auto out = makePipe();
    auto in = columns == 0 ? makePipe() : makeTerminal(columns);
    auto err = columns == 0 ? makePipe() : in;
    std::vector<char*> argv;
    for (auto& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    const int inputOfChild = columns == 0 ? in.read : in.write;
    child = ::fork();
    if (child < 0) throw std::runtime_error("fork");
    if (child == 0) {
        // A session of its own, so that the terminal's Ctrl+C is for it alone.
        ::setsid();
        if (columns != 0) ::ioctl(inputOfChild, TIOCSCTTY, 0);
        ::dup2(inputOfChild, STDIN_FILENO);
        ::dup2(out.write, STDOUT_FILENO);
        ::dup2(err.write, STDERR_FILENO);
        ::signal(SIGPIPE, SIG_DFL);
        ::execv(argv[0], argv.data());
        ::_exit(127);
    }
    closeEnd(out.write);
    output = out.read;
    if (columns == 0) {
        closeEnd(in.read);
        closeEnd(err.write);
        input = in.write;
        error = err.read;
    } else {
        closeEnd(in.write);
        input = ::fcntl(in.read, F_DUPFD_CLOEXEC, 0);
        error = in.read;
    }
}

LiveProcess::~LiveProcess() {
    if (child > 0) {
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);
    }
    closeEnd(input);
    closeEnd(output);
    closeEnd(error);
}

void LiveProcess::type(const std::string& text) const {
    if (::write(input, text.data(), text.size()) < 0) throw std::runtime_error("write");
}

void LiveProcess::endInput() {
    closeEnd(input);
}

void LiveProcess::signal(int number) const {
    ::kill(child, number);
}

void LiveProcess::readSome(int milliseconds) {
    std::array<pollfd, 2> ends{{{output, POLLIN, 0}, {error, POLLIN, 0}}};
    if (::poll(ends.data(), ends.size(), milliseconds) <= 0) return;
    const auto drain = [](const pollfd& ready, int& end, std::string& into) {
        if (ready.revents == 0) return;
        std::array<char, 65536> buffer{};
        const auto count = ::read(end, buffer.data(), buffer.size());
        // A terminal that nobody holds any more ends with an error.
        if (count > 0)
            into.append(buffer.data(), static_cast<std::size_t>(count));
        else
            closeEnd(end);
    };
    drain(ends[0], output, process.output);
    drain(ends[1], error, process.error);
}

bool LiveProcess::waitForError(const std::string& text, double seconds) {
    const auto limit = Clock::now() + std::chrono::duration<double>(seconds);
    while (process.error.find(text) == process.error.npos) {
        if (error < 0 || Clock::now() > limit) return false;
        readSome(50);
    }
    return true;
}

Process LiveProcess::finish(double seconds) {
    const auto limit = Clock::now() + std::chrono::duration<double>(seconds);
    while ((output >= 0 || error >= 0) && Clock::now() < limit) readSome(50);
    if (output >= 0 || error >= 0) ::kill(child, SIGKILL);
    int status = 0;
    ::waitpid(child, &status, 0);
    child = -1;
    if (WIFEXITED(status)) process.exitCode = WEXITSTATUS(status);
    return process;
}

} // namespace nimbe
