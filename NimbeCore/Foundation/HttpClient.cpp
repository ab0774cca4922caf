#include "Foundation/HttpClient.h"

#include <algorithm>

namespace nimbe {

std::optional<std::string> HttpResponse::header(const std::string& name) const {
    const auto found = std::find_if(
        headers.begin(), headers.end(), [&](const auto& header) { return header.first == name; });
    return found == headers.end() ? std::nullopt : std::optional(found->second);
}

} // namespace nimbe
