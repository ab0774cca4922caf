#include "Support/BackgroundProcess.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace nimbe {

BackgroundProcess::BackgroundProcess(std::vector<std::string> arguments,
    std::filesystem::path output, std::vector<std::pair<std::string, std::string>> environment)
    : file(std::move(output)) {
    std::vector<char*> argv;
    for (auto& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    const int out = ::open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    const int in = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    child = ::fork();
    if (child < 0) throw std::runtime_error("fork");
    if (child == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        ::dup2(in, STDIN_FILENO);
        ::dup2(out, STDOUT_FILENO);
        ::dup2(out, STDERR_FILENO);
        for (const auto& [name, value] : environment) ::setenv(name.c_str(), value.c_str(), 1);
        ::execvp(argv[0], argv.data());
        ::_exit(127);
    }
    ::close(out);
    ::close(in);
}

BackgroundProcess::~BackgroundProcess() {
    if (child <= 0) return;
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
}

void BackgroundProcess::signal(int number) const {
    if (child > 0) ::kill(child, number);
}

int BackgroundProcess::wait(double seconds) {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    while (child > 0) {
        int status = 0;
        if (::waitpid(child, &status, WNOHANG) == child) {
            exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
            child = -1;
            break;
        }
        if (std::chrono::steady_clock::now() > limit) return -1;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return exitCode;
}

std::string BackgroundProcess::output() const {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

} // namespace nimbe
