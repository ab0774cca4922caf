#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <vector>

#include "Fakes/FakeLogSink.h"
#include "Foundation/Json.h"
#include "NimbeKitCore/History/DictationHistory.h"
#include "NimbeKitCore/History/LocalKeychainKeyStore.h"
#include "NimbeSync/KeychainKeyStore.h"
#include "NimbeSync/SyncStore.h"
#include "PlatformSecrets/SecretFileStore.h"
#include "PlatformSecrets/UnavailableSecretStore.h"
#include "PlatformStorage/SqliteUserDefaults.h"
#include "PlatformSyncStorage/SqliteSyncDatabase.h"
#include "Support/PipedProcess.h"
#include "Support/TemporaryFolder.h"
#include "Table.h"
#include "Timings.h"

namespace nimbe {
namespace {

namespace fs = std::filesystem;

double now() {
    using Clock = std::chrono::steady_clock;
    return std::chrono::duration<double>(Clock::now().time_since_epoch()).count();
}

double quantile(std::vector<double> times, double part) {
    std::sort(times.begin(), times.end());
    return times.at(static_cast<std::size_t>(part * static_cast<double>(times.size() - 1)));
}

/// A dictation of a quarter of a minute; each has a word of its own.
std::string textOf(int number) {
    return "Dictation number" + std::to_string(number) +
           ": we met the builders on Tuesday morning and went through the whole house with them "
           "room by room. The kitchen can stay where it is, but the pipes under the floor have to "
           "go, and so does the old boiler.";
}

std::string call(const std::string& tool, const std::string& arguments) {
    return R"({"jsonrpc":"2.0","id":1,"method":"tools/call","params":{"name":")" + tool +
           R"(","arguments":)" + arguments + "}}";
}

const std::string initialize =
    R"({"jsonrpc":"2.0","id":0,"method":"initialize","params":{"protocolVersion":"2025-06-18",)"
    R"("capabilities":{},"clientInfo":{"name":"bench","version":"1"}}})";

/// One server with its data, and what it is asked.
struct Server {
    struct Call {
        std::string name;
        std::string line;
    };
    std::string name;
    std::vector<std::string> command;
    std::vector<std::pair<std::string, std::string>> environment;
    std::vector<Call> calls;

    [[nodiscard]] std::unique_ptr<PipedProcess> start() const {
        auto process = std::make_unique<PipedProcess>(command, environment);
        if (!process->ask(initialize)) throw std::runtime_error(name + " does not answer");
        return process;
    }
};

/// In a folder of NIMBE_HOME: a hundred in the history, the others in the synced store.
Server ours(const fs::path& home, int count) {
    FakeLogSink log;
    const auto data = home / "data";
    fs::create_directories(data);
    UnavailableSecretStore noKeyring;
    SecretFileStore files(data, log);
    SqliteUserDefaults defaults(data / "settings.sqlite", log);
    const LocalKeychainKeyStore::Places places{noKeyring, files};
    LocalKeychainKeyStore keys(LocalKeychainKeyStore::Purpose::history(), places, defaults, log);
    DictationHistory history(defaults, keys, log);
    std::string last;
    for (int i = count - 100; i < count; ++i)
        last = history.append(textOf(i), DictationMode::notes, Date{8e8 + i}).id.text();
    if (count > 100) {
        SqliteSyncDatabase database(data / "sync.sqlite", SyncFile::Use::write, log);
        KeychainKeyStore keyStore(places, defaults, log, [] { return false; });
        TranscriptKey key(keyStore, TranscriptKey::Use::readAndMake, log);
        SyncStore store(database, key, log);
        const auto filled = database.transaction([&]() -> SyncResult<> {
            for (int i = 0; i < count - 100; ++i)
                if (!store.insert(textOf(i), {}, Date{8e8 + i}, "notes", UUID::random()))
                    throw std::runtime_error(log.all());
            return {};
        });
        if (!filled) throw std::runtime_error(log.all());
    }
    return {"nimbe, " + std::to_string(count), {NIMBE_EXECUTABLE, "--mcp-stdio"},
        {{"NIMBE_HOME", home.string()}},
        {{"ping", R"({"jsonrpc":"2.0","id":1,"method":"ping"})"},
            {"search, ten found", call("search_dictations", R"({"query":"tuesday builders"})")},
            {"search, none found", call("search_dictations", R"({"query":"tuesday plumbers"})")},
            {"search, the oldest found", call("search_dictations", R"({"query":"number0:"})")},
            {"get", call("get_dictation", R"({"id":")" + last + "\"}")},
            {"list 20", call("list_dictations", "{}")}}};
}

