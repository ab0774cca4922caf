#include "NimbeSync/SyncSchema.h"

#include <array>
#include <cstdlib>
#include <openssl/rand.h>

namespace nimbe {
namespace {

constexpr std::array<std::string_view, 4> names{
    "transcript", "dictionaryEntry", "preferences", "modeStyle"};

struct IdOf {
    std::string operator()(const TranscriptItem& item) const { return item.id.text(); }
    std::string operator()(const DictionaryEntry& entry) const { return entry.term; }
    std::string operator()(const Preferences& /*preferences*/) const { return "preferences"; }
    std::string operator()(const ModeStyle& style) const { return style.mode; }
};

} // namespace

void MirrorState::change() {
    std::uint64_t number = 0;
    // Without random numbers there is nothing safe left to do.
    if (RAND_bytes(reinterpret_cast<unsigned char*>(&number), sizeof number) != 1) std::abort();
    changes.push_back(number);
    if (changes.size() > mostChanges) changes.erase(changes.begin());
    isDirty = true;
}

std::string_view SyncSchema::rawValue(SyncKind kind) {
    return names.at(static_cast<std::size_t>(kind));
}

std::optional<SyncKind> SyncSchema::kind(std::string_view rawValue) {
    for (std::size_t i = 0; i < names.size(); ++i)
        if (names.at(i) == rawValue) return static_cast<SyncKind>(i);
    return std::nullopt;
}

std::string SyncSchema::id(const SyncModel& model) {
    return std::visit(IdOf(), model);
}

} // namespace nimbe
