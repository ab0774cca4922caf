#include "HearingLoader.h"

#include <dlfcn.h>

namespace nimbe {

Result<HearingModule*, std::string> loadHearing(const std::filesystem::path& library) {
    void* loaded = ::dlopen(library.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!loaded) return failure(std::string(::dlerror()));
    using Entry = HearingModule* (*)();
    // The one conversion that POSIX asks for.
    const auto entry = reinterpret_cast<Entry>(::dlsym(loaded, "nimbeHearingModule"));
    if (!entry) return failure(std::string(::dlerror()));
    return entry();
}

} // namespace nimbe
