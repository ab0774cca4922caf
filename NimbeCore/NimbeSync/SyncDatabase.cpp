#include "NimbeSync/SyncDatabase.h"

namespace nimbe {

std::string_view SyncError::sentence() const {
    switch (kind) {
    case Kind::unavailable: return "The synced history can't be reached.";
    case Kind::full: return "There is no room on the disk for the synced history.";
    case Kind::damaged: return "The synced history is damaged.";
    case Kind::newer: return "The synced history is of a newer version of Nimbe.";
    }
    return {};
}

} // namespace nimbe
