#include "NimbeGround/ModuleLoader.h"

#include <dlfcn.h>

#include "NimbeGround/Ground.h"

namespace nimbe {

Result<void*, std::string> loadEntry(const std::string& libraryName, const char* entry) {
    const auto folder = programFolder();
    // Never from wherever the user happens to be.
    if (!folder.is_absolute())
        return failure(std::string("/proc does not tell where the program is"));
    const auto library = folder / "lib" / "nimbe" / libraryName;
    void* loaded = ::dlopen(library.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!loaded) return failure(std::string(::dlerror()));
    void* address = ::dlsym(loaded, entry);
    if (!address) return failure(std::string(::dlerror()));
    return address;
}

Result<BusModule*, std::string> busModule() {
    return loadModule<BusModule>("libnimbe-bus.so", "nimbeBusModule");
}

} // namespace nimbe
