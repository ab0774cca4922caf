#include <random>
#include <set>

#include <gtest/gtest.h>

#include "SyncDevice.h"

namespace nimbe {
namespace {

using Fault = FakeCloudDatabase::Fault;

/// Some devices on which somebody dictates, edits and deletes, offline or not, while answers
/// are lost, programs are killed and backups of the cloud restored.
class Household {
public:
    explicit Household(unsigned seed) : random(seed) {
        cloud.longestPage = upTo(2) == 0 ? 3 : 1000;
        backup = cloud;
        for (int i = 0, count = 2 + upTo(2); i < count; ++i)
            devices.push_back(std::make_unique<SyncDevice>(cloud, key));
    }

    void live(int steps) {
        for (int step = 0; step < steps; ++step) {
            auto& device =
                *devices[static_cast<std::size_t>(upTo(static_cast<int>(devices.size())))];
            switch (upTo(10)) {
            case 0:
            case 1: say(device); break;
            case 2:
            case 3:
            case 4: edit(device); break;
            case 5: remove(device); break;
            case 6: {
                constexpr Fault faults[] = {
                    Fault::slow, Fault::refuse, Fault::loseAnswer, Fault::hang, Fault::late};
                device.connection.faults.push_back(faults[upTo(5)]);
                break;
            }
            case 7: device.kill(); break;
            case 8:
                if (!device.mirror) device.switchOn();
                device.actor.advance(upTo(100) / 10.0);
                break;
            default: {
                const int chance = upTo(20);
                if (chance == 0) backup = cloud;
                if (chance == 1) cloud = backup;
                device.sync();
                break;
            }
            }
        }
    }

    void settle() {
        for (auto& device : devices) device->connection.faults.clear();
        for (int i = 0; i < 4; ++i)
            for (auto& device : devices) {
                device->kill();
                device->sync();
            }
    }

    void check() {
        std::set<std::string> shown;
        for (const auto& text : devices.front()->sorted()) shown.insert(text);
        for (auto& device : devices) {
            EXPECT_EQ(device->texts(), devices.front()->texts());
            EXPECT_TRUE(device->database.journal().pending({}, 1)->empty());
        }
        for (const auto& text : said)
            EXPECT_TRUE(shown.count(text) > 0 || replaced.count(text) > 0) << "lost: " << text;
    }

private:
    std::mt19937 random;
    FakeCloud cloud;
    FakeCloud backup;
    SymmetricKey key{Bytes(32, 7)};
    std::vector<std::unique_ptr<SyncDevice>> devices;
    int count = 0;
    std::set<std::string> said;
    std::set<std::string> replaced; // edited or deleted by somebody who saw it
    std::vector<UUID> ids;

    int upTo(int end) { return static_cast<int>(random() % static_cast<unsigned>(end)); }

    std::string fresh() {
        auto text = "text " + std::to_string(++count);
        said.insert(text);
        return text;
    }
    std::optional<DecryptedTranscript> any(SyncDevice& device) {
        auto all = device.store.transcripts();
        if (all.empty()) return std::nullopt;
        return all[static_cast<std::size_t>(upTo(static_cast<int>(all.size())))];
    }
    void say(SyncDevice& device) {
        // Now and then the same dictation comes to two devices.
        const bool isKnown = !ids.empty() && upTo(4) == 0;
        const UUID id = isKnown ? ids[static_cast<std::size_t>(upTo(static_cast<int>(ids.size())))]
                                : UUID::random();
        if (const auto before = device.store.transcript(id)) replaced.insert(before->text);
        EXPECT_TRUE(device.store.insert(fresh(), {}, Date{double(upTo(1000))}, "notes", id));
        ids.push_back(id);
        if (device.mirror) device.mirror->noteChange();
    }
    void edit(SyncDevice& device) {
        const auto before = any(device);
        if (!before) return;
        replaced.insert(before->text);
        EXPECT_TRUE(device.store.update(before->id, fresh()));
        if (device.mirror) device.mirror->noteChange();
    }
    void remove(SyncDevice& device) {
        const auto before = any(device);
        if (!before) return;
        const bool wasThere = replaced.insert(before->text).second;
        EXPECT_TRUE(device.store.deleteTranscript(before->id));
        if (upTo(3) > 0) return;
        if (wasThere) replaced.erase(before->text);
        EXPECT_TRUE(device.store.restore(*before));
    }
};

} // namespace

TEST(CloudMirror, whateverHappensTheDevicesEndAlikeAndNothingIsLost) {
    for (unsigned seed = 1; seed <= 300; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Household household(seed);
        for (int i = 0; i < 2; ++i) {
            household.live(60);
            household.settle();
            household.check();
        }
        if (testing::Test::HasFailure()) break;
    }
}

} // namespace nimbe
