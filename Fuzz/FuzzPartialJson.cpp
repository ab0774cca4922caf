#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>

#include "Check.h"
#include "PlatformLanguageModel/PartialJson.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using nimbe::Json;
    const std::string_view text(
        reinterpret_cast<const char*>(data), std::min<std::size_t>(size, 400));
    const auto document = Json::parse(text);
    const bool isObject = document && document->asObject();

    nimbe::PartialJson partial;
    bool hasBegun = false;
    std::size_t taken = 0;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const auto before = partial.usableBytes();
        taken += partial.add(text.substr(at, 1));
        check(partial.usableBytes() >= before, "what can be used only grows");
        hasBegun = hasBegun || (text[at] == '{' && !partial.isDamaged());
        const auto value = partial.value();
        check((value.asObject() != nullptr) == hasBegun, "what is there can be read");
        check(Json::parse(value.text()).has_value(), "and is valid");
    }
    nimbe::PartialJson atOnce;
    const auto takenAtOnce = atOnce.add(text);
    check(atOnce.value() == partial.value(), "cuts do not matter");
    check(partial.isDamaged() || takenAtOnce == taken, "nor to where the object ends");
    if (isObject) {
        check(!partial.isDamaged() && partial.isWhole(), "a document is whole");
        check(partial.value() == *document, "and is itself");
    }
    if (partial.isWhole()) {
        const auto object = Json::parse(text.substr(0, taken));
        check(object && *object == partial.value(), "a whole object is a document");
    }
    return 0;
}
