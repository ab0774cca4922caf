#include "NimbeSync/MergePolicy.h"

#include <algorithm>

#include "NimbeSync/SyncSchema.h"

namespace nimbe {
namespace {

bool hasSeen(const MergePolicy::Side& side, const MergePolicy::Side& other) {
    return !other.changes.empty() && std::find(side.changes.begin(), side.changes.end(),
                                         other.changes.back()) != side.changes.end();
}

} // namespace

MergePolicy::Decision MergePolicy::decide(const Input& input) {
    using enum Decision;
    const auto& [isDirty, isTranscript, local, cloud, contents] = input;
    if (!isDirty) return takeCloud;
    // It was pushed, though the answer was lost, and somebody went on from there.
    if (hasSeen(cloud, local)) return takeCloud;
    if (hasSeen(local, cloud)) return keepLocal;
    if (local.isDeleted) return takeCloud;
    if (cloud.isDeleted) return keepLocal;
    switch (contents) {
    case Contents::same: return takeCloud;
    case Contents::localHasMore: return keepLocal;
    case Contents::different: break;
    }
    return isTranscript ? takeCloudAndCopy : takeCloud;
}

std::vector<std::uint64_t> MergePolicy::follow(
    const std::vector<std::uint64_t>& cloud, const std::vector<std::uint64_t>& local) {
    auto changes = cloud;
    std::erase_if(changes, [&](std::uint64_t change) {
        return std::find(local.begin(), local.end(), change) != local.end();
    });
    changes.insert(changes.end(), local.begin(), local.end());
    if (changes.size() > MirrorState::mostChanges)
        changes.erase(changes.begin(), changes.end() - MirrorState::mostChanges);
    return changes;
}

} // namespace nimbe
