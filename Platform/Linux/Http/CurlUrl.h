#pragma once

#include <optional>
#include <string>

namespace nimbe {

/// What a request needs to know of its address.
struct CurlUrl {
    std::string scheme; // lower case
    std::string host;   // an IPv6 address in brackets
    std::string port;   // the scheme's own when none is named

    /// Absent when it is no http or https address.
    [[nodiscard]] static std::optional<CurlUrl> parse(const std::string& url);

    [[nodiscard]] bool isSecure() const { return scheme == "https"; }
    /// This machine itself.
    [[nodiscard]] bool isLoopback() const;

    friend bool operator==(const CurlUrl&, const CurlUrl&) = default;
};

} // namespace nimbe
