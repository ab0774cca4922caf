#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <malloc.h>
#include <memory>
#include <unistd.h>

#include "Fakes/FakeLogSink.h"
#include "NimbeKitCore/History/DictationHistory.h"
#include "NimbeKitCore/History/HistoryFilter.h"
#include "PlatformStorage/SqliteUserDefaults.h"
#include "SqlCipher.h"
#include "Support/TemporaryFolder.h"
#include "Table.h"
#include "Timings.h"

namespace nimbe {
namespace {

constexpr std::string_view sentence =
    "We met the builders on Tuesday morning and went through the whole house with them. ";
constexpr const char* wanted = "No Such Word";

std::string textOf(std::size_t size) {
    std::string text;
    while (text.size() < size) text += sentence;
    text.resize(size);
    return text;
}

/// A history of 100 entries on disk.
struct OurHistory {
    TemporaryFolder folder;
    FakeLogSink log;
    SqliteUserDefaults defaults{folder.path / "settings.sqlite", log};
    DictationHistory history{defaults, log};
    std::string text;
    double time = 0;
    UUID last = UUID::random();

    explicit OurHistory(std::size_t size) : text(textOf(size)) {
        for (int i = 0; i < 100; ++i) append();
    }
    void append() { last = history.append(text, DictationMode::notes, Date{++time}).id; }
    [[nodiscard]] Bytes stored() { return defaults.get(Setting<Bytes>{DictationHistory::key}); }
};

struct Peer {
    TemporaryFolder folder;
    SqlCipher table{folder.path / "peer.sqlite"};
    std::string text;
    double time = 0;
    UUID last = UUID::random();

    explicit Peer(std::size_t size) : text(textOf(size)) {
        for (int i = 0; i < 100; ++i) append();
    }
    void append() {
        last = UUID::random();
        table.append(last.text(), text, ++time);
    }
};

/// The same bytes, in place, synced: the least that a durable change costs here.
struct BareFile {
    TemporaryFolder folder;
    Bytes bytes;
    int descriptor = ::open((folder.path / "bare").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);

    explicit BareFile(std::size_t size) : bytes(OurHistory(size).stored()) { write(); }
    ~BareFile() { ::close(descriptor); }
    BareFile(const BareFile&) = delete;
    BareFile& operator=(const BareFile&) = delete;

    void write() const {
        if (::pwrite(descriptor, bytes.data(), bytes.size(), 0) !=
                static_cast<ssize_t>(bytes.size()) ||
            ::fdatasync(descriptor) != 0)
            std::abort();
    }
};

std::size_t heap() {
    const auto info = ::mallinfo2();
    return info.uordblks + info.hblkhd;
}

/// Kilobytes that a store holds between operations, after each was used.
template <typename Store, typename Use>
double held(std::size_t size, Use use) {
    const auto before = heap();
    const Store store(size);
    use(const_cast<Store&>(store));
    return static_cast<double>(heap() - before) / 1024;
}

void addOurs(Timings& timings, const std::string& name, std::size_t size) {
    const auto add = [&](const char* what, std::function<void(OurHistory&)> use) {
        const auto prepare = [size, use = std::move(use)]() -> Timings::Work {
            const auto ours = std::make_shared<OurHistory>(size);
            return [ours, use] {
                use(*ours);
            };
        };
        timings.add(what + name + "ours", prepare, Timings::Effort::careful);
    };
    add("append", [](OurHistory& ours) { ours.append(); });
    add("entries", [](OurHistory& ours) {
        if (ours.history.entries().size() != 100) std::abort();
    });
    add("update", [](OurHistory& ours) {
        ours.text[0] = ours.text[0] == 'a' ? 'b' : 'a';
        ours.history.update(ours.last, ours.text);
    });
    add("search", [](OurHistory& ours) {
        if (!HistoryFilter::matching(wanted, ours.history.entries(), {"en_US"}).empty())
            std::abort();
    });
}

void addPeers(Timings& timings, const std::string& name, std::size_t size) {
    const auto add = [&](const char* what, std::function<void(Peer&)> use) {
        const auto prepare = [size, use = std::move(use)]() -> Timings::Work {
            const auto peer = std::make_shared<Peer>(size);
            return [peer, use] {
                use(*peer);
            };
        };
        timings.add(what + name + "peer", prepare, Timings::Effort::careful);
    };
    add("append", [](Peer& peer) { peer.append(); });
    add("entries", [](Peer& peer) {
        if (peer.table.entries() != 100) std::abort();
    });
    add("update", [](Peer& peer) {
        peer.text[0] = peer.text[0] == 'a' ? 'b' : 'a';
        peer.table.update(peer.last.text(), peer.text);
    });
    add("search", [](Peer& peer) {
        if (peer.table.search(wanted) != 0) std::abort();
    });
    timings.add(
        "write" + name + "bare",
        [size]() -> Timings::Work {
            const auto file = std::make_shared<BareFile>(size);
            return [file] {
                file->write();
            };
        },
        Timings::Effort::careful);
}

} // namespace

void benchmarkHistory() {
    constexpr double milliseconds = 1000;
    const std::size_t sizes[] = {300, 5000};
    Timings timings;
    for (const auto size : sizes) {
        const std::string name = " " + std::to_string(size) + " ";
        addOurs(timings, name, size);
        addPeers(timings, name, size);
    }
    timings.run();

    std::printf("\nHistory of 100 entries, milliseconds an operation, durable on disk:\n\n");
    Table table({"operation", "characters", "Nimbe", "SQLCipher", "Nimbe / SQLCipher",
        "bare synced write", "Nimbe / bare"});
    for (const auto size : sizes) {
        const std::string name = " " + std::to_string(size) + " ";
        const double bare = timings.seconds("write" + name + "bare");
        for (const std::string what : {"append", "update", "entries", "search"}) {
            const double ours = timings.seconds(what + name + "ours");
            const double peer = timings.seconds(what + name + "peer");
            const bool writes = what == "append" || what == "update";
            table.add({what, std::to_string(size), figure(ours * milliseconds),
                figure(peer * milliseconds), figure(ours / peer),
                writes ? figure(bare * milliseconds) : "", writes ? figure(ours / bare) : ""});
        }
    }
    table.print();

    std::printf("\nKilobytes of heap held between operations:\n\n");
    Table memory({"characters", "Nimbe", "SQLCipher", "sealed list on disk"});
    for (const auto size : sizes) {
        const double ours =
            held<OurHistory>(size, [](OurHistory& store) { (void)store.history.entries(); });
        const double peer = held<Peer>(size, [](Peer& store) { (void)store.table.entries(); });
        const auto sealed = static_cast<double>(OurHistory(size).stored().size()) / 1024;
        memory.add({std::to_string(size), figure(ours), figure(peer), figure(sealed)});
    }
    memory.print();
}

} // namespace nimbe
