#include "Foundation/ServiceAddress.h"

#include <algorithm>
#include <charconv>

namespace nimbe {
namespace {

char lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool isDigits(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

/// Takes `scheme`, in lower case, from the beginning.
bool takeScheme(std::string_view& text, std::string_view scheme) {
    if (text.size() < scheme.size() ||
        !std::equal(scheme.begin(), scheme.end(), text.begin(),
            [](char expected, char c) { return expected == lower(c); }))
        return false;
    text.remove_prefix(scheme.size());
    return true;
}

/// As libraries read a part: up to 255, in base eight where it begins with a zero.
bool isByte(std::string_view part) {
    if (part.empty() || part.size() > 3) return false;
    unsigned value = 0;
    const auto* const end = part.data() + part.size();
    const auto [last, error] =
        std::from_chars(part.data(), end, value, part.starts_with('0') ? 8 : 10);
    return error == std::errc() && last == end && value <= 255;
}

/// Four numbers, the first of them 127. What else libraries take for an IPv4 address
/// ("127.1", "0x7f000001") is refused, and what they take for a name ("127.0.0.256").
bool isLoopback4(std::string_view host) {
    int parts = 0;
    for (bool isFirst = true;; isFirst = false) {
        const auto dot = host.find('.');
        const auto part = host.substr(0, dot);
        if (!isByte(part)) return false;
        if (isFirst && part != "127") return false;
        ++parts;
        if (dot == host.npos) return parts == 4;
        host.remove_prefix(dot + 1);
    }
}

bool isThisMachine(std::string_view host) {
    std::string name(host);
    std::transform(name.begin(), name.end(), name.begin(), lower);
    return name == "localhost" || name == "[::1]" || isLoopback4(name);
}

/// The authority's host; absent when it is no "HOST" or "HOST:PORT".
std::optional<std::string_view> hostOf(std::string_view authority) {
    if (authority.find('@') != authority.npos) return std::nullopt;
    const auto bracket = authority.rfind(']');
    const auto colon = authority.find(':', bracket == authority.npos ? 0 : bracket);
    const auto host = authority.substr(0, colon);
    if (host.empty() || host.starts_with('[') != host.ends_with(']')) return std::nullopt;
    if (colon != authority.npos && !isDigits(authority.substr(colon + 1))) return std::nullopt;
    return host;
}

} // namespace

std::optional<ServiceAddress> ServiceAddress::parse(std::string_view text, Hosts hosts) {
    const auto isAllowed = [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return byte > ' ' && byte != 0x7F && c != '\\' && c != '?' && c != '#';
    };
    if (!std::all_of(text.begin(), text.end(), isAllowed)) return std::nullopt;
    auto rest = text;
    const bool isSecure = takeScheme(rest, "https://");
    if (!isSecure && !takeScheme(rest, "http://")) return std::nullopt;
    const auto host = hostOf(rest.substr(0, rest.find('/')));
    if (!host) return std::nullopt;
    const bool isAnywhere =
        hosts == Hosts::any || (isSecure && hosts == Hosts::secureOrThisMachine);
    if (!isAnywhere && !isThisMachine(*host)) return std::nullopt;
    while (text.ends_with('/')) text.remove_suffix(1);
    return ServiceAddress(std::string(text));
}

} // namespace nimbe
