#pragma once

#include <string>
#include <vector>

#include "NimbeShell/CommandLine.h"

namespace nimbe {

struct FormatOptions {
    bool preserveCase = true;
    std::string step = {}; // empty: the whole path
    bool isJson = false;
};

[[nodiscard]] std::vector<std::string> formatStepNames();

/// Standard input to standard output through the text pipeline. The largest
/// input, or line of JSON, is 256 MiB. Ill-formed UTF-8 becomes U+FFFD with a
/// note on standard error; a line that is no JSON string ends the run.
[[nodiscard]] int runFormat(const FormatOptions& options, Streams streams);

} // namespace nimbe
