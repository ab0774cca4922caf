#include "Fakes/MemoryUserDefaults.h"

namespace nimbe {

Result<std::optional<UserDefaults::Value>, DefaultsError> MemoryUserDefaults::value(
    std::string_view key) {
    const std::lock_guard lock(mutex);
    if (unreadable.contains(key)) return failure(DefaultsError{DefaultsError::Kind::unreadable});
    const auto found = values.find(key);
    if (found == values.end()) return std::optional<Value>();
    return std::optional<Value>(found->second);
}

bool MemoryUserDefaults::setValue(std::string_view key, Value value) {
    const std::lock_guard lock(mutex);
    const auto* bytes = std::get_if<Bytes>(&value);
    const bool isTooLarge = bytes && largestValue && bytes->size() > *largestValue;
    if (refusesWrites || isReadOnly || isTooLarge || !isStorable(value)) {
        isFailed = depth > 0;
        return false;
    }
    if (isFailed) return false;
    values.insert_or_assign(std::string(key), std::move(value));
    unreadable.erase(std::string(key));
    return true;
}

bool MemoryUserDefaults::removeValue(std::string_view key) {
    const std::lock_guard lock(mutex);
    if (refusesWrites || isReadOnly) {
        isFailed = depth > 0;
        return false;
    }
    if (isFailed) return false;
    if (const auto found = values.find(key); found != values.end()) values.erase(found);
    return true;
}

bool MemoryUserDefaults::moveValue(std::string_view key, std::string_view newKey) {
    const std::lock_guard lock(mutex);
    if (refusesWrites || isReadOnly) {
        isFailed = depth > 0;
        return false;
    }
    if (isFailed) return false;
    if (key == newKey) return true;
    if (auto node = values.extract(std::string(key))) {
        values.insert_or_assign(std::string(newKey), std::move(node.mapped()));
        unreadable.erase(std::string(newKey));
    }
    if (unreadable.erase(std::string(key)) > 0) unreadable.emplace(newKey);
    return true;
}

bool MemoryUserDefaults::transaction(const std::function<bool()>& body) {
    const std::lock_guard lock(mutex);
    if (isReadOnly) return false;
    const auto before = values;
    const auto unreadableBefore = unreadable;
    ++depth;
    const auto finish = [&](bool keep) {
        if (!keep) isFailed = true;
        if (--depth > 0) return keep;
        const bool kept = !isFailed;
        isFailed = false;
        if (!kept) values = before;
        if (!kept) unreadable = unreadableBefore;
        return kept;
    };
    bool keep = false;
    try {
        keep = body();
    } catch (...) {
        finish(false);
        throw;
    }
    return finish(keep);
}

std::vector<std::string> MemoryUserDefaults::keys() {
    const std::lock_guard lock(mutex);
    std::vector<std::string> all;
    for (const auto& [key, value] : values) all.push_back(key);
    return all;
}

} // namespace nimbe
