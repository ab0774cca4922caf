#include <cstdint>
#include <fstream>

#include "Check.h"
#include "Fakes/FakeLogSink.h"
#include "PlatformStorage/SqliteUserDefaults.h"
#include "Support/TemporaryFolder.h"

/// The settings file holds any bytes: opening, reading and writing end in an
/// answer, and what was stored is there for the next one who opens it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace nimbe;
    const TemporaryFolder folder;
    const auto file = folder.path / "settings.sqlite";
    std::ofstream(file, std::ios::binary)
        .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));

    const Setting<std::string> name{"name", "nobody"};
    bool isStored = false;
    {
        FakeLogSink log;
        SqliteUserDefaults defaults(file, log);
        (void)defaults.get(name);
        (void)defaults.value("blob");
        isStored = defaults.set(name, std::string("kept"));
        if (isStored) check(defaults.get(name) == "kept", "what was stored is read");
    }
    FakeLogSink log;
    SqliteUserDefaults again(file, log);
    if (isStored) check(again.get(name) == "kept", "and by the next as well");
    return 0;
}
