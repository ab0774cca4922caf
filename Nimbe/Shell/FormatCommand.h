#pragma once

#include <string>
#include <vector>

#include "NimbeShell/CommandLine.h"

namespace nimbe {

class ShellServices;

struct FormatOptions {
    bool preserveCase = true;
    std::string step = {}; // empty: the whole path
    bool isJson = false;
    bool isPolished = false; // as with AI cleanup on; without a step
    std::string mode = {};   // of a polished text; empty: the setting's
};

[[nodiscard]] std::vector<std::string> formatStepNames();

/// Standard input to standard output through the text pipeline. The largest
/// input, or line of JSON, is 256 MiB. Ill-formed UTF-8 becomes U+FFFD with a
/// note on standard error; a line that is no JSON string ends the run.
[[nodiscard]] int runFormat(const FormatOptions& options, ShellServices& shell, Streams streams);

} // namespace nimbe
