#include "Support/SoundSession.h"

#include <cmath>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <numbers>
#include <spawn.h>
#include <sstream>
#include <string_view>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "Support/Process.h"

extern char** environ;

namespace nimbe {
namespace {

pid_t sessionServer() {
    const char* pid = std::getenv("SESSION_AUDIO_PID");
    return pid ? std::atoi(pid) : 0;
}

bool accepts(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    const int end = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool isAccepted =
        ::connect(end, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    ::close(end);
    return isAccepted;
}

} // namespace

std::string pactl(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "/usr/bin/pactl");
    auto process = Process::run(arguments, "");
    EXPECT_EQ(process.exitCode, 0) << arguments[1] << ": " << process.error;
    return process.output.substr(0, process.output.find_last_not_of('\n') + 1);
}

std::string recordings() {
    std::istringstream lines(pactl({"list", "short", "source-outputs"}));
    std::string found;
    for (std::string line; std::getline(lines, line);)
        if (line.find("protocol-native") != line.npos) found += line + "\n";
    return found;
}

void play(const std::string& sink, double hertz, double seconds) {
    std::vector<float> tone(static_cast<std::size_t>(48'000 * seconds));
    for (std::size_t i = 0; i < tone.size(); ++i)
        tone[i] = static_cast<float>(
            0.5 * std::sin(2 * std::numbers::pi * hertz * static_cast<double>(i) / 48'000));
    const std::string_view bytes(
        reinterpret_cast<const char*>(tone.data()), tone.size() * sizeof(float));
    const auto process = Process::run(
        {"/usr/bin/pacat", "--playback", "--raw", "--device=" + sink, "--format=float32le",
            "--rate=48000", "--channels=1", "--latency-msec=200"},
        bytes);
    EXPECT_EQ(process.exitCode, 0) << process.error;
}

void Recorder::hear(std::span<const float> heard) noexcept {
    const std::lock_guard guard(mutex);
    samples.insert(samples.end(), heard.begin(), heard.end());
    largest = std::max(largest, heard.size());
    came.notify_all();
}

bool Recorder::waitForMore(std::size_t count) {
    std::unique_lock guard(mutex);
    const std::size_t enough = samples.size() + count;
    return came.wait_for(guard, std::chrono::seconds(10), [&] { return samples.size() >= enough; });
}

std::vector<float> Recorder::all() const {
    const std::lock_guard guard(mutex);
    return samples;
}

std::size_t Recorder::largestBuffer() const {
    const std::lock_guard guard(mutex);
    return largest;
}

Tone Tone::of(const std::vector<float>& samples, double sampleRate) {
    const auto isLoud = [](float sample) {
        return std::abs(sample) > 0.05F;
    };
    const auto first = std::find_if(samples.begin(), samples.end(), isLoud);
    const auto last = std::find_if(samples.rbegin(), samples.rend(), isLoud).base();
    Tone tone;
    if (first >= last) return tone;
    std::size_t crossings = 0;
    for (auto at = first; at + 1 < last; ++at) {
        if ((*at < 0) != (*(at + 1) < 0)) ++crossings;
        tone.peak = std::max(tone.peak, static_cast<double>(std::abs(*at)));
    }
    tone.seconds = static_cast<double>(last - first) / sampleRate;
    tone.hertz = static_cast<double>(crossings) / 2 / tone.seconds;
    return tone;
}

UsbMicrophone::UsbMicrophone(
    std::string name, const std::string& format, const std::string& description)
    : name(std::move(name)) {
    sinkModule = pactl(
        {"load-module", "module-null-sink", "sink_name=" + this->name, "norewinds=1 " + format});
    sourceModule = pactl({"load-module", "module-remap-source", "source_name=" + uid(),
        "master=" + this->name + ".monitor " + format,
        "source_properties='device.description=\"" + description + "\"'"});
}

UsbMicrophone::~UsbMicrophone() {
    unplug();
    (void)pactl({"unload-module", sinkModule});
}

void UsbMicrophone::unplug() {
    if (!sourceModule.empty()) (void)pactl({"unload-module", sourceModule});
    sourceModule.clear();
}

SoundServer::SoundServer() {
    previous = std::getenv("PULSE_SERVER");
    start();
}

SoundServer::~SoundServer() {
    kill();
    ::setenv("PULSE_SERVER", previous.c_str(), 1);
}

void SoundServer::start() {
    const auto socket = (folder.path / "pulse").string();
    const auto script = (folder.path / "script").string();
    std::ofstream(script) << "load-module module-null-sink sink_name=speakers norewinds=1\n"
                          << "load-module module-native-protocol-unix auth-anonymous=1 socket="
                          << socket << "\n";
    std::vector<std::string> arguments{"/usr/bin/setpriv", "--pdeathsig", "KILL", "--",
        "/usr/bin/env",
        "DBUS_SESSION_BUS_ADDRESS=unix:path=/nonexistent", // its name there is taken
        "/usr/bin/pulseaudio", "-n", "-F", script, "--daemonize=no", "--use-pid-file=no",
        "--exit-idle-time=-1", "--realtime=no", "--high-priority=no", "--log-level=error"};
    std::vector<char*> argv;
    for (auto& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    ASSERT_EQ(::posix_spawn(&pid, argv[0], nullptr, nullptr, argv.data(), environ), 0);
    // Nothing tells that it listens.
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!accepts(socket)) {
        ASSERT_LT(std::chrono::steady_clock::now(), limit) << "the sound server did not start";
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    ::setenv("PULSE_SERVER", ("unix:" + socket).c_str(), 1);
}

void SoundServer::kill() {
    if (pid == 0) return;
    ::kill(pid, SIGKILL);
    ::waitpid(pid, nullptr, 0);
    pid = 0;
}

StoppedServer::StoppedServer() {
    ::kill(sessionServer(), SIGSTOP);
}

StoppedServer::~StoppedServer() {
    ::kill(sessionServer(), SIGCONT);
}

void SoundTest::SetUp() {
    ASSERT_NE(sessionServer(), 0) << "not under scripts/desktop-session";
}

} // namespace nimbe
