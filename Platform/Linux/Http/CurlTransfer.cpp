#include "PlatformHttp/CurlTransfer.h"

#include <algorithm>
#include <charconv>
#include <curl/curl.h>
#include <utility>

namespace nimbe {
namespace {

using Kind = HttpError::Kind;

constexpr int mostRedirects = 5;
constexpr std::size_t largestHead =
    256 * 1024; // bytes; servers refuse to send more than some 64 KiB

static_assert(CURL_ERROR_SIZE <= 256);

std::string lowerCase(std::string_view text) {
    std::string lower(text);
    for (char& c : lower)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return lower;
}

std::string_view trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(" \t\r\n");
    if (first == text.npos) return {};
    return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

CurlTransfer::Clock::duration duration(Seconds seconds) {
    // A caller's "never" must not run over the clock's end.
    constexpr Seconds longest = 1e8;
    return std::chrono::duration_cast<CurlTransfer::Clock::duration>(
        std::chrono::duration<Seconds>(std::clamp(seconds, 0.0, longest)));
}

std::optional<std::uint64_t> number(std::string_view text) {
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return value;
}

/// Not for whom else the request is sent on to.
bool isForItsServerOnly(const HttpRequest::Header& header) {
    const auto name = lowerCase(header.first);
    return name == "authorization" || name == "cookie";
}

} // namespace

// Called by the library on the worker's thread.
struct CurlTransfer::Callbacks {
    static std::size_t header(char* bytes, std::size_t /*one*/, std::size_t size, void* self) {
        auto& transfer = *static_cast<CurlTransfer*>(self);
        transfer.lastByte = Clock::now();
        return transfer.takeHeaderLine({bytes, size}) ? size : CURL_WRITEFUNC_ERROR;
    }
    static std::size_t body(char* bytes, std::size_t /*one*/, std::size_t size, void* self) {
        auto& transfer = *static_cast<CurlTransfer*>(self);
        const bool isTaken =
            transfer.takeBody({reinterpret_cast<const std::uint8_t*>(bytes), size});
        transfer.lastByte = Clock::now(); // the receiver's time is not the server's
        return isTaken ? size : CURL_WRITEFUNC_ERROR;
    }
    static int progress(void* self, curl_off_t /*downTotal*/, curl_off_t down,
        curl_off_t /*upTotal*/, curl_off_t up) {
        auto& transfer = *static_cast<CurlTransfer*>(self);
        if (transfer.lastByte && down + up != transfer.bytesMoved) transfer.lastByte = Clock::now();
        transfer.bytesMoved = down + up;
        return 0;
    }
    static int connected(void* self, char* /*theirAddress*/, char* /*ourAddress*/,
        int /*theirPort*/, int /*ourPort*/) {
        static_cast<CurlTransfer*>(self)->lastByte = Clock::now();
        return CURL_PREREQFUNC_OK;
    }
};

void CurlTransfer::CleanUp::operator()(void* easy) const {
    curl_easy_cleanup(easy);
}

void CurlTransfer::FreeList::operator()(void* list) const {
    curl_slist_free_all(static_cast<curl_slist*>(list));
}

CurlTransfer::CurlTransfer(
    HttpRequest request, HttpClient::Receiver* receiver, std::string certificates, Handler onEnd)
    : request(std::move(request)), receiver(receiver), certificates(std::move(certificates)),
      onEnd(std::move(onEnd)) {
    if (this->request.deadline) deadline = Clock::now() + duration(*this->request.deadline);
}

CurlTransfer::~CurlTransfer() = default;

void CurlTransfer::stop() {
    const std::lock_guard lock(mutex);
    isGivenUp = true;
}

bool CurlTransfer::isStopped() {
    const std::lock_guard lock(mutex);
    return isGivenUp;
}

void CurlTransfer::end(Answer answer) {
    const std::lock_guard lock(mutex);
    if (!std::exchange(isGivenUp, true)) onEnd(std::move(answer));
}

std::optional<HttpError> CurlTransfer::prepare() {
    const auto next = CurlUrl::parse(request.url);
    if (!next) return HttpError{Kind::badAddress, "not an http or https address"};
    if (url && url->isSecure() && !next->isSecure())
        return HttpError{Kind::insecure, "redirected from https to http"};
    if (url && *url != *next) std::erase_if(request.headers, isForItsServerOnly);
    url = next;

    easy.reset(curl_easy_init());
    if (!easy) return HttpError{Kind::failed, "no handle"};
    response = {};
    headerBytes = 0;
    isHeadWhole = false;
    bodyBytes = 0;
    bytesMoved = 0;
    lastByte.reset();
    if (!setUpHeaders()) return HttpError{Kind::failed, "a header with a line break"};
    setUpHandle();
    setUpHop();
    return std::nullopt;
}

void CurlTransfer::setUpHandle() {
    CURL* const handle = easy.get();
    curl_easy_setopt(handle, CURLOPT_ERRORBUFFER, errorText.data());
    curl_easy_setopt(handle, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(handle, CURLOPT_FOLLOWLOCATION, 0L); // see redirect()
    curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
    // A request that is given up does not wait for the end of a name's look-up.
    curl_easy_setopt(handle, CURLOPT_QUICK_EXIT, 1L);
    curl_easy_setopt(handle, CURLOPT_USERAGENT, "Nimbe/" NIMBE_VERSION);
    curl_easy_setopt(handle, CURLOPT_SSL_VERIFYPEER, 1L);
    curl_easy_setopt(handle, CURLOPT_SSL_VERIFYHOST, 2L);
    if (!certificates.empty()) curl_easy_setopt(handle, CURLOPT_CAINFO, certificates.c_str());
    curl_easy_setopt(handle, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
    curl_easy_setopt(handle, CURLOPT_HEADERFUNCTION, &Callbacks::header);
    curl_easy_setopt(handle, CURLOPT_HEADERDATA, this);
    curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, &Callbacks::body);
    curl_easy_setopt(handle, CURLOPT_WRITEDATA, this);
    curl_easy_setopt(handle, CURLOPT_XFERINFOFUNCTION, &Callbacks::progress);
    curl_easy_setopt(handle, CURLOPT_XFERINFODATA, this);
    curl_easy_setopt(handle, CURLOPT_NOPROGRESS, 0L);
    curl_easy_setopt(handle, CURLOPT_PREREQFUNCTION, &Callbacks::connected);
    curl_easy_setopt(handle, CURLOPT_PREREQDATA, this);
}

void CurlTransfer::setUpHop() {
    CURL* const handle = easy.get();
    curl_easy_setopt(handle, CURLOPT_URL, request.url.c_str());
    // Any proxy from the environment is another machine's, or another's view of this one.
    if (url->isLoopback()) curl_easy_setopt(handle, CURLOPT_PROXY, "");
    const auto milliseconds =
        std::chrono::ceil<std::chrono::milliseconds>(duration(request.connectDeadline)).count();
    // To the library, zero is no deadline.
    curl_easy_setopt(handle, CURLOPT_CONNECTTIMEOUT_MS, std::max<long>(milliseconds, 1));
    curl_easy_setopt(handle, CURLOPT_HTTPHEADER, static_cast<curl_slist*>(headerList.get()));
    if (request.method == HttpRequest::Method::post) {
        curl_easy_setopt(handle, CURLOPT_POST, 1L);
        curl_easy_setopt(handle, CURLOPT_POSTFIELDS, request.body.data());
        curl_easy_setopt(
            handle, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.body.size()));
    }
}

bool CurlTransfer::setUpHeaders() {
    curl_slist* list = curl_slist_append(nullptr, "Expect:"); // no second's wait before a body
    for (const auto& [name, value] : request.headers) {
        if ((name + value).find_first_of(std::string_view("\r\n\0", 3)) != std::string::npos) {
            curl_slist_free_all(list);
            return false;
        }
        list = curl_slist_append(list, (name + (value.empty() ? ";" : ": " + value)).c_str());
    }
    headerList.reset(list);
    return true;
}

bool CurlTransfer::giveUp(Kind kind, std::string detail) {
    problem = HttpError{kind, std::move(detail)};
    return false;
}

bool CurlTransfer::isRedirect() const {
    const bool isStatus = response.status == 301 || response.status == 302 ||
                          response.status == 303 || response.status == 307 ||
                          response.status == 308;
    return request.followsRedirects && isStatus && response.header("location");
}

bool CurlTransfer::takeHeaderLine(std::string_view line) {
    if (isHeadWhole) return true; // what comes after a body in pieces
    headerBytes += line.size();
    if (headerBytes > largestHead) return giveUp(Kind::tooLarge, "the head of the answer");
    if (line.starts_with("HTTP/")) {
        response = {};
        long status = 0;
        curl_easy_getinfo(easy.get(), CURLINFO_RESPONSE_CODE, &status);
        response.status = static_cast<int>(status);
        return true;
    }
    const auto text = trimmed(line);
    if (text.empty()) return response.status < 200 ? true : takeHead(); // 1xx: another one follows
    const auto colon = text.find(':');
    if (colon != text.npos)
        response.headers.emplace_back(
            lowerCase(trimmed(text.substr(0, colon))), trimmed(text.substr(colon + 1)));
    return true;
}

bool CurlTransfer::takeHead() {
    isHeadWhole = true;
    if (isRedirect()) return true;
    const auto length = response.header("content-length");
    if (length && number(*length).value_or(0) > request.largestBody)
        return giveUp(Kind::tooLarge, "announced: " + *length + " bytes");
    if (!receiver) return true;
    const std::lock_guard lock(mutex);
    if (isGivenUp || !receiver->begin(response)) return giveUp(Kind::refused, "the head");
    return true;
}

bool CurlTransfer::takeBody(std::span<const std::uint8_t> bytes) {
    bodyBytes += bytes.size();
    if (bodyBytes > request.largestBody)
        return giveUp(Kind::tooLarge, "more than " + std::to_string(request.largestBody));
    if (isRedirect()) return true;
    if (!receiver) {
        response.body.append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
        return true;
    }
    const std::lock_guard lock(mutex);
    if (isGivenUp || !receiver->receive(bytes))
        return giveUp(Kind::refused, "after " + std::to_string(bodyBytes) + " bytes");
    return true;
}

std::optional<CurlTransfer::Answer> CurlTransfer::hopEnded(int code) {
    if (problem) return failure(*problem);
    if (code != CURLE_OK) return failure(errorOf(code));
    if (!isRedirect()) return std::move(response);
    if (auto error = redirect()) return failure(std::move(*error));
    return std::nullopt;
}

/// Not left to the library: it knows what a redirect may lead to, but not from where.
std::optional<HttpError> CurlTransfer::redirect() {
    if (++hops > mostRedirects) return HttpError{Kind::failed, "too many redirects"};
    const char* next = nullptr;
    curl_easy_getinfo(easy.get(), CURLINFO_REDIRECT_URL, &next);
    if (!next) return HttpError{Kind::badAddress, "redirected to no address"};
    request.url = next;
    // As browsers do, whatever the older standard said of 301 and 302.
    if (response.status <= 303) {
        request.method = HttpRequest::Method::get;
        request.body.clear();
    }
    return std::nullopt;
}

CurlTransfer::Clock::time_point CurlTransfer::due() const {
    auto due = Clock::time_point::max();
    if (lastByte) due = *lastByte + duration(request.stallDeadline);
    return deadline ? std::min(due, *deadline) : due;
}

const char* CurlTransfer::lateness() const {
    return deadline && Clock::now() >= *deadline ? "the deadline passed" : "no byte for too long";
}

HttpError CurlTransfer::errorOf(int code) const {
    const auto detail =
        "curl " + std::to_string(code) + ": " +
        (errorText[0] != '\0' ? errorText.data() : curl_easy_strerror(static_cast<CURLcode>(code)));
    switch (code) {
    case CURLE_URL_MALFORMAT: return {Kind::badAddress, detail};
    case CURLE_COULDNT_RESOLVE_PROXY:
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_CONNECT:
    case CURLE_SSL_CONNECT_ERROR: return {Kind::unreachable, detail};
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_INVALIDCERTSTATUS: return {Kind::insecure, detail};
    case CURLE_OPERATION_TIMEDOUT: return {Kind::timedOut, detail};
    case CURLE_PARTIAL_FILE:
    case CURLE_GOT_NOTHING:
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
    case CURLE_HTTP2:
    case CURLE_HTTP2_STREAM: return {Kind::brokenOff, detail};
    default: return {Kind::failed, detail};
    }
}

} // namespace nimbe
