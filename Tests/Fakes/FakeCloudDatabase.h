#pragma once

#include <deque>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "NimbeSync/CloudDatabase.h"

namespace nimbe {

/// What all devices of a user share.
struct FakeCloud {
    std::map<std::pair<std::string, std::string>, CloudRecord> records;
    std::vector<std::uint64_t> marks{freshMark()}; // of each revision from 0 on
    std::size_t longestPage = 1000;

    std::int64_t nextRevision() {
        marks.push_back(freshMark());
        return static_cast<std::int64_t>(marks.size()) - 1;
    }
    [[nodiscard]] std::string markOf(std::int64_t revision) const {
        return std::to_string(marks.at(static_cast<std::size_t>(revision)));
    }
    [[nodiscard]] bool knows(const CloudDatabase::Position& position) const {
        if (position.mark.empty()) return true;
        return position.revision < static_cast<std::int64_t>(marks.size()) &&
               markOf(position.revision) == position.mark;
    }

    CloudDatabase::Pushed push(CloudRecord record) {
        const std::pair key{record.kind, record.id};
        const auto found = records.find(key);
        const std::int64_t revision = found == records.end() ? 0 : found->second.revision;
        if (revision != record.revision)
            return {false, 0, found == records.end() ? std::nullopt : std::optional(found->second)};
        record.revision = nextRevision();
        return {true, (records[key] = std::move(record)).revision, {}};
    }

    [[nodiscard]] CloudDatabase::Page pull(
        const CloudDatabase::Position& position, std::size_t limit) const {
        const bool isAnew = !knows(position);
        const std::int64_t since = isAnew ? 0 : position.revision;
        std::map<std::int64_t, CloudRecord> byRevision;
        for (const auto& [key, record] : records)
            if (record.revision > since) byRevision.emplace(record.revision, record);
        CloudDatabase::Page page{markOf(since), {}, true, isAnew};
        for (const auto& [revision, record] : byRevision) {
            page.isLast = page.records.size() < std::min(limit, longestPage);
            if (!page.isLast) break;
            page.records.push_back(record);
            page.mark = markOf(revision);
        }
        return page;
    }

    static std::uint64_t freshMark() {
        static std::uint64_t last = 0;
        return ++last;
    }
};

/// One device's way to it. Faults come true one a call, in order; with none left all works.
class FakeCloudDatabase final : public CloudDatabase {
public:
    enum class Fault {
        none,
        slow,       // the answer comes after twenty seconds, in time
        refuse,     // nothing arrives
        loseAnswer, // it arrives, and an error comes back
        hang,       // it arrives, and nothing ever comes back
        late        // the answer comes after a minute
    };
    std::deque<Fault> faults;
    int calls = 0;
    int pushedRecords = 0;

    FakeCloudDatabase(FakeCloud& cloud, MainActor& actor) : cloud(cloud), actor(actor) {}

    [[nodiscard]] Task<Result<Page, CloudError>> pull(Position since, std::size_t limit) override {
        const Fault fault = next();
        if (fault == Fault::refuse) co_return failure(unreachable());
        auto page = cloud.pull(since, limit);
        if (fault == Fault::hang) co_await never();
        if (fault == Fault::slow) co_await sleep(actor, 20);
        if (fault == Fault::late) co_await sleep(actor, 60);
        if (fault == Fault::loseAnswer) co_return failure(unreachable());
        co_return page;
    }

    [[nodiscard]] Task<Result<std::vector<Pushed>, CloudError>> push(
        Position known, std::vector<CloudRecord> records) override {
        const Fault fault = next();
        if (fault == Fault::refuse) co_return failure(unreachable());
        if (!cloud.knows(known)) co_return failure(another());
        std::vector<Pushed> answers;
        for (auto& record : records) answers.push_back(cloud.push(std::move(record)));
        pushedRecords += static_cast<int>(answers.size());
        if (fault == Fault::hang) co_await never();
        if (fault == Fault::slow) co_await sleep(actor, 20);
        if (fault == Fault::late) co_await sleep(actor, 60);
        if (fault == Fault::loseAnswer) co_return failure(unreachable());
        co_return answers;
    }

private:
    FakeCloud& cloud;
    MainActor& actor;

    Fault next() {
        ++calls;
        if (faults.empty()) return Fault::none;
        const Fault fault = faults.front();
        faults.pop_front();
        return fault;
    }
    static CloudError unreachable() {
        return {CloudError::Kind::unreachable, "the connection broke off"};
    }
    static CloudError another() { return {CloudError::Kind::failed, "another cloud"}; }
};

} // namespace nimbe
