#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Foundation/Date.h"
#include "Support/TestCertificate.h"

namespace nimbe {

/// A web server on this machine that misbehaves as it is told, on threads of its own.
class TestHttpServer {
public:
    using Header = std::pair<std::string, std::string>;

    using Pieces = std::function<std::optional<std::string>()>;

    /// How a path is answered.
    struct Page {
        std::string body = {};
        int status = 200;
        std::vector<Header> headers = {};              // "Connection: close" is kept to
        bool takesRanges = true;                       // "bytes=N-" of a page with status 200
        std::optional<std::string> contentLength = {}; // told instead of the right one; "": none
        std::optional<std::string> contentRange = {};  // likewise
        std::function<void()> before = {};             // on the server's thread, before the head
        bool hangsBeforeHead = false;
        bool breaksOffBeforeHead = false;
        std::optional<std::size_t> hangsAfter = {};     // bytes of the answer's body
        std::optional<std::size_t> breaksOffAfter = {}; // likewise
        Seconds pause = 0;                              // before each byte or piece of the body
        bool isEndless = false;                         // the body again and again
        /// Instead of the body: called on the server's thread until it gives nothing more.
        /// An answer of unknown length, chunked.
        Pieces pieces = {};
    };
    struct Request {
        std::string method;
        std::string target;
        std::map<std::string, std::string> headers; // names in lower case
        std::string body;
    };

    /// Called on the server's threads, at the same time.
    using Responder = std::function<Page(const Request&)>;

    TestHttpServer() : TestHttpServer(std::optional<TestCertificate>()) {}
    /// With a certificate it speaks https. Port 0 is any that is free; throws
    /// std::system_error where another is taken.
    explicit TestHttpServer(std::optional<TestCertificate> certificate, int port = 0);
    ~TestHttpServer();
    TestHttpServer(const TestHttpServer&) = delete;
    TestHttpServer& operator=(const TestHttpServer&) = delete;

    [[nodiscard]] static Pieces inPieces(std::vector<std::string> pieces);

    /// "http://127.0.0.1:PORT", without a slash at its end.
    [[nodiscard]] std::string address() const;
    /// Paths that have no page are answered with 404, or by the responder.
    void put(const std::string& path, Page page);
    void putOthers(Responder newResponder);
    [[nodiscard]] std::vector<Request> requests();
    void forgetRequests();
    [[nodiscard]] int openConnections() const { return open; }
    [[nodiscard]] int connectionsTaken() const { return taken; }
    /// All bytes of all answers, heads and chunk sizes too.
    [[nodiscard]] std::uint64_t bytesSent() const { return sent; }

private:
    struct Tls;
    class Connection;

    std::unique_ptr<Tls> tls; // absent: http
    int listener = -1;
    int port = 0;
    std::atomic<bool> isEnding = false;
    std::atomic<int> open = 0;
    std::atomic<int> taken = 0;
    std::atomic<std::uint64_t> sent = 0;
    std::mutex mutex;
    std::map<std::string, Page> pages;
    Responder responder;
    std::vector<Request> asked;
    std::list<std::thread> connections;
    std::thread acceptor;

    void accept();
    void serve(int socket);
    [[nodiscard]] Page pageFor(const Request& request);
};

} // namespace nimbe
