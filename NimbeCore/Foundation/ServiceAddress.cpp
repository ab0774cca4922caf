#include "Foundation/ServiceAddress.h"

#include <algorithm>

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

/// Four numbers, the first of them 127. What else libraries take for an IPv4 address
/// ("127.1", "0x7f000001") is refused.
bool isLoopback4(std::string_view host) {
    int parts = 0;
    for (bool isFirst = true;; isFirst = false) {
        const auto dot = host.find('.');
        const auto part = host.substr(0, dot);
        if (part.empty() || part.size() > 3 || !isDigits(part)) return false;
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
