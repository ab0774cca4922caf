#include <stdexcept>
#include <thread>

#include <gtest/gtest.h>

#include "Fakes/FakeLogSink.h"
#include "Fakes/MemoryUserDefaults.h"
#include "PlatformStorage/SqliteUserDefaults.h"
#include "Support/TemporaryFolder.h"

namespace nimbe {
namespace {

/// The same cases on the fake and on the real store.
struct InMemory {
    MemoryUserDefaults defaults;
};
struct OnDisk {
    TemporaryFolder folder;
    FakeLogSink log;
    SqliteUserDefaults defaults{folder.path / "nimbe" / "settings.sqlite", log};
};

template <typename Store>
struct UserDefaultsContract : testing::Test {
    Store store;
};
using Stores = testing::Types<InMemory, OnDisk>;
TYPED_TEST_SUITE(UserDefaultsContract, Stores);

const Setting<std::string> name{"emailSignatureName", "nobody"};
const Setting<bool> visible{"menuBarVisible", true};
const Setting<Bytes> blob{"blob"};
const Setting<std::vector<std::string>> list{"list"};

} // namespace

TYPED_TEST(UserDefaultsContract, everyTypeComesBackAsItWas) {
    UserDefaults& defaults = this->store.defaults;
    Bytes allBytes(300);
    for (std::size_t i = 0; i < allBytes.size(); ++i) allBytes[i] = static_cast<std::uint8_t>(i);
    const std::string oddText("Zo\xC3\xAB \0 \xE2\x80\xA8", 10);
    const std::vector<std::string> texts{"", "a\n\"b\"", oddText, "😀"};

    EXPECT_TRUE(defaults.get(visible)) << "absent is the setting's own default";
    EXPECT_TRUE(defaults.set(visible, false));
    EXPECT_TRUE(defaults.set(name, oddText));
    EXPECT_TRUE(defaults.set(blob, allBytes));
    EXPECT_TRUE(defaults.set(list, texts));
    EXPECT_FALSE(defaults.get(visible));
    EXPECT_EQ(defaults.get(name), oddText);
    EXPECT_EQ(defaults.get(blob), allBytes);
    EXPECT_EQ(defaults.get(list), texts);

    EXPECT_TRUE(defaults.set(blob, Bytes()));
    ASSERT_TRUE(*defaults.value("blob")) << "no bytes are still a value";
    EXPECT_TRUE(defaults.remove(blob));
    EXPECT_TRUE(defaults.remove(blob));
    EXPECT_FALSE(*defaults.value("blob"));
}

TYPED_TEST(UserDefaultsContract, aValueOfAnotherTypeIsAsGoodAsAbsent) {
    UserDefaults& defaults = this->store.defaults;
    EXPECT_TRUE(defaults.setValue(name.key, true));
    EXPECT_EQ(defaults.get(name), "nobody");
    EXPECT_TRUE(defaults.set(name, std::string("someone")));
    EXPECT_EQ(defaults.get(name), "someone");
}

TYPED_TEST(UserDefaultsContract, textThatIsNotUtf8IsRefused) {
    UserDefaults& defaults = this->store.defaults;
    EXPECT_TRUE(defaults.set(list, {"before"}));
    EXPECT_FALSE(defaults.set(list, {"good", "bad\xFF"}));
    EXPECT_FALSE(defaults.set(name, std::string("\xC3")));
    EXPECT_EQ(defaults.get(list), (std::vector<std::string>{"before"}));
    EXPECT_EQ(defaults.get(name), "nobody");
    EXPECT_FALSE(defaults.transaction([&] {
        (void)defaults.set(name, std::string("\xFF"));
        return true;
    }));
}

TYPED_TEST(UserDefaultsContract, aMovedValueStandsUnderTheNewKeyAlone) {
    UserDefaults& defaults = this->store.defaults;
    const Setting<std::string> aside{"aside", "unset"};
    EXPECT_TRUE(defaults.moveValue(name.key, aside.key)) << "nothing there to move";
    EXPECT_TRUE(defaults.set(aside, std::string("old")));
    EXPECT_TRUE(defaults.moveValue(name.key, aside.key));
    EXPECT_EQ(defaults.get(aside), "old") << "nothing moved takes nothing's place";

    EXPECT_TRUE(defaults.set(name, std::string("moved")));
    EXPECT_FALSE(defaults.transaction([&] {
        EXPECT_TRUE(defaults.moveValue(name.key, aside.key));
        EXPECT_EQ(defaults.get(aside), "moved");
        EXPECT_EQ(defaults.get(name), "nobody");
        return false;
    }));
    EXPECT_EQ(defaults.get(name), "moved");
    EXPECT_EQ(defaults.get(aside), "old");
    EXPECT_TRUE(defaults.moveValue(name.key, aside.key));
    EXPECT_TRUE(defaults.moveValue(aside.key, aside.key)) << "onto itself";
    EXPECT_EQ(defaults.get(aside), "moved");
    EXPECT_EQ(defaults.get(name), "nobody");
}

TYPED_TEST(UserDefaultsContract, aTransactionKeepsAllOrNothing) {
    UserDefaults& defaults = this->store.defaults;
    const Setting<std::string> other{"other", "unset"};
    EXPECT_TRUE(defaults.set(name, std::string("before")));
    const auto change = [&](bool keep) {
        return defaults.transaction([&] {
            EXPECT_TRUE(defaults.set(name, std::string("after")));
            EXPECT_TRUE(defaults.set(other, std::string("new")));
            EXPECT_EQ(defaults.get(name), "after") << "its own changes are seen";
            return keep;
        });
    };
    EXPECT_FALSE(change(false));
    EXPECT_EQ(defaults.get(name), "before");
    EXPECT_EQ(defaults.get(other), "unset");
    EXPECT_TRUE(change(true));
    EXPECT_EQ(defaults.get(name), "after");
    EXPECT_EQ(defaults.get(other), "new");

    const auto throwing = [&] {
        (void)defaults.transaction([&]() -> bool {
            EXPECT_TRUE(defaults.remove(other));
            throw std::runtime_error("in the middle");
        });
    };
    EXPECT_THROW(throwing(), std::runtime_error);
    EXPECT_EQ(defaults.get(other), "new");
    EXPECT_TRUE(defaults.set(other, std::string("usable again")));
}

TYPED_TEST(UserDefaultsContract, theOutermostTransactionDecidesAndAFailedInnerOneSpoilsIt) {
    UserDefaults& defaults = this->store.defaults;
    EXPECT_TRUE(defaults.set(name, std::string("before")));
    const auto nested = [&](bool inner) {
        return defaults.transaction([&] {
            (void)defaults.transaction([&] {
                (void)defaults.set(name, std::string("inner"));
                return inner;
            });
            return true;
        });
    };
    EXPECT_FALSE(nested(false));
    EXPECT_EQ(defaults.get(name), "before");
    EXPECT_TRUE(nested(true));
    EXPECT_EQ(defaults.get(name), "inner");
}

TYPED_TEST(UserDefaultsContract, readModifyWriteOfManyThreadsLosesNothing) {
    UserDefaults& defaults = this->store.defaults;
    constexpr int rounds = 50;
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&] {
            for (int i = 0; i < rounds; ++i) {
                EXPECT_TRUE(defaults.transaction([&] {
                    auto texts = defaults.get(list);
                    texts.emplace_back("x");
                    return defaults.set(list, texts);
                }));
            }
        });
    }
    threads.clear();
    EXPECT_EQ(defaults.get(list).size(), 4U * rounds);
}

} // namespace nimbe
