#pragma once

#include <iosfwd>
#include <optional>
#include <string>

#include "NimbeEngine/Cleanup/OnDeviceProcessor.h"
#include "NimbeKitCore/DictationMode.h"

namespace nimbe {

class ShellServices;
struct LanguageServices;

/// The way of a dictation with AI cleanup on, for the verb that is named. Without a model
/// the rules make the text, and `error` tells why, once.
class ModelCleanup {
public:
    ModelCleanup(DictationMode mode, ShellServices& shell, const char* verb, std::ostream& error);

    [[nodiscard]] std::string finished(const std::string& text);

private:
    DictationMode mode;
    const char* verb;
    std::ostream& error;
    const LanguageServices* services = nullptr;
    std::optional<OnDeviceProcessor> processor;
    std::string said;

    void tellOfModel();
};

} // namespace nimbe
