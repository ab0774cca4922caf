#pragma once

namespace nimbe {

/// Serves a client on standard input and output until it goes; the program's exit code.
/// What is wrong with the history is one line on standard error, and the history then
/// counts as empty; it is opened when a tool is first called. Nothing is written but
/// answers.
[[nodiscard]] int runMCPMode();

} // namespace nimbe
