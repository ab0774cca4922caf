#include "PlatformHttp/CurlUrl.h"

#include <curl/curl.h>
#include <memory>

namespace nimbe {
namespace {

struct CleanUp {
    void operator()(CURLU* url) const { curl_url_cleanup(url); }
};

std::string partOf(CURLU* url, CURLUPart part, unsigned flags) {
    char* text = nullptr;
    if (curl_url_get(url, part, &text, flags) != CURLUE_OK) return {};
    std::string value(text);
    curl_free(text);
    return value;
}

} // namespace

std::optional<CurlUrl> CurlUrl::parse(const std::string& url) {
    const std::unique_ptr<CURLU, CleanUp> parsed(curl_url());
    if (!parsed || url.find('\0') != std::string::npos) return std::nullopt;
    if (curl_url_set(parsed.get(), CURLUPART_URL, url.c_str(), 0) != CURLUE_OK) return std::nullopt;
    CurlUrl parts{partOf(parsed.get(), CURLUPART_SCHEME, 0),
        partOf(parsed.get(), CURLUPART_HOST, CURLU_URLDECODE),
        partOf(parsed.get(), CURLUPART_PORT, CURLU_DEFAULT_PORT)};
    for (char& c : parts.host)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    if ((parts.scheme != "http" && parts.scheme != "https") || parts.host.empty())
        return std::nullopt;
    return parts;
}

bool CurlUrl::isLoopback() const {
    const bool isNumeric = host.find_first_not_of("0123456789.") == std::string::npos;
    return host == "localhost" || host.ends_with(".localhost") || host == "[::1]" ||
           (isNumeric && host.starts_with("127."));
}

} // namespace nimbe
