#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>
#include <thread>
#include <unistd.h>

#include "DesktopScene.h"
#include "Table.h"
#include "Timings.h"

namespace nimbe {
namespace {

double now() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

void pause(double seconds) {
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
}

double at(std::vector<double> values, double part) {
    if (values.empty()) throw std::runtime_error("nothing was measured");
    std::sort(values.begin(), values.end());
    const auto last = static_cast<double>(values.size() - 1);
    return values[static_cast<std::size_t>(part * last + 0.5)];
}

/// The last line of a log that holds the word; what stands behind it as NAME=NUMBER.
std::map<std::string, double> lastTimes(const std::string& log, const std::string& word) {
    std::map<std::string, double> times;
    const auto at = log.rfind(word);
    if (at == log.npos) return times;
    std::istringstream words(log.substr(at + word.size(), log.find('\n', at) - at - word.size()));
    for (std::string pair; words >> pair;)
        if (const auto equals = pair.find('='); equals != pair.npos)
            times[pair.substr(0, equals)] = std::strtod(pair.c_str() + equals + 1, nullptr);
    return times;
}

/// Kilobytes, of /proc/PID/status.
double memory(int pid, const std::string& name) {
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    for (std::string line; std::getline(status, line);)
        if (line.starts_with(name + ":"))
            return std::strtod(line.c_str() + name.size() + 1, nullptr);
    return 0;
}

struct Activity {
    double processor = 0; // seconds
    double wakeUps = 0;   // voluntary switches of all threads
};

Activity activity(int pid) {
    Activity sum;
    const auto tasks = "/proc/" + std::to_string(pid) + "/task";
    for (const auto& task : std::filesystem::directory_iterator(tasks)) {
        std::ifstream status(task.path() / "status");
        for (std::string line; std::getline(status, line);)
            if (line.starts_with("voluntary_ctxt_switches:"))
                sum.wakeUps += std::strtod(line.c_str() + 24, nullptr);
        std::ifstream schedule(task.path() / "schedstat");
        double nanoseconds = 0;
        schedule >> nanoseconds;
        sum.processor += nanoseconds * 1e-9;
    }
    return sum;
}

class DesktopBenchmark {
public:
    void run() {
        measureStart();
        measureDictations();
        measureIdle();
        (void)scene.endApp();
    }

private:
    static constexpr int runs = 30;
    DesktopScene scene;

    /// Until its tray item is there and it watches the keys.
    void measureStart() {
        std::vector<double> times;
        (void)scene.verb({"settings", "set", "onboardingCompleted", "on"});
        for (int i = 0; i < 7; ++i) {
            const double begin = now();
            scene.app = std::make_unique<BackgroundProcess>(
                std::vector<std::string>{NIMBE_EXECUTABLE, "--hidden"},
                scene.folder.path / "start.log");
            while (scene.app->output().find("app: launched") == std::string::npos) {
                if (now() > begin + 20) throw std::runtime_error("it does not launch");
                pause(0.002);
            }
            times.push_back(now() - begin);
            if (scene.endApp() != 0) throw std::runtime_error("the application does not end");
            std::filesystem::remove(scene.folder.path / "start.log");
        }
        Table table({"Start", "median", "longest"});
        table.add({"Process start to tray item", figure(at(times, 0.5) * 1000) + " ms",
            figure(at(times, 1) * 1000) + " ms"});
        table.print();
    }

    void measureDictations() {
        if (!scene.startApp()) throw std::runtime_error("the application does not start");
        BackgroundProcess editor({TIMED_EDITOR}, scene.folder.path / "editor.log");
        const auto window = scene.windows.waitForWindow("imed");
        if (!window || !scene.windows.focus(*window)) throw std::runtime_error("no editor");
        const auto speech = RecordedSpeech::phrases().at(0).file;
        std::map<std::string, std::vector<double>> steps;
        for (int i = 0; i < runs; ++i) {
            scene.windows.key(DesktopWindows::altLeft, true);
            if (!scene.waitForPhase("recording")) throw std::runtime_error("it does not record");
            scene.say(speech);
            pause(0.3);
            const double released = scene.windows.key(DesktopWindows::altLeft, false);
            const double landed = waitForChange(editor, released);
            if (!scene.waitForPhase("idle")) throw std::runtime_error(scene.message());
            auto times = lastTimes(scene.app->output(), "dictation times:");
            double known = 0;
            for (const auto& [name, value] : times) {
                steps[name].push_back(value);
                if (name != "sound") known += value;
            }
            const double whole = (landed - released) * 1000;
            steps["whole"].push_back(whole);
            steps["rest"].push_back(whole - known);
            steps["without decode"].push_back(whole - times["decode"]);
        }
        const std::pair<const char*, const char*> rows[] = {
            {"whole", "Key release to text in the window"},
            {"drain", "the microphone's last sound, closing it"},
            {"decode", "the recogniser's rest"},
            {"text", "the text pipeline"},
            {"save", "the history, durable on disk"},
            {"activate", "the window to the front (it is there)"},
            {"paste", "clipboard saved and taken over, chord sent"},
            {"rest", "key event to the program, chord to the window's text"},
            {"without decode", "All but the recogniser's rest"},
            {"sound", "Press (after its 250 ms) to the first sound"},
        };
        Table table({"Dictation, " + std::to_string(runs) + " runs", "median", "95th percentile"});
        for (const auto& [name, text] : rows)
            table.add({text, figure(at(steps[name], 0.5)) + " ms",
                figure(at(steps[name], 0.95)) + " ms"});
        table.print();
        scene.windows.close(*window);
    }

    double waitForChange(BackgroundProcess& editor, double released) {
        while (now() < released + 10) {
            std::istringstream lines(editor.output());
            std::string word;
            double time = 0;
            int length = 0;
            while (lines >> word >> time >> length)
                if (time > released) return time;
            pause(0.005);
        }
        throw std::runtime_error("no text came: " + scene.message());
    }

    void measureIdle() {
        pause(5);
        const int pid = scene.app->pid();
        const auto before = activity(pid);
        const double begin = now();
        pause(60);
        const double seconds = now() - begin;
        const auto after = activity(pid);
        Table table({"After these dictations", ""});
        table.add({"Processor, idle for 60 s",
            figure((after.processor - before.processor) / seconds * 100) + " %"});
        table.add({"Wake-ups a second", figure((after.wakeUps - before.wakeUps) / seconds)});
        table.add({"Resident memory, model warm", figure(memory(pid, "VmRSS") / 1024) + " MB"});
        table.add(
            {"of it in no file (heap, models)", figure(memory(pid, "RssAnon") / 1024) + " MB"});
        table.print();
    }
};

} // namespace

void benchmarkDesktop() {
    if (!std::getenv("SESSION_X_PID")) {
        std::puts("The desktop's figures need a desktop: make bench gives them one.");
        return;
    }
    DesktopBenchmark().run();
}

} // namespace nimbe
