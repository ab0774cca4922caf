#pragma once

#include <optional>
#include <string>

#include "NimbeShell/CommandLine.h"
#include "NimbeShell/TransformWords.h"

namespace nimbe {

class ShellServices;

struct TransformOptions {
    TransformWords what = {};
    std::optional<std::string> id = {}; // of a dictation; absent: standard input is read
    bool isJson = false;
};

/// Reshapes a text by the language model. On a terminal the text stands as it grows.
/// Whatever goes wrong, what is not a terminal gets the text that came in, byte for byte,
/// so that an editor's filter loses nothing. The largest input is 4 MiB.
[[nodiscard]] int runTransform(
    const TransformOptions& options, ShellServices& shell, Streams streams);

} // namespace nimbe
