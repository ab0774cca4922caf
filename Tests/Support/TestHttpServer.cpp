#include "Support/TestHttpServer.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <poll.h>
#include <string_view>
#include <sys/socket.h>
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
            if (isAlive) bytes.remove_prefix(static_cast<std::size_t>(count));
        }
        return isAlive && bytes.empty();
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
        const auto length = page.contentLength.value_or(
            page.isEndless ? std::string() : std::to_string(body.size()));
        if (!length.empty()) head += "Content-Length: " + length + "\r\n";
        if (!write(head + "\r\n") || !writeBody(page, body)) return false;
        return length == std::to_string(body.size());
    }

    bool writeBody(const Page& page, const std::string& body) {
        const auto end = std::min(
            page.hangsAfter.value_or(body.size()), page.breaksOffAfter.value_or(body.size()));
        if (page.pause > 0) {
            for (std::size_t at = 0; at < end; ++at) {
                std::this_thread::sleep_for(std::chrono::duration<Seconds>(page.pause));
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

TestHttpServer::TestHttpServer(std::optional<TestCertificate> certificate) {
    std::signal(SIGPIPE, SIG_IGN);
    if (certificate) tls = std::make_unique<Tls>(*certificate);
    listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in place{};
    place.sin_family = AF_INET;
    place.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    auto* address = reinterpret_cast<sockaddr*>(&place);
    socklen_t length = sizeof(place);
    require(::bind(listener, address, length) == 0 && ::listen(listener, 16) == 0);
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

std::string TestHttpServer::address() const {
    return (tls ? "https" : "http") + std::string("://127.0.0.1:") + std::to_string(port);
}

void TestHttpServer::put(const std::string& path, Page page) {
    const std::lock_guard lock(mutex);
    pages[path] = std::move(page);
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
        connections.emplace_back([this, socket] { serve(socket); });
    }
}

void TestHttpServer::serve(int socket) {
    Connection(*this, socket).serve();
    --open;
}

TestHttpServer::Page TestHttpServer::pageFor(const Request& request) {
    const std::lock_guard lock(mutex);
    const auto found = pages.find(request.target);
    if (found != pages.end()) return found->second;
    Page missing;
    missing.status = 404;
    missing.body = "There is no such page.";
    return missing;
}

} // namespace nimbe
