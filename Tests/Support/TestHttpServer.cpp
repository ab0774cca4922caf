#include "Support/TestHttpServer.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <deque>
#include <iterator>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <poll.h>
#include <string_view>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>

namespace nimbe {
namespace {

constexpr int pollPause = 20; // milliseconds: how soon an end is noticed

void require(bool isDone) {
    if (!isDone) std::abort();
}

std::string lowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
        [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return text;
}

/// The N of "bytes=N-".
std::optional<std::size_t> rangeStart(const TestHttpServer::Request& request) {
    const auto found = request.headers.find("range");
    if (found == request.headers.end() || !found->second.starts_with("bytes=")) return {};
    return std::strtoull(found->second.c_str() + 6, nullptr, 10);
}

bool isLast(const TestHttpServer::Page& page) {
    const TestHttpServer::Header last{"Connection", "close"};
    return std::find(page.headers.begin(), page.headers.end(), last) != page.headers.end();
}

} // namespace

struct TestHttpServer::Tls {
    SSL_CTX* context;

    explicit Tls(const TestCertificate& pair) : context(SSL_CTX_new(TLS_server_method())) {
        BIO* certificateText = BIO_new_mem_buf(pair.certificate.data(), -1);
        BIO* keyText = BIO_new_mem_buf(pair.key.data(), -1);
        X509* certificate = PEM_read_bio_X509(certificateText, nullptr, nullptr, nullptr);
        EVP_PKEY* key = PEM_read_bio_PrivateKey(keyText, nullptr, nullptr, nullptr);
        require(SSL_CTX_use_certificate(context, certificate) == 1 &&
                SSL_CTX_use_PrivateKey(context, key) == 1);
        X509_free(certificate);
        EVP_PKEY_free(key);
        BIO_free(certificateText);
        BIO_free(keyText);
    }
    ~Tls() { SSL_CTX_free(context); }
    Tls(const Tls&) = delete;
    Tls& operator=(const Tls&) = delete;
};

/// One client, request by request.
class TestHttpServer::Connection {
public:
    Connection(TestHttpServer& server, int socket) : server(server), socket(socket) {
        if (!server.tls) return;
        ssl = SSL_new(server.tls->context);
        SSL_set_fd(ssl, socket);
        isAlive = SSL_accept(ssl) == 1;
    }
    ~Connection() {
        if (ssl) SSL_shutdown(ssl);
        SSL_free(ssl);
        ::close(socket);
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    void serve() {
        while (auto request = read()) {
            {
                const std::lock_guard lock(server.mutex);
                server.asked.push_back(*request);
            }
            if (!answer(server.pageFor(*request), rangeStart(*request))) return;
        }
    }

private:
    TestHttpServer& server;
    int socket;
    SSL* ssl = nullptr;
    bool isAlive = true;
    std::string buffer;

    /// False at the end of the connection or of the server.
    bool readMore() {
        while (isAlive && !server.isEnding) {
            pollfd waiting{socket, POLLIN, 0};
            if (!(ssl && SSL_pending(ssl) > 0) && ::poll(&waiting, 1, pollPause) == 0) continue;
            std::array<char, 16384> bytes{};
            const auto count =
                ssl ? SSL_read(ssl, bytes.data(), bytes.size())
                    : static_cast<int>(::recv(socket, bytes.data(), bytes.size(), 0));
            isAlive = count > 0;
            if (isAlive) buffer.append(bytes.data(), static_cast<std::size_t>(count));
            return isAlive;
        }
        return false;
    }
    void hang() {
        while (readMore()) buffer.clear();
    }

    bool write(std::string_view bytes) {
        while (isAlive && !server.isEnding && !bytes.empty()) {
            pollfd waiting{socket, POLLOUT, 0};
            if (::poll(&waiting, 1, pollPause) == 0) continue;
            // In pieces, so that a client that does not read holds nobody up.
            const auto piece = bytes.substr(0, 16384);
            const auto count = ssl ? SSL_write(ssl, piece.data(), static_cast<int>(piece.size()))
                                   : static_cast<int>(::send(socket, piece.data(), piece.size(),
                                         MSG_NOSIGNAL | MSG_DONTWAIT));
            isAlive = count > 0;
            if (!isAlive) return false;
            bytes.remove_prefix(static_cast<std::size_t>(count));
            server.sent += static_cast<std::uint64_t>(count);
        }
        return isAlive && bytes.empty();
    }

    /// Shorter when the server ends or the client has gone.
    void wait(Seconds pause) {
        using Clock = std::chrono::steady_clock;
        const auto end = Clock::now() + std::chrono::duration<Seconds>(pause);
        for (auto now = Clock::now(); now < end && !server.isEnding; now = Clock::now()) {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - now);
            pollfd leaving{socket, POLLRDHUP, 0};
            if (left.count() == 0)
                std::this_thread::sleep_until(end);
            else if (::poll(&leaving, 1, std::min(pollPause, static_cast<int>(left.count()))) > 0)
                return;
        }
    }

