#include <cstdint>
#include <string_view>

#include "Check.h"
#include "Foundation/Json.h"
#include "Foundation/Text.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using nimbe::Json;
    const auto json = Json::parse({reinterpret_cast<const char*>(data), size});
    if (!json) return 0;
    const auto text = json->text();
    check(nimbe::text::isValidUtf8(text), "what is written is UTF-8");
    const auto again = Json::parse(text);
    check(again.has_value(), "what is written can be read");
    check(*again == *json, "and is the same");
    check(again->text() == text, "and is written the same way");
    check(Json::parse(json->text(Json::Layout::pretty)).value() == *json, "also laid out");
    return 0;
}
