#pragma once

#include <map>
#include <mutex>
#include <utility>

#include "NimbeSync/SyncDatabase.h"

namespace nimbe {

/// A store that lives as long as this object: where none can be kept on disk.
class MemorySyncDatabase : public SyncDatabase, private MirrorJournal {
public:
    [[nodiscard]] SyncResult<std::optional<SyncRecord>> read(
        SyncKind kind, const std::string& id) override;
    [[nodiscard]] SyncResult<> write(const SyncRecord& record) override;
    [[nodiscard]] SyncResult<> erase(SyncKind kind, const std::string& id) override;
    [[nodiscard]] SyncResult<std::vector<SyncModel>> page(
        SyncKind kind, const std::optional<Position>& after, std::size_t limit) override;
    [[nodiscard]] SyncResult<> transaction(const std::function<SyncResult<>()>& body) override;
    [[nodiscard]] SyncResult<std::int64_t> version() override;
    [[nodiscard]] MirrorJournal& journal() override { return *this; }

private:
    [[nodiscard]] SyncResult<State> state() override;
    [[nodiscard]] SyncResult<> setState(const State& state) override;
    [[nodiscard]] SyncResult<std::vector<SyncRecord>> pending(
        const std::optional<std::pair<SyncKind, std::string>>& after, std::size_t limit) override;
    [[nodiscard]] SyncResult<> keep(const CloudRecord& foreign) override;
    [[nodiscard]] SyncResult<> drop(const std::string& kind, const std::string& id) override;
    [[nodiscard]] SyncResult<std::vector<CloudRecord>> foreign(
        const std::optional<std::pair<std::string, std::string>>& after,
        std::size_t limit) override;
    [[nodiscard]] SyncResult<> offerAllAnew() override;

    struct NewestFirst {
        bool operator()(const Position& left, const Position& right) const;
    };

    std::recursive_mutex lock;
    std::map<std::pair<SyncKind, std::string>, SyncRecord> records;
    std::map<Position, const SyncRecord*, NewestFirst> byTime; // live transcripts
    std::map<std::pair<std::string, std::string>, CloudRecord> unread;
    State mirrored;
    std::int64_t changes = 0;
    int depth = 0;
    std::vector<std::function<void()>> undo; // of the running transaction

    void put(const std::pair<SyncKind, std::string>& key, std::optional<SyncRecord> record);
    void putForeign(
        const std::pair<std::string, std::string>& key, std::optional<CloudRecord> record);
    void keepForUndo(std::function<void()> step);
};

} // namespace nimbe
