#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "Check.h"
#include "Fakes/FakeLogSink.h"
#include "Fakes/MemoryUserDefaults.h"
#include "Foundation/Text.h"
#include "NimbeEngine/Transform/PromptRegistry.h"

namespace {

using namespace nimbe;

constexpr std::string_view own = "Rhyme {instruction} \"\\";

std::array<std::string, 5> allInstructions(const PromptRegistry& registry) {
    return {registry.instructions(TransformPreset::email),
        registry.instructions(TransformPreset::bullets),
        registry.instructions(TransformPreset::shorter), registry.instructions(FixTransform()),
        registry.instructions(CustomTransform{std::string(own)})};
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string body(reinterpret_cast<const char*>(data), size);
    MemoryUserDefaults defaults;
    FakeLogSink log;
    PromptRegistry registry(defaults, log);
    const auto builtIn = allInstructions(registry);
    const bool isTaken = registry.accept(body);
    const auto served = allInstructions(registry);

    check(isTaken || served == builtIn, "what is refused changes nothing");
    check(isTaken != defaults.keys().empty(), "what is taken, and only that, is kept");
    check(allInstructions(PromptRegistry(defaults, log)) == served, "what is kept reads back");
    check(registry.accept(body) == isTaken, "the same table is taken again");
    for (const auto& instructions : served)
        check(!text::trimmed(instructions).empty(), "none is blank");
    check(served[4].find(own) != std::string::npos, "the user's own word is in it");
    return 0;
}
