#include <cstdio>
#include <malloc.h>
#include <map>
#include <memory>

#include "Fakes/FakeLogSink.h"
#include "NimbeSync/SyncStore.h"
#include "PlatformSyncStorage/SqliteSyncDatabase.h"
#include "Support/TemporaryFolder.h"
#include "Table.h"
#include "Timings.h"

namespace nimbe {
namespace {

constexpr std::size_t characters = 300; // of one transcript

/// A store of so many transcripts on disk.
struct Transcripts {
    TemporaryFolder folder;
    FakeLogSink log;
    SqliteSyncDatabase database{folder.path / "sync.sqlite", SyncFile::Use::write, log};
    InMemoryTranscriptKeyStore keys;
    TranscriptKey key{keys, TranscriptKey::Use::readAndMake, log};
    SyncStore store{database, key, log};
    UUID middle = UUID::random();

    explicit Transcripts(std::size_t count) {
        const std::string text(characters, 'x');
        const auto filled = database.transaction([&]() -> SyncResult<> {
            for (std::size_t i = 0; i < count; ++i)
                if (!store.insert(text, {}, Date{static_cast<double>(i)}, "notes",
                        i == count / 2 ? middle : UUID::random()))
                    return failure(SyncError{});
            return {};
        });
        if (!filled) std::abort();
    }

    [[nodiscard]] std::size_t visit() {
        std::size_t bytes = 0;
        store.forEachTranscript([&](const DecryptedTranscript& transcript) {
            bytes += transcript.text.size();
            return true;
        });
        return bytes;
    }
    /// The rows alone, in the same order, neither copied nor opened.
    [[nodiscard]] std::size_t readBare() const {
        auto bare = SqliteDatabase::open(folder.path / "sync.sqlite");
        auto select = bare->prepare("SELECT id, createdAt, mode, ciphertext, originalCiphertext "
                                    "FROM transcripts ORDER BY createdAt DESC, id DESC");
        std::size_t bytes = 0;
        while (select.step().isRow()) bytes += select.bytes(3).size();
        return bytes;
    }
};

double megabytesInUse() {
    const auto info = ::mallinfo2();
    return static_cast<double>(info.uordblks + info.hblkhd) / (1 << 20);
}

} // namespace

void benchmarkSync() {
    constexpr double milliseconds = 1000;
    std::map<std::size_t, std::shared_ptr<Transcripts>> stores;
    Timings timings;
    for (const std::size_t count : {100U, 10'000U, 1'000'000U}) {
        const auto store = std::make_shared<Transcripts>(count);
        stores[count] = store;
        const std::string name = " " + std::to_string(count);
        const auto effort = count > 10'000 ? Timings::Effort::once : Timings::Effort::quick;
        const auto add = [&](const char* what, std::function<void()> work) {
            timings.add(
                what + name, [work] { return work; }, effort);
        };
        add("all", [store] { (void)store->store.transcripts(); });
        add("visit", [store] { (void)store->visit(); });
        add("bare", [store] { (void)store->readBare(); });
        timings.add(
            "one" + name,
            [store] {
                return [store] {
                    (void)store->store.transcript(store->middle);
                };
            },
            Timings::Effort::quick);
        timings.add(
            "insert" + name,
            [store] {
                return [store] {
                    (void)store->store.insert(
                        std::string(characters, 'y'), {}, Date{1e7}, "notes", UUID::random());
                };
            },
            Timings::Effort::quick);
    }
    timings.run();

    std::printf("\nSynced store, transcripts of 300 characters, milliseconds:\n\n");
    Table table({"transcripts", "all, opened", "one by one", "us each", "rows alone, unopened",
        "one by id", "insert, durable"});
    for (const auto& [count, store] : stores) {
        const std::string name = " " + std::to_string(count);
        const double visit = timings.seconds("visit" + name);
        table.add({std::to_string(count), figure(timings.seconds("all" + name) * milliseconds),
            figure(visit * milliseconds), figure(visit * 1e6 / static_cast<double>(count)),
            figure(timings.seconds("bare" + name) * milliseconds),
            figure(timings.seconds("one" + name) * milliseconds),
            figure(timings.seconds("insert" + name) * milliseconds)});
    }
    table.print();

    std::printf("\nMegabytes of heap while they are read:\n\n");
    Table memory({"transcripts", "all at once", "one by one"});
    for (const auto& [count, store] : stores) {
        const double before = megabytesInUse();
        const auto all = store->store.transcripts();
        const double held = megabytesInUse() - before;
        double most = 0;
        std::size_t visited = 0;
        store->store.forEachTranscript([&](const DecryptedTranscript& /*transcript*/) {
            if (visited++ % 100 == 0) most = std::max(most, megabytesInUse() - before - held);
            return true;
        });
        memory.add({std::to_string(count), figure(held), figure(most)});
    }
    memory.print();
}

} // namespace nimbe
