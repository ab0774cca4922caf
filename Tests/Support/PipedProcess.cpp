#include "Support/PipedProcess.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

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

using Variables = std::vector<std::pair<std::string, std::string>>;

/// This process's, with those in place of the ones that have their names.
std::vector<std::string> environmentWith(const Variables& others) {
    std::vector<std::string> all;
    for (char** each = environ; *each; ++each) {
        const std::string_view variable(*each);
        const auto name = variable.substr(0, variable.find('='));
        if (std::none_of(others.begin(), others.end(),
                [&](const auto& other) { return other.first == name; }))
            all.emplace_back(variable);
    }
    for (const auto& [name, value] : others) all.push_back(name + "=" + value);
    return all;
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
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, answers[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, complaints[1], STDERR_FILENO);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t asUsual;
    sigemptyset(&asUsual);
    sigaddset(&asUsual, SIGPIPE);
    posix_spawnattr_setsigdefault(&attributes, &asUsual);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
    auto variables = environmentWith(environment);
    std::vector<char*> envp;
    for (auto& variable : variables) envp.push_back(variable.data());
    envp.push_back(nullptr);
    // Not by fork(), which takes the longer the more memory this process has.
    const int problem =
        ::posix_spawnp(&child, argv[0], &actions, &attributes, argv.data(), envp.data());
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    ::close(input[0]);
    ::close(answers[1]);
    ::close(complaints[1]);
    in = input[1];
    out = answers[0];
    err = complaints[0];
    if (problem != 0) throw std::runtime_error(arguments.front() + ": " + std::strerror(problem));
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
    std::size_t looked = given;
    while (true) {
        const auto end = output.find('\n', looked);
        if (end != output.npos) {
            auto line = output.substr(given, end - given);
            given = end + 1;
            return line;
        }
        output.erase(0, std::exchange(given, 0));
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
