#pragma once

#include <cstdint>
#include <vector>

namespace nimbe {

/// What becomes of a record that was changed here while the cloud has another state of it.
///
/// The cloud's order of revisions is the one order that all devices share; no clock counts.
/// Each record names the changes that it has seen, so that one which follows on another is
/// told from two that know nothing of each other. Of those, the one that came to the cloud
/// first stays and no text is lost: the other is kept as a transcript of its own. An edit
/// wins over a deletion.
///
/// Every decision ends a change of this device, or gives it to the cloud on top of what is
/// there: so the devices end alike.
struct MergePolicy {
    enum class Decision {
        takeCloud,        // and have nothing more to tell it
        takeCloudAndCopy, // the same, with a copy of what was written here
        keepLocal         // and give it to the cloud, on top of what it has
    };

    enum class Contents {
        same,
        localHasMore, // the same text, and the original text that the cloud lacks
        different
    };

    struct Side {
        bool isDeleted = false;
        const std::vector<std::uint64_t>& changes; // the latest last
    };
    struct Input {
        bool isLocalDirty = false;
        bool isTranscript = true;
        Side local;
        Side cloud;
        Contents contents = Contents::different; // where neither is deleted
    };

    /// First matching rule wins.
    [[nodiscard]] static Decision decide(const Input& input);

    /// The changes of a record that was kept on top of the cloud's.
    [[nodiscard]] static std::vector<std::uint64_t> follow(
        const std::vector<std::uint64_t>& cloud, const std::vector<std::uint64_t>& local);
};

} // namespace nimbe
