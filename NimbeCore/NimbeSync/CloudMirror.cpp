#include "NimbeSync/CloudMirror.h"

#include <algorithm>

#include "NimbeSync/RecordMerger.h"
#include "NimbeSync/SyncRecordCodec.h"

namespace nimbe {
namespace {

// A cloud that never runs out of news is not waited for: the interval goes on with it.
constexpr int mostRounds = 20;

constexpr std::string_view storeProblem = "The synced history can't be reached.";
constexpr std::string_view answerProblem = "The cloud answered with an error.";
constexpr std::string_view lateProblem = "The cloud takes too long to answer.";

} // namespace

CloudMirror::CloudMirror(Platform platform) : platform(platform), log(platform.log, "sync") {}

void CloudMirror::start() {
    runSoon(0);
}

void CloudMirror::noteChange() {
    isChangeNoted = true; // also while it runs: the round may have passed the record
    if (!running.isRunning() && failures == 0) runSoon(gathering);
}

void CloudMirror::runSoon(Seconds delay) {
    timer = platform.actor.schedule(delay, [this] { begin(); });
}

void CloudMirror::begin() {
    if (running.isRunning()) return;
    running = startTask(platform.actor, run());
}

Task<void> CloudMirror::run() {
    isChangeNoted = false;
    lastProblem = {};
    _status.set({Phase::working, {}, news});
    Round result = Round::again;
    for (int rounds = 0; result == Round::again && rounds < mostRounds; ++rounds) {
        auto work = round();
        result = co_await work;
    }
    failures = result == Round::failed ? failures + 1 : 0;
    Seconds delay = isChangeNoted || result == Round::again ? gathering : interval;
    if (failures > 0)
        delay =
            std::min(lastRetry, firstRetry * static_cast<double>(1 << std::min(failures - 1, 10)));
    runSoon(delay);
    // Last, as those that are told may end this.
    _status.set({failures > 0 ? Phase::waiting : Phase::upToDate, lastProblem, news});
}

Task<CloudMirror::Round> CloudMirror::round() {
    if (!findKey()) co_return Round::failed;
    auto pulling = pull();
    const Round pulled = co_await pulling;
    if (pulled != Round::upToDate) co_return pulled;
    // Before what is known here of the same records: that is older.
    auto passing = pushForeign();
    const Round passed = co_await passing;
    if (passed != Round::upToDate) co_return passed;
    auto pushing = push();
    const Round pushed = co_await pushing;
    co_return pushed;
}

/// Where there is none, one is made only for something that is to be sealed with it.
bool CloudMirror::findKey() {
    if (key) return true;
    auto found = platform.key.existing();
    bool isFound = found.has_value();
    std::string_view problem = isFound ? std::string_view() : found.error().message();
    if (isFound && *found) key.emplace(std::move(**found));
    if (isFound && !key) {
        const auto pending = platform.database.journal().pending({}, 1);
        if (pending && !pending->empty()) {
            auto made = platform.key.ensured();
            isFound = made.has_value();
            if (made)
                key.emplace(std::move(*made));
            else
                problem = made.error().message();
        }
    }
    if (!isFound) (void)fail("the key is not to be had", problem);
    if (!key || hasReopened) return isFound;
    RecordMerger merger(platform.database, key, platform.log);
    hasReopened = isKept(platform.database.transaction([&] { return merger.reopenForeign(); }));
    if (hasReopened && merger.hasChanged()) ++news;
    return hasReopened;
}

Task<CloudMirror::Round> CloudMirror::pull() {
    using Answer = Result<CloudDatabase::Page, CloudError>;
    for (bool hasBegunAnew = false;;) {
        const auto before = platform.database.journal().state();
        if (!before) co_return fail(before.error().detail.c_str(), storeProblem);
        auto asked = withDeadline(platform.actor, deadline,
            platform.cloud.pull({before->cloud, before->pulled}, CloudDatabase::longestPage));
        const std::optional<Answer> answer = co_await asked;
        if (!answer) co_return fail("a pull was not answered in time", lateProblem);
        if (!*answer) co_return fail(answer->error());
        const auto after = apply(**answer, *before);
        if (!after) co_return Round::failed;
        if ((*answer)->isLast) co_return Round::upToDate;
        const bool isAnew = (*answer)->isAnew;
        if (isAnew ? hasBegunAnew : after->pulled <= before->pulled)
            co_return fail("a page of the cloud brought nothing", answerProblem);
        hasBegunAnew = hasBegunAnew || isAnew;
    }
}

/// Merges a page; the state after it. Absent: nothing of it was kept.
std::optional<MirrorJournal::State> CloudMirror::apply(
    const CloudDatabase::Page& page, const MirrorJournal::State& before) {
    auto& database = platform.database;
    MirrorJournal::State after{page.mark, page.isAnew ? 0 : before.pulled};
    bool hasChanged = false;
    const auto result = database.transaction([&]() -> SyncResult<> {
        if (page.isAnew) {
            log.warning("mirror: another cloud, it is given everything anew");
            if (auto offered = database.journal().offerAllAnew(); !offered) return offered;
        }
        RecordMerger merger(database, key, platform.log);
        for (const auto& record : page.records) {
            if (record.revision <= after.pulled)
                return failure(SyncError{SyncError::Kind::damaged, "revisions out of order"});
            if (auto merged = merger.merge(record); !merged) return merged;
            after.pulled = record.revision;
        }
        hasChanged = merger.hasChanged();
        return after == before ? SyncResult<>() : database.journal().setState(after);
    });
    if (!isKept(result)) return std::nullopt;
    if (hasChanged) ++news;
    return after;
}

std::optional<CloudMirror::Batch> CloudMirror::nextBatch(
    const std::optional<std::pair<SyncKind, std::string>>& after) {
    auto& database = platform.database;
    Batch found;
    const auto result = database.transaction([&]() -> SyncResult<> {
        auto pending = database.journal().pending(after, batch);
        if (!pending) return failure(pending.error());
        for (auto& record : *pending) {
            found.last = {record.kind, record.id};
            // From now on the cloud may have it, whatever the answer.
            if (record.mirror.revision == MirrorState::neverOffered) {
                record.mirror.revision = 0;
                if (auto offered = database.write(record); !offered) return offered;
            }
            auto sealed = SyncRecordCodec::encode(record, *key);
            if (!sealed) continue; // sealed with another key: it waits for that
            found.sealed.push_back(std::move(*sealed));
            found.records.push_back(std::move(record));
        }
        return {};
    });
    if (!isKept(result)) return std::nullopt;
    return found;
}

Task<CloudMirror::Round> CloudMirror::push() {
    using Answer = Result<std::vector<CloudDatabase::Pushed>, CloudError>;
    if (!key) co_return Round::upToDate;
    Round result = Round::upToDate;
    std::optional<std::pair<SyncKind, std::string>> after;
    const auto known = platform.database.journal().state();
    if (!known) co_return fail(known.error().detail.c_str(), storeProblem);
    for (;;) {
        const auto next = nextBatch(after);
        if (!next) co_return Round::failed;
        if (!next->last) co_return result;
        after = next->last;
        if (next->sealed.empty()) continue;
        auto records = next->sealed;
        auto asked = withDeadline(platform.actor, deadline,
            platform.cloud.push({known->cloud, known->pulled}, std::move(records)));
        const std::optional<Answer> answer = co_await asked;
        if (!answer) co_return fail("a push was not answered in time", lateProblem);
        if (!*answer) co_return fail(answer->error());
        const Round settled = settle(*next, **answer);
        if (settled == Round::failed) co_return Round::failed;
        if (settled == Round::again) result = Round::again;
    }
}

CloudMirror::Round CloudMirror::settle(
    const Batch& batch, const std::vector<CloudDatabase::Pushed>& answers) {
    if (answers.size() != batch.records.size())
        return fail("a push has answers to other records", answerProblem);
    auto& database = platform.database;
    bool hasChanged = false;
    const auto result = database.transaction([&]() -> SyncResult<> {
        RecordMerger merger(database, key, platform.log);
        for (std::size_t i = 0; i < answers.size(); ++i) {
            if (auto settled = merger.settle(batch.records[i], answers[i]); !settled)
                return settled;
        }
        hasChanged = merger.hasChanged();
        return {};
    });
    if (!isKept(result)) return Round::failed;
    if (hasChanged) ++news;
    // What was pushed is pulled at once: a backup that lacks it is then told from this cloud.
    return Round::again;
}

/// After a change of clouds: what this device cannot read, others can.
Task<CloudMirror::Round> CloudMirror::pushForeign() {
    using Answer = Result<std::vector<CloudDatabase::Pushed>, CloudError>;
    std::optional<std::pair<std::string, std::string>> after;
    const auto known = platform.database.journal().state();
    if (!known) co_return fail(known.error().detail.c_str(), storeProblem);
    for (;;) {
        auto page = platform.database.journal().foreign(after, batch);
        if (!page) co_return fail(page.error().detail.c_str(), storeProblem);
        if (page->empty()) co_return Round::upToDate;
        after = {page->back().kind, page->back().id};
        std::erase_if(*page, [](const CloudRecord& record) { return record.revision != 0; });
        if (page->empty()) continue;
        auto records = *page;
        auto asked = withDeadline(platform.actor, deadline,
            platform.cloud.push({known->cloud, known->pulled}, std::move(records)));
        const std::optional<Answer> answer = co_await asked;
        if (!answer) co_return fail("a push was not answered in time", lateProblem);
        if (!*answer) co_return fail(answer->error());
        if ((*answer)->size() != page->size())
            co_return fail("a push has answers to other records", answerProblem);
        const auto kept = platform.database.transaction([&]() -> SyncResult<> {
            RecordMerger merger(platform.database, key, platform.log);
            for (std::size_t i = 0; i < page->size(); ++i) {
                const auto& pushed = (**answer)[i];
                auto record = (*page)[i];
                record.revision = pushed.revision;
                auto result = pushed.isAccepted ? platform.database.journal().keep(record)
                              : pushed.current  ? merger.merge(*pushed.current)
                                                : SyncResult<>();
                if (!result) return result;
            }
            return {};
        });
        if (!isKept(kept)) co_return Round::failed;
    }
}

bool CloudMirror::isKept(const SyncResult<>& result) {
    if (!result) (void)fail(result.error().detail.c_str(), storeProblem);
    return result.has_value();
}

CloudMirror::Round CloudMirror::fail(const CloudError& error) {
    return fail(error.detail.c_str(), error.message());
}

CloudMirror::Round CloudMirror::fail(const char* what, std::string_view sentence) {
    log.warning("mirror: %s", what);
    lastProblem = sentence;
    return Round::failed;
}

} // namespace nimbe
