#include "Support/Process.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace nimbe {
namespace {

struct Pipe {
    int read = -1;
    int write = -1;
    Pipe() {
        std::array<int, 2> ends{};
        if (::pipe2(ends.data(), O_CLOEXEC) != 0) std::abort();
        read = ends[0];
        write = ends[1];
    }
    ~Pipe() {
        closeEnd(read);
        closeEnd(write);
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    static void closeEnd(int& end) {
        if (end >= 0) ::close(end);
        end = -1;
    }
};

/// Reads what is there; closes the end at its end.
void drain(int& end, std::string& into) {
    std::array<char, 65536> buffer{};
    const auto count = ::read(end, buffer.data(), buffer.size());
    if (count > 0)
        into.append(buffer.data(), static_cast<std::size_t>(count));
    else if (count == 0 || errno != EINTR)
        Pipe::closeEnd(end);
}

} // namespace

Process Process::run(std::vector<std::string> arguments, std::string_view input, int patience) {
    std::signal(SIGPIPE, SIG_IGN);
    Pipe in;
    Pipe out;
    Pipe error;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in.read, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, out.write, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, error.write, STDERR_FILENO);
    std::vector<char*> argv;
    for (auto& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    pid_t child = -1;
    const int spawned = ::posix_spawn(&child, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    Process process;
    if (spawned != 0) return process;
    Pipe::closeEnd(in.read);
    Pipe::closeEnd(out.write);
    Pipe::closeEnd(error.write);
    ::fcntl(in.write, F_SETFL, O_NONBLOCK);

    bool isLate = false;
    while (!isLate && (out.read >= 0 || error.read >= 0)) {
        if (input.empty()) Pipe::closeEnd(in.write);
        std::array<pollfd, 3> ends{
            {{in.write, POLLOUT, 0}, {out.read, POLLIN, 0}, {error.read, POLLIN, 0}}};
        isLate = ::poll(ends.data(), ends.size(), patience * 1000) == 0;
        if (ends[0].revents != 0) {
            const auto count = ::write(in.write, input.data(), input.size());
            if (count > 0) input.remove_prefix(static_cast<std::size_t>(count));
            if (count < 0 && errno != EAGAIN) input = {};
        }
        if (ends[1].revents != 0) drain(out.read, process.output);
        if (ends[2].revents != 0) drain(error.read, process.error);
    }
    if (isLate) ::kill(child, SIGKILL);
    int status = 0;
    rusage usage{};
    ::wait4(child, &status, 0, &usage);
    process.peakMemory = usage.ru_maxrss;
    if (WIFEXITED(status)) process.exitCode = WEXITSTATUS(status);
    return process;
}

} // namespace nimbe
