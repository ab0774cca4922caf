#pragma once

#include <string>

#include "Foundation/Result.h"

namespace nimbe {

/// Loads one of the program's own libraries, which are in lib/nimbe beside the folder of the
/// executable, for the rest of the process; the address of its entry. An error is for the
/// log.
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

/// A library that is loaded later. It is opened at once, so that it is the one that came
/// with this executable also when an update has replaced both meanwhile. One that finds
/// others by where it is itself cannot be loaded so.
class ReservedModule {
public:
    explicit ReservedModule(const std::string& libraryName);
    ~ReservedModule();
    ReservedModule(const ReservedModule&) = delete;
    ReservedModule& operator=(const ReservedModule&) = delete;

    /// As loadModule(). What was loaded so goes by the descriptor's number: this object must
    /// stay while others are loaded.
    template <typename Module>
    [[nodiscard]] Result<Module*, std::string> load(const char* entry) const {
        const auto address = find(entry);
        if (!address) return failure(address.error());
        using Entry = Module* (*)();
        return reinterpret_cast<Entry>(*address)();
    }

private:
    int descriptor = -1;
    std::string problem; // when it could not be opened

    [[nodiscard]] Result<void*, std::string> find(const char* entry) const;
};

} // namespace nimbe
