#include <cstdint>
#include <string>
#include <string_view>

#include "Check.h"
#include "NimbeKitCore/History/HistoryCodec.h"

namespace {

template <typename Record>
void roundTrip(std::string_view json) {
    using namespace nimbe;
    const auto records = historyCodec::decode<Record>(json);
    if (!records) return;
    std::string again = "[";
    for (const auto& record : *records) {
        const auto piece = historyCodec::encode(record);
        check(piece.has_value(), "what was read can be written");
        if (again.size() > 1) again += ',';
        again += *piece;
    }
    again += ']';
    check(historyCodec::decode<Record>(again) == records, "and reads as the same");
}

} // namespace

/// A stored list holds any bytes: it reads as records that come back as they are when
/// they are written, or not at all.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view json(reinterpret_cast<const char*>(data), size);
    roundTrip<nimbe::DictationEntry>(json);
    roundTrip<nimbe::TrashedEntry>(json);
    return 0;
}
