#pragma once

#include <array>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "Fakes/FakeLogSink.h"
#include "PlatformStorage/SqliteUserDefaults.h"
#include "Support/TemporaryFolder.h"

namespace nimbe {

namespace fs = std::filesystem;

inline const Setting<std::string> name{"name", "nobody"};
inline const Setting<std::string> other{"other", "unset"};
inline const Setting<Bytes> blob{"blob"};
inline const Setting<std::vector<std::string>> list{"list"};

/// A process that waits for run() to run `body`. It is forked at once: SQLite
/// does not bear a fork with a file open, so make it before opening one.
class OtherProcess {
public:
    template <typename Body>
    explicit OtherProcess(Body body) {
        if (::pipe(go.data()) != 0) std::abort();
        child = ::fork();
        if (child != 0) return;
        char byte = 0;
        ::_exit(::read(go[0], &byte, 1) == 1 && body() ? 0 : 1);
    }
    ~OtherProcess() {
        if (child > 0) ::kill(child, SIGKILL); // not waited for: the test has failed
        if (child > 0) (void)finish();
        ::close(go[0]);
        ::close(go[1]);
    }
    OtherProcess(const OtherProcess&) = delete;
    OtherProcess& operator=(const OtherProcess&) = delete;

    void start() const { EXPECT_EQ(::write(go[1], "x", 1), 1); }

    /// True when the body returned true.
    [[nodiscard]] bool finish() {
        int status = 0;
        ::waitpid(std::exchange(child, -1), &status, 0);
        return WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }
    [[nodiscard]] bool run() {
        start();
        return finish();
    }

private:
    std::array<int, 2> go{};
    pid_t child = -1;
};

struct SqliteUserDefaultsTest : testing::Test {
    TemporaryFolder folder;
    FakeLogSink log;
    fs::path file = folder.path / "nimbe" / "settings.sqlite";

    [[nodiscard]] std::unique_ptr<SqliteUserDefaults> open() {
        return std::make_unique<SqliteUserDefaults>(file, log);
    }

    [[nodiscard]] std::string bytes() const {
        std::ifstream in(file, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }
    void setBytes(std::string_view text) const {
        std::ofstream(file, std::ios::binary | std::ios::trunc) << text;
    }

    /// Files set aside beside the settings, write-ahead logs not counted.
    [[nodiscard]] int asideCount() const {
        int count = 0;
        for (const auto& entry : fs::directory_iterator(file.parent_path())) {
            const auto text = entry.path().filename().string();
            if (text.find(".damaged-") != text.npos && !text.ends_with("-wal") &&
                !text.ends_with("-shm"))
                ++count;
        }
        return count;
    }
};

} // namespace nimbe
