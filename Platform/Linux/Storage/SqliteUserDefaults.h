#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "Foundation/Log.h"
#include "Foundation/UserDefaults.h"
#include "PlatformStorage/SqliteUserDefaultsFile.h"

namespace nimbe {

/// The settings store in one SQLite file (see SqliteUserDefaultsFile). The file
/// is opened, and for a write made, when it is first needed; when that fails the
/// next call tries again. An unchanged value is answered from memory.
class SqliteUserDefaults final : public UserDefaults {
public:
    using Access = SqliteUserDefaultsFile::Access;
    SqliteUserDefaults(std::filesystem::path file, LogSink& sink, Access access = Access::full);

    /// A number that stays the same as long as no other process changes anything; absent
    /// when the file cannot be looked at. Changes made through this object do not count.
    [[nodiscard]] std::optional<std::int64_t> revision();

    [[nodiscard]] Result<std::optional<Value>, DefaultsError> value(std::string_view key) override;
    [[nodiscard]] bool setValue(std::string_view key, Value value) override;
    [[nodiscard]] bool removeValue(std::string_view key) override;
    [[nodiscard]] bool moveValue(std::string_view key, std::string_view newKey) override;
    [[nodiscard]] bool transaction(const std::function<bool()>& body) override;

private:
    /// What this process last saw under a key, and at which state of the file.
    struct Seen {
        std::optional<Value> value;
        std::int64_t version = 0;
    };
    using Memory = std::map<std::string, Seen, std::less<>>;

    std::recursive_mutex mutex;
    Log log;
    SqliteUserDefaultsFile file;
    Memory memory;

    int transactionDepth = 0;
    bool transactionFailed = false;
    /// What `memory` held before the running transaction, for its keys.
    std::map<std::string, std::optional<Seen>, std::less<>> before;

    [[nodiscard]] bool write(std::string_view key, std::optional<Value> value);
    [[nodiscard]] std::optional<std::int64_t> change(const std::function<bool()>& apply);
    [[nodiscard]] bool finish(bool keep);
    void remember(std::string_view key, std::optional<Value> value, std::int64_t version);
    void forget(std::string_view key);
    void keepForRollback(std::string_view key, Memory::iterator known);
};

} // namespace nimbe
