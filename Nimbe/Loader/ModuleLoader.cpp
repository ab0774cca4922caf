#include "NimbeLoader/ModuleLoader.h"

#include <cerrno>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include "NimbeLoader/ProgramPlace.h"

namespace nimbe {
namespace {

Result<std::string, std::string> libraryPath(const std::string& name) {
    const auto folder = programFolder();
    // Never from wherever the user happens to be.
    if (!folder.is_absolute())
        return failure(std::string("/proc does not tell where the program is"));
    return (folder / "lib" / "nimbe" / name).native();
}

Result<void*, std::string> entryOf(const std::string& library, const char* entry) {
    void* loaded = ::dlopen(library.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!loaded) return failure(std::string(::dlerror()));
    void* address = ::dlsym(loaded, entry);
    if (!address) return failure(std::string(::dlerror()));
    return address;
}

} // namespace

Result<void*, std::string> loadEntry(const std::string& libraryName, const char* entry) {
    return libraryPath(libraryName).and_then([&](const std::string& library) {
        return entryOf(library, entry);
    });
}

ReservedModule::ReservedModule(const std::string& libraryName) {
    const auto library = libraryPath(libraryName);
    if (!library) {
        problem = library.error();
        return;
    }
    descriptor = ::open(library->c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) problem = *library + ": " + std::strerror(errno);
}

ReservedModule::~ReservedModule() {
    if (descriptor >= 0) ::close(descriptor);
}

Result<void*, std::string> ReservedModule::find(const char* entry) const {
    if (!problem.empty()) return failure(problem);
    return entryOf("/proc/self/fd/" + std::to_string(descriptor), entry);
}

} // namespace nimbe
