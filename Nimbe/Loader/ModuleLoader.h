#pragma once

#include <string>

#include "Foundation/Result.h"
#include "NimbeApp/BusModule.h"

namespace nimbe {

/// Loads one of the program's own libraries for the rest of the process; the address of
/// its entry. An error is for the log.
[[nodiscard]] Result<void*, std::string> loadEntry(
    const std::string& libraryName, const char* entry);

/// What the library's entry, a `Module* (*)()` with C linkage, gives.
template <typename Module>
[[nodiscard]] Result<Module*, std::string> loadModule(
    const std::string& libraryName, const char* entry) {
    const auto address = loadEntry(libraryName, entry);
    if (!address) return failure(address.error());
    using Entry = Module* (*)();
    return reinterpret_cast<Entry>(*address)(); // the one conversion that POSIX asks for
}

/// What goes over the session bus.
[[nodiscard]] Result<BusModule*, std::string> busModule();

} // namespace nimbe
