#include <cstdint>
#include <string_view>

#include "Check.h"
#include "NimbeKitCore/UpdateManifest.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using nimbe::UpdateManifest;
    const auto manifest = UpdateManifest::decode({reinterpret_cast<const char*>(data), size});
    if (!manifest) return 0;
    check(UpdateManifest::decode(manifest->encode()) == manifest, "what is written is the same");
    check(!manifest->isNewer(manifest->build), "none is newer than itself");
    const UpdateManifest first{"", "0"};
    check(!(manifest->isNewer("0") && first.isNewer(manifest->build)), "one of two is newer");
    return 0;
}