    std::optional<Request> read() {
        buffer.clear();
        std::size_t end = 0;
        while ((end = buffer.find("\r\n\r\n")) == buffer.npos) {
            if (!readMore()) return std::nullopt;
            if (buffer[0] >= 'A' && buffer[0] <= 'Z') continue;
            write("HTTP/1.1 400 Status\r\nContent-Length: 0\r\n\r\n"); // TLS, for instance
            return std::nullopt;
        }
        Request request;
        const auto head = buffer.substr(0, end + 2);
        buffer.erase(0, end + 4);
        const auto space = head.find(' ');
        request.method = head.substr(0, space);
        request.target = head.substr(space + 1, head.find(' ', space + 1) - space - 1);
        for (auto at = head.find("\r\n") + 2; at < head.size(); at = head.find("\r\n", at) + 2) {
            const auto line = head.substr(at, head.find("\r\n", at) - at);
            const auto colon = line.find(':');
            request.headers[lowerCase(line.substr(0, colon))] =
                line.substr(std::min(colon + 2, line.size()));
        }
        const auto length = request.headers.find("content-length");
        const auto bodyBytes = length == request.headers.end()
                                   ? 0
                                   : std::strtoull(length->second.c_str(), nullptr, 10);
        while (buffer.size() < bodyBytes)
            if (!readMore()) return std::nullopt;
        request.body = buffer.substr(0, bodyBytes);
        return request;
    }

    /// True when the client may ask again on this connection.
    bool answer(const Page& page, std::optional<std::size_t> start) {
        if (page.before) page.before();
        if (page.hangsBeforeHead) hang();
        if (page.breaksOffBeforeHead) return false;
        int status = page.status;
        std::string body = page.body;
        std::string range;
        if (status == 200 && page.takesRanges && start) {
            status = *start < body.size() ? 206 : 416;
            range =
                "bytes " +
                (status == 416 ? "*"
                               : std::to_string(*start) + "-" + std::to_string(body.size() - 1)) +
                "/" + std::to_string(body.size());
            body = status == 206 ? body.substr(*start) : "";
        }
        if (page.contentRange) range = *page.contentRange;
        std::string head = "HTTP/1.1 " + std::to_string(status) + " Status\r\n";
        for (const auto& [name, value] : page.headers) head += name + ": " + value + "\r\n";
        if (!range.empty()) head += "Content-Range: " + range + "\r\n";
        if (page.pieces)
            return write(head + "Transfer-Encoding: chunked\r\n\r\n") && writePieces(page) &&
                   !isLast(page);
        const auto length = page.contentLength.value_or(
            page.isEndless ? std::string() : std::to_string(body.size()));
        if (!length.empty()) head += "Content-Length: " + length + "\r\n";
        if (!write(head + "\r\n") || !writeBody(page, body)) return false;
        return length == std::to_string(body.size()) && !isLast(page);
    }

    bool writePieces(const Page& page) {
        const auto most = std::min(page.hangsAfter.value_or(~std::size_t{0}),
            page.breaksOffAfter.value_or(~std::size_t{0}));
        std::size_t given = 0;
        while (given < most) {
            const auto piece = page.pieces();
            if (!piece) return write("0\r\n\r\n");
            wait(page.pause);
            const auto length = std::min(piece->size(), most - given);
            std::array<char, 20> size{};
            *std::to_chars(size.data(), size.data() + size.size() - 1, length, 16).ptr = '\0';
            given += length;
            if (length > 0 && !write(size.data() + ("\r\n" + piece->substr(0, length)) + "\r\n"))
                return false;
        }
        if (page.hangsAfter) hang();
        return false;
    }

