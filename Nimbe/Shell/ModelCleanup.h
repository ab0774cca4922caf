#pragma once

#include <iosfwd>
#include <optional>
#include <string>

#include "NimbeEngine/Cleanup/OnDeviceProcessor.h"
#include "NimbeKitCore/DictationMode.h"

namespace nimbe {

class ShellServices;
struct LanguageServices;

/// The way of a dictation with AI cleanup on, for the verb that is named. Where the rules'
/// text stands, `error` tells why: once, as long as it is the same.
class ModelCleanup {
public:
    ModelCleanup(DictationMode mode, ShellServices& shell, const char* verb, std::ostream& error);

    ModelCleanup(const ModelCleanup&) = delete;
    ModelCleanup& operator=(const ModelCleanup&) = delete;

    [[nodiscard]] std::string finished(const std::string& text);

private:
    DictationMode mode;
    const char* verb;
    std::ostream& error;
    const LanguageServices* services = nullptr;
    std::optional<OnDeviceProcessor> processor;
    std::string kept; // why the rules' text stands, of the last text
    std::string said;

    void tellOfModel();
    void tell(std::string message);
};

} // namespace nimbe
