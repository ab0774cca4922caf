#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace nimbe {

/// The base address of a web service. This machine is localhost, 127.* and [::1].
class ServiceAddress {
public:
    enum class Hosts {
        secureOrThisMachine, // https anywhere, http only on this machine
        thisMachine,
        any
    };

    /// Absent for any other scheme or host, for one with a name and password, and where a
    /// query or a fragment follows: paths are to be added.
    [[nodiscard]] static std::optional<ServiceAddress> parse(
        std::string_view text, Hosts hosts = Hosts::secureOrThisMachine);

    /// The address of a path, which begins with a slash.
    [[nodiscard]] std::string url(std::string_view path) const { return base + std::string(path); }

private:
    explicit ServiceAddress(std::string base) : base(std::move(base)) {}

    std::string base; // without slashes at its end
};

} // namespace nimbe
