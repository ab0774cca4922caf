#include "PlatformStorage/SqliteUserDefaults.h"

namespace nimbe {

SqliteUserDefaults::SqliteUserDefaults(std::filesystem::path path, LogSink& sink, Access access)
    : log(sink, "settings"), file(std::move(path), sink, access) {}

std::optional<std::int64_t> SqliteUserDefaults::revision() {
    const std::lock_guard lock(mutex);
    const auto version = file.version(SqliteUserDefaultsFile::Use::read);
    return version ? std::optional(*version) : std::nullopt;
}

Result<std::optional<UserDefaults::Value>, DefaultsError> SqliteUserDefaults::value(
    std::string_view key) {
    const std::lock_guard lock(mutex);
    const auto known = memory.find(key);
    const auto version = file.version(SqliteUserDefaultsFile::Use::read);
    if (version && known != memory.end() && known->second.version == *version)
        return known->second.value;

    auto stored = version ? file.read(key)
                          : Result<std::optional<Value>, DefaultsError>(failure(version.error()));
    if (stored) {
        remember(key, *stored, *version);
        return stored;
    }
    // What a transaction reads it may write back: there nothing else will do.
    if (known != memory.end() && transactionDepth == 0) {
        log.warning("settings: a value could not be read, the last one seen stands in");
        return known->second.value;
    }
    return stored;
}

bool SqliteUserDefaults::setValue(std::string_view key, Value value) {
    return write(key, std::move(value));
}

bool SqliteUserDefaults::removeValue(std::string_view key) {
    return write(key, std::nullopt);
}

bool SqliteUserDefaults::write(std::string_view key, std::optional<Value> value) {
    const std::lock_guard lock(mutex);
    if (value && !isStorable(*value)) {
        log.error("settings: text that is not UTF-8 was refused");
        transactionFailed = transactionDepth > 0;
        return false;
    }
    const auto version = change([&] { return value ? file.write(key, *value) : file.erase(key); });
    if (version) remember(key, std::move(value), *version);
    return version.has_value();
}

bool SqliteUserDefaults::moveValue(std::string_view key, std::string_view newKey) {
    const std::lock_guard lock(mutex);
    const auto version = change([&] { return file.rename(key, newKey); });
    if (!version) return false;
    forget(key);
    forget(newKey);
    return true;
}

/// Makes one change of the file. The file's version just before it: a change that
/// another process makes right after it must not count as seen.
std::optional<std::int64_t> SqliteUserDefaults::change(const std::function<bool()>& apply) {
    if (transactionFailed) return std::nullopt;
    // A write into a file that another process sets aside meanwhile is made again
    // in the one that took its place.
    constexpr int attempts = 3;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        const auto version = file.version(SqliteUserDefaultsFile::Use::write);
        if (!version || !apply()) break;
        if (transactionDepth == 0 && !file.isStillThere()) continue;
        return *version;
    }
    transactionFailed = transactionDepth > 0;
    return std::nullopt;
}

bool SqliteUserDefaults::transaction(const std::function<bool()>& body) {
    const std::lock_guard lock(mutex);
    if (transactionDepth == 0) {
        if (!file.version(SqliteUserDefaultsFile::Use::write) || !file.begin()) return false;
        before.clear();
        transactionFailed = false;
    }
    ++transactionDepth;
    bool keep = false;
    try {
        keep = body();
    } catch (...) {
        (void)finish(false);
        throw;
    }
    return finish(keep);
}

/// Ends the innermost transaction; only the outermost ends the file's.
bool SqliteUserDefaults::finish(bool keep) {
    --transactionDepth;
    if (!keep) transactionFailed = true;
    if (transactionDepth > 0) return keep;

    const bool kept = file.end(!transactionFailed) && !transactionFailed;
    transactionFailed = false;
    if (!kept) {
        for (auto& [key, seen] : before) {
            if (seen)
                memory.insert_or_assign(key, std::move(*seen));
            else
                memory.erase(key);
        }
    }
    before.clear();
    return kept;
}

void SqliteUserDefaults::remember(
    std::string_view key, std::optional<Value> value, std::int64_t version) {
    auto known = memory.find(key);
    keepForRollback(key, known);
    Seen seen{std::move(value), version};
    if (known == memory.end())
        memory.emplace(key, std::move(seen));
    else
        known->second = std::move(seen);
}

void SqliteUserDefaults::forget(std::string_view key) {
    const auto known = memory.find(key);
    keepForRollback(key, known);
    if (known != memory.end()) memory.erase(known);
}

/// Takes what is known away, for what replaces it.
void SqliteUserDefaults::keepForRollback(std::string_view key, Memory::iterator known) {
    if (transactionDepth == 0 || before.contains(key)) return;
    before.emplace(
        key, known == memory.end() ? std::nullopt : std::optional<Seen>(std::move(known->second)));
}

} // namespace nimbe
