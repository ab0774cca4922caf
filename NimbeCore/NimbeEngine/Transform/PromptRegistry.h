#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "Foundation/Log.h"
#include "Foundation/UserDefaults.h"
#include "NimbeEngine/Transform/TransformPreset.h"

namespace nimbe {

/// The instructions of the transforms: built in, and key by key replaced by those of the
/// newest table that the prompt service has sent. Main thread.
///
/// A table is a JSON object with an integer "version" and an object "prompts" of texts.
/// The last accepted one is kept, as it was sent, in the settings.
class PromptRegistry {
public:
    static constexpr std::string_view cacheKey = "promptRegistryCache";
    static constexpr std::size_t largestBody = 256 * 1024; // bytes

    /// Reads what is kept; a kept table that is not one is as good as none.
    PromptRegistry(UserDefaults& defaults, LogSink& log);

    /// Takes a table over, whole or not at all. False: it is none, or older than the one
    /// in force; nothing has changed then.
    bool accept(std::string_view body);

    /// The text for a transform, the user's own instruction put in.
    [[nodiscard]] std::string instructions(const NoteTransform& transform) const;

private:
    struct Table {
        std::int64_t version = 0;
        std::map<std::string, std::string, std::less<>> prompts = {};
    };
    [[nodiscard]] static std::optional<Table> decode(std::string_view body);

    UserDefaults& defaults;
    Log log;
    std::optional<Table> inForce; // absent: the built-in texts alone
};

} // namespace nimbe