    bool writeBody(const Page& page, const std::string& body) {
        const auto end = std::min(
            page.hangsAfter.value_or(body.size()), page.breaksOffAfter.value_or(body.size()));
        if (page.pause > 0) {
            for (std::size_t at = 0; at < end; ++at) {
                wait(page.pause);
                if (!write({&body[at], 1})) return false;
            }
        } else if (!write({body.data(), end})) {
            return false;
        }
        while (page.isEndless && write(body)) {
        }
        if (page.hangsAfter) hang();
        return !page.hangsAfter && !page.breaksOffAfter;
    }
};

TestHttpServer::TestHttpServer(std::optional<TestCertificate> certificate, int wantedPort) {
    std::signal(SIGPIPE, SIG_IGN);
    if (certificate) tls = std::make_unique<Tls>(*certificate);
    listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in place{};
    place.sin_family = AF_INET;
    place.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    place.sin_port = htons(static_cast<std::uint16_t>(wantedPort));
    auto* address = reinterpret_cast<sockaddr*>(&place);
    socklen_t length = sizeof(place);
    // One that ended a moment ago does not hold its port.
    const int again = 1;
    ::setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &again, sizeof(again));
    if (::bind(listener, address, length) != 0 || ::listen(listener, 16) != 0) {
        const std::error_code why(errno, std::generic_category());
        ::close(listener);
        throw std::system_error(why, "port " + std::to_string(wantedPort));
    }
    require(::getsockname(listener, address, &length) == 0);
    port = ntohs(place.sin_port);
    acceptor = std::thread([this] { accept(); });
}

TestHttpServer::~TestHttpServer() {
    isEnding = true;
    acceptor.join();
    for (auto& connection : connections) connection.join();
    ::close(listener);
}

TestHttpServer::Pieces TestHttpServer::inPieces(std::vector<std::string> pieces) {
    return [left = std::deque<std::string>(std::make_move_iterator(pieces.begin()),
                std::make_move_iterator(pieces.end()))]() mutable -> std::optional<std::string> {
        if (left.empty()) return std::nullopt;
        auto piece = std::move(left.front());
        left.pop_front();
        return piece;
    };
}

std::string TestHttpServer::address() const {
    return (tls ? "https" : "http") + std::string("://127.0.0.1:") + std::to_string(port);
}

void TestHttpServer::put(const std::string& path, Page page) {
    const std::lock_guard lock(mutex);
    pages[path] = std::move(page);
}

void TestHttpServer::putOthers(Responder newResponder) {
    const std::lock_guard lock(mutex);
    responder = std::move(newResponder);
}

std::vector<TestHttpServer::Request> TestHttpServer::requests() {
    const std::lock_guard lock(mutex);
    return asked;
}

void TestHttpServer::forgetRequests() {
    const std::lock_guard lock(mutex);
    asked.clear();
}

void TestHttpServer::accept() {
    while (!isEnding) {
        pollfd waiting{listener, POLLIN, 0};
        if (::poll(&waiting, 1, pollPause) <= 0) continue;
        const int socket = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (socket < 0) continue;
        const int atOnce = 1; // the end of one answer does not wait for the client's word
        ::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &atOnce, sizeof(atOnce));
        ++open;
        ++taken;
        connections.emplace_back([this, socket] { serve(socket); });
    }
}

void TestHttpServer::serve(int socket) {
    Connection(*this, socket).serve();
    --open;
}

TestHttpServer::Page TestHttpServer::pageFor(const Request& request) {
    std::unique_lock lock(mutex);
    const auto found = pages.find(request.target);
    if (found != pages.end()) return found->second;
    if (const auto answer = responder) {
        lock.unlock();
        return answer(request);
    }
    Page missing;
    missing.status = 404;
    missing.body = "There is no such page.";
    return missing;
}

} // namespace nimbe