Server memoryPeer(const fs::path& folder) {
    fs::create_directories(folder);
    const auto file = folder / "memory.jsonl";
    std::ofstream out(file);
    for (int i = 0; i < 100; ++i) {
        Json entity;
        entity.set("type", Json("entity"));
        entity.set("name", Json("dictation" + std::to_string(i)));
        entity.set("entityType", Json("notes"));
        entity.set("observations", Json(Json::Array{Json(textOf(i))}));
        out << entity.text() << "\n";
    }
    return {"server-memory, 100",
        {"/usr/bin/env", "node",
            PEERS "/node_modules/@modelcontextprotocol/server-memory/dist/index.js"},
        {{"MEMORY_FILE_PATH", file.string()}},
        {{"ping", R"({"jsonrpc":"2.0","id":1,"method":"ping"})"},
            {"search_nodes, one found", call("search_nodes", R"({"query":"number50:"})")},
            {"search_nodes, none found", call("search_nodes", R"({"query":"plumbers"})")},
            {"open_nodes", call("open_nodes", R"({"names":["dictation99"]})")}}};
}

Server filesystemPeer(const fs::path& folder) {
    fs::create_directories(folder);
    for (int i = 0; i < 100; ++i)
        std::ofstream(folder / ("dictation" + std::to_string(i) + ".txt")) << textOf(i);
    const auto path = folder.string();
    return {"server-filesystem, 100",
        {"/usr/bin/env", "node",
            PEERS "/node_modules/@modelcontextprotocol/server-filesystem/dist/index.js", path},
        {},
        {{"ping", R"({"jsonrpc":"2.0","id":1,"method":"ping"})"},
            {"search_files", call("search_files",
                                 R"({"path":")" + path + R"(","pattern":"**/dictation50.txt"})")},
            {"read_text_file",
                call("read_text_file", R"({"path":")" + path + R"(/dictation99.txt"})")},
            {"list_directory", call("list_directory", R"({"path":")" + path + "\"}")}}};
}

/// What is no server at all: the floor of the measurement.
Server floor() {
    return {"cat", {"cat"}, {}, {{"echo", R"({"jsonrpc":"2.0","id":1,"result":{}})"}}};
}

/// Kilobytes.
double resident(int pid) {
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    for (std::string line; std::getline(status, line);)
        if (line.starts_with("VmRSS:")) return std::strtod(line.c_str() + 6, nullptr);
    return 0;
}

struct Figures {
    std::vector<double> starts; // to the answer to initialize
    double residentAtStart = 0;
    double residentAfterCalls = 0;
    std::vector<double> firstCalls; // which read the history
    std::vector<std::vector<double>> roundTrips;
    std::vector<double> together; // calls a second, 64 on their way
};

constexpr int starts = 21;
constexpr int firstCalls = 5; // of a million records one takes seconds
constexpr int rounds = 10;
constexpr double blockSeconds = 0.15; // of one call in one round
constexpr int inFlight = 64;

void measureStart(const Server& server, Figures& figures) {
    const double begin = now();
    const auto process = server.start();
    figures.starts.push_back(now() - begin);
    figures.residentAtStart = resident(process->pid());
    if (process->finish() < 0) throw std::runtime_error(server.name + " does not end");
}

/// The first call after a start loads and opens what the later ones find there.
std::unique_ptr<PipedProcess> startAndCall(const Server& server, Figures& figures) {
    auto process = server.start();
    const double begin = now();
    (void)process->write(server.calls.back().line + "\n");
    if (!process->readLine(120)) throw std::runtime_error("no first answer");
    figures.firstCalls.push_back(now() - begin);
    return process;
}

