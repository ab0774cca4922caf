#pragma once

#include <functional>
#include <map>
#include <string>

namespace nimbe {

/// Named pieces of work, timed by the benchmark library in one run.
class Timings {
public:
    enum class Effort {
        careful, // the median of seven runs of many calls
        quick,   // of three short ones
        once     // a single call, for work of milliseconds and more
    };
    using Work = std::function<void()>;
    /// `prepare` makes the work when its turn comes, untimed, and what it holds is
    /// let go afterwards.
    void add(const std::string& name, std::function<Work()> prepare, Effort effort);

    /// Runs all that was added, in random interleaving where it repeats.
    void run();

    /// Real time of one call.
    [[nodiscard]] double seconds(const std::string& name) const { return results.at(name); }

private:
    std::map<std::string, double> results;
};

/// The figures of the text pipeline.
void benchmarkText();

/// The figures of the history.
void benchmarkHistory();

/// The figures of the synced store.
void benchmarkSync();

/// The figures of the server for AI clients, beside others where those are installed.
void benchmarkMCP();

/// The figures of sound and speech; feeds dictations in real time.
void benchmarkSpeech();

/// The figures of the AI cleanup, with a server of the tests' own.
void benchmarkLanguage();

/// The figures of the whole application on a desktop; dictates in real time.
void benchmarkDesktop();

} // namespace nimbe
