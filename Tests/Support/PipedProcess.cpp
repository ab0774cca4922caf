#include "Support/PipedProcess.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace nimbe {
namespace {

using Clock = std::chrono::steady_clock;

Clock::time_point after(double seconds) {
    return Clock::now() +
           std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
}

std::array<int, 2> makePipe() {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("pipe");
    return ends;
}

void closeEnd(int& end) {
    if (end >= 0) ::close(end);
    end = -1;
}

void drain(int& end, std::string& into) {
    std::array<char, 65536> buffer{};
    const auto count = ::read(end, buffer.data(), buffer.size());
    if (count > 0)
        into.append(buffer.data(), static_cast<std::size_t>(count));
    else if (count == 0 || errno != EINTR)
        closeEnd(end);
}

} // namespace

PipedProcess::PipedProcess(std::vector<std::string> arguments,
    const std::vector<std::pair<std::string, std::string>>& environment) {
    std::signal(SIGPIPE, SIG_IGN);
    std::vector<char*> argv;
    for (auto& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    auto input = makePipe();
    auto answers = makePipe();
    auto complaints = makePipe();
    child = ::fork();
    if (child < 0) throw std::runtime_error("fork");
    if (child == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        ::dup2(input[0], STDIN_FILENO);
        ::dup2(answers[1], STDOUT_FILENO);
        ::dup2(complaints[1], STDERR_FILENO);
        ::signal(SIGPIPE, SIG_DFL);
        for (const auto& [name, value] : environment) ::setenv(name.c_str(), value.c_str(), 1);
        ::execvp(argv[0], argv.data());
        ::_exit(127);
    }
    ::close(input[0]);
    ::close(answers[1]);
    ::close(complaints[1]);
    in = input[1];
    out = answers[0];
    err = complaints[0];
    ::fcntl(in, F_SETFL, O_NONBLOCK);
}

PipedProcess::~PipedProcess() {
    if (child > 0) {
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);
    }
    closeEnd(in);
    closeEnd(out);
    closeEnd(err);
}

/// Waits until something moves; false when nothing did.
bool PipedProcess::step(int milliseconds, std::string_view& toWrite) {
    std::array<pollfd, 3> ends{
        {{toWrite.empty() ? -1 : in, POLLOUT, 0}, {out, POLLIN, 0}, {err, POLLIN, 0}}};
    if (::poll(ends.data(), ends.size(), milliseconds) <= 0) return false;
    if (ends[0].revents != 0) {
        const auto count = ::write(in, toWrite.data(), toWrite.size());
        if (count > 0) toWrite.remove_prefix(static_cast<std::size_t>(count));
        if (count < 0 && errno != EAGAIN) closeEnd(in);
    }
    if (ends[1].revents != 0) drain(out, output);
    if (ends[2].revents != 0) drain(err, errors);
    return true;
}

bool PipedProcess::write(std::string_view bytes) {
    constexpr int patience = 30'000;
    while (!bytes.empty() && in >= 0)
        if (!step(patience, bytes)) return false;
    return bytes.empty();
}

std::optional<std::string> PipedProcess::readLine(double seconds) {
    const auto limit = after(seconds);
    std::string_view nothing;
    std::size_t looked = 0;
    while (true) {
        const auto end = output.find('\n', looked);
        if (end != output.npos) {
            auto line = output.substr(0, end);
            output.erase(0, end + 1);
            return line;
        }
        looked = output.size();
        if (out < 0 || Clock::now() > limit) return std::nullopt;
        (void)step(50, nothing);
    }
}

std::optional<std::string> PipedProcess::ask(const std::string& line) {
    if (!write(line + "\n")) return std::nullopt;
    return readLine();
}

void PipedProcess::closeInput() {
    closeEnd(in);
}

void PipedProcess::closeOutput() {
    closeEnd(out);
}

int PipedProcess::finish(double seconds) {
    closeEnd(in);
    const auto limit = after(seconds);
    std::string_view nothing;
    while ((out >= 0 || err >= 0) && Clock::now() < limit) (void)step(50, nothing);
    const bool isLate = out >= 0 || err >= 0;
    if (isLate) ::kill(child, SIGKILL);
    int status = 0;
    ::waitpid(child, &status, 0);
    child = -1;
    if (isLate) return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

const std::string& PipedProcess::error() {
    std::string_view nothing;
    while (err >= 0 && step(0, nothing)) {
    }
    return errors;
}

} // namespace nimbe