void measureCalls(const Server& server, PipedProcess& process, Figures& figures) {
    figures.roundTrips.resize(server.calls.size());
    figures.together.resize(server.calls.size());
    for (std::size_t i = 0; i < server.calls.size(); ++i) {
        const auto& line = server.calls[i].line;
        const double end = now() + blockSeconds;
        do {
            const double begin = now();
            const auto answer = process.ask(line);
            figures.roundTrips[i].push_back(now() - begin);
            if (!answer || answer->find("\"result\"") == answer->npos ||
                answer->find("\"isError\":true") != answer->npos)
                throw std::runtime_error(server.name + ": " + answer.value_or("no answer"));
        } while (now() < end);

        std::string lines;
        for (int k = 0; k < inFlight; ++k) lines += line + "\n";
        int answered = 0;
        const double begin = now();
        do {
            if (!process.write(lines)) throw std::runtime_error(server.name + " does not read");
            for (int k = 0; k < inFlight; ++k, ++answered)
                if (!process.readLine()) throw std::runtime_error(server.name + " ended");
        } while (now() < begin + blockSeconds);
        figures.together[i] = std::max(figures.together[i], answered / (now() - begin));
    }
}

/// Where there are enough of them to speak of the worst in a hundred.
std::string percentile99(const std::vector<double>& times) {
    constexpr std::size_t enough = 300;
    return times.size() < enough ? "-" : figure(quantile(times, 0.99) * 1e6);
}

void print(const std::vector<Server>& servers, const std::vector<Figures>& figures) {
    std::printf("\nServers for AI clients: start to the answer to initialize, memory:\n\n");
    Table start({"server", "start, median ms", "least ms", "resident then, MiB",
        "first call, median ms", "resident after all calls, MiB"});
    for (std::size_t i = 0; i < servers.size(); ++i)
        start.add({servers[i].name, figure(quantile(figures[i].starts, 0.5) * 1e3),
            figure(quantile(figures[i].starts, 0) * 1e3), figure(figures[i].residentAtStart / 1024),
            figure(quantile(figures[i].firstCalls, 0.5) * 1e3),
            figure(figures[i].residentAfterCalls / 1024)});
    start.print();
    std::printf("\nRound trips in microseconds, and calls a second with 64 on their way:\n\n");
    Table calls({"server", "call", "median", "99th percentile", "calls/s"});
    for (std::size_t i = 0; i < servers.size(); ++i)
        for (std::size_t k = 0; k < servers[i].calls.size(); ++k)
            calls.add({servers[i].name, servers[i].calls[k].name,
                figure(quantile(figures[i].roundTrips[k], 0.5) * 1e6),
                percentile99(figures[i].roundTrips[k]),
                figure(std::round(figures[i].together[k]))});
    calls.print();
}

} // namespace

void benchmarkMCP() {
    TemporaryFolder folder;
    std::vector<Server> servers{ours(folder.path / "hundred", 100),
        ours(folder.path / "thousands", 10'000), ours(folder.path / "million", 1'000'000)};
    servers.push_back(floor());
    if (fs::exists(PEERS "/node_modules")) {
        servers.push_back(memoryPeer(folder.path / "memory"));
        servers.push_back(filesystemPeer(folder.path / "files"));
    }
    std::vector<Figures> figures(servers.size());
    for (int round = 0; round < starts; ++round)
        for (std::size_t i = 0; i < servers.size(); ++i) measureStart(servers[i], figures[i]);
    std::vector<std::unique_ptr<PipedProcess>> processes;
    for (std::size_t i = 0; i < servers.size(); ++i) {
        for (int k = 1; k < firstCalls; ++k) (void)startAndCall(servers[i], figures[i]);
        processes.push_back(startAndCall(servers[i], figures[i]));
    }
    for (int round = 0; round < rounds; ++round)
        for (std::size_t i = 0; i < servers.size(); ++i)
            measureCalls(servers[i], *processes[i], figures[i]);
    for (std::size_t i = 0; i < servers.size(); ++i) {
        figures[i].residentAfterCalls = resident(processes[i]->pid());
        if (processes[i]->finish() < 0) throw std::runtime_error("it does not end");
    }
    print(servers, figures);
}

} // namespace nimbe
