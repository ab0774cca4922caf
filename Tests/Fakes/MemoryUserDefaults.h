#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <set>

#include "Foundation/UserDefaults.h"

namespace nimbe {

/// A settings store in memory. Any thread.
class MemoryUserDefaults final : public UserDefaults {
public:
    bool refusesWrites = false;                    // like a full disk
    bool isReadOnly = false;                       // not even a transaction can begin
    std::optional<std::size_t> largestValue;       // in bytes; a disk with so much room
    std::set<std::string, std::less<>> unreadable; // keys whose bytes are damaged

    [[nodiscard]] Result<std::optional<Value>, DefaultsError> value(std::string_view key) override;
    [[nodiscard]] bool setValue(std::string_view key, Value value) override;
    [[nodiscard]] bool removeValue(std::string_view key) override;
    [[nodiscard]] bool moveValue(std::string_view key, std::string_view newKey) override;
    [[nodiscard]] bool transaction(const std::function<bool()>& body) override;

    [[nodiscard]] std::vector<std::string> keys();

private:
    std::recursive_mutex mutex;
    std::map<std::string, Value, std::less<>> values;
    int depth = 0;
    bool isFailed = false;
};

} // namespace nimbe
