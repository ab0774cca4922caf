#include <gtest/gtest.h>

#include "Fakes/FakeLogSink.h"
#include "NimbeSync/MemorySyncDatabase.h"
#include "NimbeSync/SyncStoreOpening.h"

namespace nimbe {
namespace {

struct FakeDisk final : SyncDatabaseOpener {
    bool works = true;
    [[nodiscard]] SyncResult<std::unique_ptr<SyncDatabase>> open() override {
        if (!works) return failure(SyncError{SyncError::Kind::newer, "of version 9"});
        return std::make_unique<MemorySyncDatabase>();
    }
};

struct NoRecords final : CloudDatabase {
    Task<Result<Page, CloudError>> pull(Position /*since*/, std::size_t /*limit*/) override {
        co_return Page();
    }
    Task<Result<std::vector<Pushed>, CloudError>> push(
        Position /*known*/, std::vector<CloudRecord> /*records*/) override {
        co_return std::vector<Pushed>();
    }
};

struct FakeAccount final : CloudDatabaseOpener {
    bool works = true;
    [[nodiscard]] Result<std::unique_ptr<CloudDatabase>, CloudError> open() override {
        if (!works) return failure(CloudError{CloudError::Kind::refused, "signed out"});
        return std::make_unique<NoRecords>();
    }
};

} // namespace

TEST(SyncStoreOpening, thereIsAlwaysAStore) {
    using enum SyncStoreOpening::Kind;
    struct Case {
        const char* why;
        bool isWanted, hasCloud, cloudWorks, diskWorks;
        SyncStoreOpening::Kind kind;
        bool saysNoCloud, saysNoDisk;
    };
    const Case cases[] = {
        {"all works", true, true, true, true, mirrored, false, false},
        {"not wanted", false, true, true, true, localOnly, false, false},
        {"there is no cloud to be had", true, false, true, true, localOnly, false, false},
        {"signed out", true, true, false, true, localOnly, true, false},
        {"no disk", true, true, true, false, inMemory, true, true},
        {"neither", true, true, false, false, inMemory, true, true},
        {"not wanted, no disk", false, true, true, false, inMemory, false, true},
    };
    for (const auto& c : cases) {
        FakeDisk disk;
        FakeAccount account;
        FakeLogSink log;
        disk.works = c.diskWorks;
        account.works = c.cloudWorks;
        const auto opened =
            SyncStoreOpening::open(c.isWanted, disk, c.hasCloud ? &account : nullptr, log);
        EXPECT_EQ(opened.kind, c.kind) << c.why;
        EXPECT_TRUE(opened.database) << c.why;
        EXPECT_EQ(opened.cloud != nullptr, c.kind == mirrored) << c.why;
        const std::string reason = c.diskWorks ? "signed out" : "of version 9";
        EXPECT_EQ(
            log.has(LogLevel::error, "CloudKit store unavailable, using local-only: " + reason),
            c.saysNoCloud)
            << c.why << "\n"
            << log.all();
        EXPECT_EQ(
            log.has(LogLevel::error, "local store unavailable, using in-memory: of version 9"),
            c.saysNoDisk)
            << c.why << "\n"
            << log.all();
    }
}

TEST(SyncStoreOpening, anyOfTheWishesKeepsALaunchFromTheCloud) {
    using Wishes = SyncStoreOpening::Wishes;
    EXPECT_TRUE(SyncStoreOpening::isMirroringWanted({}));
    EXPECT_FALSE(SyncStoreOpening::isMirroringWanted(Wishes{PrivacyMode::localOnly}));
    EXPECT_FALSE(SyncStoreOpening::isMirroringWanted(Wishes{PrivacyMode::privateICloudSync, true}));
    EXPECT_FALSE(
        SyncStoreOpening::isMirroringWanted(Wishes{PrivacyMode::privateICloudSync, false, true}));
}

} // namespace nimbe
