#pragma once

namespace nimbe {

/// The verbs of the command line, with the adapters that they need. They stand in a library
/// of their own, so that the other modes start without what is behind them.
class ShellModule {
public:
    virtual ~ShellModule() = default;

    /// One verb, without the launch options; the exit status.
    [[nodiscard]] virtual int run(int argc, const char* const* argv) = 0;
};

} // namespace nimbe
