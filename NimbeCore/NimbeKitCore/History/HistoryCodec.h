#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "NimbeKitCore/History/DictationEntry.h"

namespace nimbe {

/// The JSON arrays that the history's lists are stored as, before they are sealed.
///
/// An entry is {"id","text","timestamp","mode","originalText"}, a trashed one
/// {"entry","deletedAt","wasSynced"}. Ids are upper-case UUID text, dates seconds
/// since 2001-01-01 UTC as numbers with their fraction, "originalText" is left out
/// when absent; all other members are required and unknown ones are ignored. One
/// record that cannot be read fails the whole list. Linear in the length.
namespace historyCodec {

/// One record, as it stands in the array. Absent when a date is not a finite number.
/// Text that is not UTF-8 is mended: an ill-formed sequence becomes U+FFFD.
[[nodiscard]] std::optional<std::string> encode(const DictationEntry& entry);
[[nodiscard]] std::optional<std::string> encode(const TrashedEntry& item);

/// A whole array: of DictationEntry or TrashedEntry.
template <typename Record>
[[nodiscard]] std::optional<std::vector<Record>> decode(std::string_view json);

} // namespace historyCodec
} // namespace nimbe
