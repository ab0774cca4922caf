#include <atomic>
#include <cstdlib>
#include <fstream>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "Foundation/RunLoop.h"
#include "PlatformHttp/CurlHttpClient.h"
#include "Support/TemporaryFolder.h"
#include "Support/TestHttpServer.h"

namespace nimbe {
namespace {

using Kind = HttpError::Kind;
using Answer = Result<HttpResponse, HttpError>;
using Page = TestHttpServer::Page;

/// Keeps what it is given, and refuses where it is told to.
class Keeper final : public HttpClient::Receiver {
public:
    std::atomic<int> heads = 0;
    std::atomic<std::size_t> bytes = 0;
    std::string body;
    bool refusesHead = false;
    std::size_t refusesAfter = ~std::size_t{0};

    bool begin(const HttpResponse& head) override {
        ++heads;
        status = head.status;
        return !refusesHead;
    }
    bool receive(std::span<const std::uint8_t> piece) override {
        body.append(reinterpret_cast<const char*>(piece.data()), piece.size());
        bytes = body.size();
        return body.size() < refusesAfter;
    }
    std::atomic<int> status = 0;
};

Task<void> keepAnswer(Task<Answer> request, std::optional<Answer>& answer) {
    answer = co_await request;
}

struct CurlHttpClientTest : testing::Test {
    RunLoop loop;
    TestHttpServer server;
    std::optional<CurlHttpClient> client{std::in_place, loop};

    CurlHttpClientTest() {
        for (const char* name : {"http_proxy", "https_proxy", "all_proxy", "no_proxy"})
            ::unsetenv(name);
    }
    HttpRequest request(const std::string& path) {
        HttpRequest made;
        made.url = server.address() + path;
        made.connectDeadline = 5;
        made.stallDeadline = 5;
        return made;
    }
    Answer send(HttpRequest request, HttpClient::Receiver* receiver = nullptr) {
        std::optional<Answer> answer;
        const Token watchdog = loop.schedule(20, [this] { loop.stop(); });
        loop.runUntilDone(keepAnswer(client->send(std::move(request), receiver), answer));
        if (!answer) return failure(HttpError{Kind::failed, "the watchdog of the test"});
        return *answer;
    }
    /// Runs the loop until `isDone`; false when that takes too long.
    bool waitUntil(const std::function<bool()>& isDone) {
        for (int i = 0; i < 2000; ++i) {
            if (isDone()) return true;
            const Token wake = loop.schedule(0.005, [this] { loop.stop(); });
            loop.run();
        }
        return false;
    }
};

std::string text(const Answer& answer) {
    if (answer) return std::to_string(answer->status);
    return "error " + std::to_string(static_cast<int>(answer.error().kind)) + " " +
           answer.error().detail;
}

} // namespace

TEST_F(CurlHttpClientTest, everyStatusIsAnAnswer) {
    server.put("/page", Page{.body = "caf\xC3\xA9", .headers = {{"X-Some-THING", "  Yes "}}});
    server.put("/empty", Page{.status = 204, .contentLength = ""});
    server.put("/bad", Page{.body = "no", .status = 500});
    server.put("/moved", Page{.status = 302, .headers = {{"Location", "/page"}}});
    auto answer = send(request("/page"));
    ASSERT_TRUE(answer) << text(answer);
    EXPECT_EQ(answer->body, "caf\xC3\xA9");
    EXPECT_EQ(answer->header("x-some-thing"), "Yes");
    EXPECT_EQ(answer->header("nothing"), std::nullopt);
    EXPECT_EQ(text(send(request("/empty"))), "204");
    EXPECT_EQ(text(send(request("/bad"))), "500");
    EXPECT_EQ(text(send(request("/nothing"))), "404");
    EXPECT_EQ(text(send(request("/moved"))), "302") << "only followed when asked to";
    const auto first = server.requests().at(0);
    EXPECT_TRUE(first.headers.at("user-agent").starts_with("Nimbe/"));
    EXPECT_EQ(first.method, "GET");
}

TEST_F(CurlHttpClientTest, aPostSendsItsBodyAndHeaders) {
    server.put("/", Page{.body = "{}"});
    auto post = request("/");
    post.method = HttpRequest::Method::post;
    post.body = std::string(2'000'000, 'x') + std::string(1, '\0') + "y";
    post.headers = {{"Content-Type", "application/json"}, {"X-Empty", ""}};
    EXPECT_EQ(text(send(post)), "200");
    const auto asked = server.requests().at(0);
    EXPECT_EQ(asked.body, post.body);
    EXPECT_EQ(asked.headers.at("content-type"), "application/json");
    EXPECT_EQ(asked.headers.at("x-empty"), "");
    EXPECT_FALSE(asked.headers.contains("expect")) << "a server that ignores it costs a second";
    post.headers = {{"X", "1\r\nHost: other"}};
    EXPECT_EQ(send(post).error().kind, Kind::failed);
}

TEST_F(CurlHttpClientTest, misbehaviourEndsInItsError) {
    const std::string ten(10, 'x');
    struct Case {
        const char* why;
        Page page;
        std::optional<Kind> expected; // absent: an answer
        std::function<void(HttpRequest&)> change = [](HttpRequest&) {
        };
    };
    const auto limit = [](std::uint64_t bytes) {
        return [bytes](HttpRequest& request) {
            request.largestBody = bytes;
        };
    };
    const auto stall = [](HttpRequest& request) {
        request.stallDeadline = 0.1;
    };
    const auto whole = [](HttpRequest& request) {
        request.deadline = 0.15;
    };
    const Case cases[] = {
        {"exactly the limit", {.body = ten}, std::nullopt, limit(10)},
        {"announces one more", {.body = ten}, Kind::tooLarge, limit(9)},
        {"sends one more", {.body = ten, .contentLength = ""}, Kind::tooLarge, limit(9)},
        {"an endless body", {.body = ten, .isEndless = true}, Kind::tooLarge, limit(100'000)},
        {"fewer than announced", {.body = ten, .contentLength = "11"}, Kind::brokenOff},
        {"a break", {.body = ten, .breaksOffAfter = 4}, Kind::brokenOff},
        {"a break before the first byte", {.body = ten, .breaksOffAfter = 0}, Kind::brokenOff},
        {"no head", {.hangsBeforeHead = true}, Kind::timedOut, stall},
        {"no more bytes", {.body = ten, .hangsAfter = 4}, Kind::timedOut, stall},
        {"slow, but coming", {.body = ten, .pause = 0.02}, std::nullopt, stall},
        {"slow beyond the deadline", {.body = ten, .pause = 0.02}, Kind::timedOut, whole},
        {"chunks, an empty one among them", {.pieces = TestHttpServer::inPieces({"a", "", ten})},
            std::nullopt},
        {"chunks that break off", {.breaksOffAfter = 4, .pieces = TestHttpServer::inPieces({ten})},
            Kind::brokenOff},
        {"chunks beyond the limit",
            {.pieces =
                    [] {
                        return std::string(1000, 'x');
                    }},
            Kind::tooLarge, limit(100'000)},
        {"a break before the head", {.breaksOffBeforeHead = true}, Kind::brokenOff},
        {"hangs beyond the deadline", {.hangsBeforeHead = true}, Kind::timedOut, whole},
    };
    for (const auto& c : cases) {
        server.put("/", c.page);
        auto asked = request("/");
        c.change(asked);
        const auto answer = send(asked);
        const bool isRight = c.expected ? !answer && answer.error().kind == *c.expected
                                        : answer && answer->status == 200;
        EXPECT_TRUE(isRight) << c.why << ": " << text(answer);
    }
}

TEST_F(CurlHttpClientTest, aLastAnswerIsNotTakenForABrokenConnection) {
    server.putOthers([](const TestHttpServer::Request& request) {
        return Page{.body = request.target, .headers = {{"Connection", "close"}}};
    });
    EXPECT_EQ(send(request("/a"))->body, "/a");
    EXPECT_EQ(send(request("/b"))->body, "/b");
    EXPECT_EQ(server.connectionsTaken(), 2);
}

TEST_F(CurlHttpClientTest, whatIsNoAddressOrNotThere) {
    struct Case {
        const char* url;
        Kind expected;
    };
    const Case cases[] = {
        {"", Kind::badAddress},
        {"/path", Kind::badAddress},
        {"example.org", Kind::badAddress},
        {"ftp://127.0.0.1/", Kind::badAddress},
        {"file:///etc/passwd", Kind::badAddress},
        {"http://", Kind::badAddress},
        {"http://127.0.0.1:99999/", Kind::badAddress},
        {"http://127.0.0.1/a b", Kind::badAddress},
        {"http://127.0.0.1:1/", Kind::unreachable},
        {"http://nowhere.invalid/", Kind::unreachable},
    };
    for (const auto& c : cases) {
        HttpRequest asked;
        asked.url = c.url;
        const auto answer = send(asked);
        EXPECT_TRUE(!answer && answer.error().kind == c.expected) << c.url << ": " << text(answer);
    }
}

TEST_F(CurlHttpClientTest, aServerThatTakesNoConnectionIsGivenUp) {
    const int listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in place{};
    place.sin_family = AF_INET;
    place.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    auto* address = reinterpret_cast<sockaddr*>(&place);
    socklen_t length = sizeof(place);
    ASSERT_EQ(::bind(listener, address, length), 0);
    ASSERT_EQ(::listen(listener, 0), 0);
    ASSERT_EQ(::getsockname(listener, address, &length), 0);
    const int waiting = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(::connect(waiting, address, length), 0) << "this one fills the queue";
    HttpRequest asked;
    asked.url = "http://127.0.0.1:" + std::to_string(ntohs(place.sin_port)) + "/";
    asked.connectDeadline = 0.1;
    const auto answer = send(asked);
    EXPECT_TRUE(!answer && answer.error().kind == Kind::timedOut) << text(answer);
    ::close(waiting);
    ::close(listener);
}

TEST_F(CurlHttpClientTest, redirectsAreFollowedByTheRule) {
    TestHttpServer other;
    other.put("/there", Page{.body = "arrived"});
    const auto hop = [&](int status, const std::string& to) {
        return Page{.body = "moved", .status = status, .headers = {{"Location", to}}};
    };
    server.put("/page", Page{.body = "arrived"});
    server.put("/loop", hop(301, "/loop"));
    server.put("/to-other", hop(302, other.address() + "/there"));
    server.put("/to-file", hop(302, "file:///etc/passwd"));
    server.put("/to-nothing", hop(302, "http://127.0.0.1:1/"));
    for (int i = 0; i < 6; ++i)
        server.put(
            "/" + std::to_string(i), hop(307, i == 0 ? "/page" : "/" + std::to_string(i - 1)));
    struct Case {
        const char* path;
        const char* expected; // the body, or nothing
        Kind error = Kind::failed;
    };
    const Case cases[] = {
        {"/0", "arrived"},
        {"/4", "arrived"}, // five of them
        {"/5", nullptr, Kind::failed},
        {"/loop", nullptr, Kind::failed},
        {"/to-other", "arrived"},
        {"/to-file", nullptr, Kind::badAddress},
        {"/to-nothing", nullptr, Kind::unreachable},
    };
    for (const auto& c : cases) {
        auto asked = request(c.path);
        asked.followsRedirects = true;
        asked.headers = {{"Authorization", "secret"}, {"X-Kept", "yes"}};
        Keeper keeper;
        const auto answer = send(asked, &keeper);
        EXPECT_EQ(keeper.body, c.expected ? c.expected : "") << c.path << text(answer);
        EXPECT_EQ(keeper.heads, c.expected ? 1 : 0) << c.path;
        const bool isRight = c.expected || (!answer && answer.error().kind == c.error);
        EXPECT_TRUE(isRight) << c.path << text(answer);
    }
    EXPECT_FALSE(other.requests().at(0).headers.contains("authorization"));
    EXPECT_EQ(other.requests().at(0).headers.at("x-kept"), "yes");

    server.put("/post-302", hop(302, "/page"));
    server.put("/post-307", hop(307, "/page"));
    for (const auto* path : {"/post-302", "/post-307"}) {
        auto post = request(path);
        post.method = HttpRequest::Method::post;
        post.body = "words";
        post.followsRedirects = true;
        EXPECT_EQ(text(send(post)), "200");
    }
    const auto asked = server.requests();
    EXPECT_EQ(asked.at(asked.size() - 3).method, "GET");
    EXPECT_EQ(asked.back().method, "POST");
    EXPECT_EQ(asked.back().body, "words");
}

TEST_F(CurlHttpClientTest, aCertificateCountsWhenItIsTrusted) {
    TemporaryFolder folder;
    const auto certificate = TestCertificate::make();
    TestHttpServer secure(certificate);
    secure.put("/", Page{.body = "secret"});
    secure.put("/down", Page{.status = 302, .headers = {{"Location", server.address() + "/page"}}});
    server.put("/up", Page{.status = 302, .headers = {{"Location", secure.address() + "/"}}});
    server.put(
        "/up-and-down", Page{.status = 302, .headers = {{"Location", secure.address() + "/down"}}});
    server.put("/page", Page{.body = "open"});
    auto open = request("/page");
    open.url.replace(0, 4, "https");
    EXPECT_EQ(send(open).error().kind, Kind::unreachable) << "nobody there speaks https";
    auto asked = request("/");
    asked.url = secure.address() + "/";
    asked.followsRedirects = true;
    EXPECT_EQ(send(asked).error().kind, Kind::insecure) << "nobody vouches for it";

    const auto file = folder.path / "trusted.pem";
    std::ofstream(file) << certificate.certificate;
    client.emplace(loop, CurlHttpClient::Options{file.string()});
    const auto answer = send(asked);
    ASSERT_TRUE(answer) << text(answer);
    EXPECT_EQ(answer->body, "secret");
    asked.url = server.address() + "/up";
    EXPECT_EQ(text(send(asked)), "200");
    for (const auto& url : {secure.address() + "/down", server.address() + "/up-and-down"}) {
        asked.url = url;
        EXPECT_EQ(send(asked).error().kind, Kind::insecure) << url;
    }
    for (const auto& seen : server.requests()) EXPECT_NE(seen.target, "/page");
    asked.url = "https://localhost" + secure.address().substr(17) + "/";
    EXPECT_EQ(send(asked).error().kind, Kind::insecure) << "another name";
}

TEST_F(CurlHttpClientTest, aProxyIsUsedButNotForThisMachine) {
    TestHttpServer proxy;
    proxy.put("http://somewhere.invalid/page", Page{.body = "through the proxy"});
    server.put("/page", Page{.body = "direct"});
    ::setenv("http_proxy", proxy.address().c_str(), 1);
    HttpRequest asked;
    asked.url = "http://somewhere.invalid/page";
    const auto answer = send(asked);
    ASSERT_TRUE(answer) << text(answer);
    EXPECT_EQ(answer->body, "through the proxy");
    EXPECT_EQ(text(send(request("/page"))), "200");
    EXPECT_EQ(proxy.requests().size(), 1U);
    ::unsetenv("http_proxy");
}

TEST_F(CurlHttpClientTest, aReceiverGetsTheBodyAndMayRefuseIt) {
    const std::string body(300'000, 'b');
    server.put("/", Page{.body = body});
    server.put("/empty", Page{});
    Keeper keeper;
    auto answer = send(request("/"), &keeper);
    ASSERT_TRUE(answer) << text(answer);
    EXPECT_EQ(keeper.body, body);
    EXPECT_EQ(answer->body, "");
    EXPECT_EQ(keeper.heads, 1);
    Keeper ofNothing;
    EXPECT_EQ(text(send(request("/empty"), &ofNothing)), "200");
    EXPECT_EQ(ofNothing.heads, 1);
    Keeper refuser;
    refuser.refusesHead = true;
    EXPECT_EQ(send(request("/"), &refuser).error().kind, Kind::refused);
    EXPECT_EQ(refuser.bytes, 0U);
    Keeper half;
    half.refusesAfter = 10;
    EXPECT_EQ(send(request("/"), &half).error().kind, Kind::refused);
    EXPECT_LT(half.bytes, body.size());
    Keeper tooLarge;
    auto small = request("/");
    small.largestBody = 10;
    EXPECT_EQ(send(small, &tooLarge).error().kind, Kind::tooLarge);
    EXPECT_EQ(tooLarge.heads, 0) << "its length was announced";
}

TEST_F(CurlHttpClientTest, severalAtOnceDoNotHoldEachOtherUp) {
    server.put("/hangs", Page{.hangsBeforeHead = true});
    server.put("/page", Page{.body = "quick"});
    std::vector<std::optional<Answer>> answers(5);
    std::vector<TaskHandle> tasks;
    for (auto& answer : answers) {
        auto asked = request(tasks.size() < 4 ? "/hangs" : "/page");
        asked.stallDeadline = 60; // beyond this test: only a stop ends them
        tasks.push_back(startTask(loop, keepAnswer(client->send(asked, nullptr), answer)));
    }
    EXPECT_TRUE(waitUntil([&] { return answers[4].has_value() && server.requests().size() == 5; }));
    EXPECT_TRUE(*answers[4]);
    EXPECT_FALSE(answers[0]);
    tasks.clear();
    EXPECT_TRUE(waitUntil([&] { return server.openConnections() <= 1; })) << "given up";
}

TEST_F(CurlHttpClientTest, nothingIsCalledOnceTheTaskIsStopped) {
    server.put("/", Page{.body = std::string(1000, 'x'), .isEndless = true});
    for (int round = 0; round < 20; ++round) {
        auto keeper = std::make_unique<Keeper>();
        auto asked = request("/");
        asked.largestBody = ~std::uint64_t{0};
        std::optional<Answer> answer;
        auto task = startTask(loop, keepAnswer(client->send(asked, keeper.get()), answer));
        ASSERT_TRUE(waitUntil([&] { return keeper->bytes > 0; }));
        task.reset();
        keeper.reset(); // a later call would be found by the address sanitizer
        EXPECT_FALSE(answer);
    }
    EXPECT_TRUE(waitUntil([&] { return server.openConnections() == 0; }));
}

TEST_F(CurlHttpClientTest, aClientThatGoesEndsWhatRuns) {
    server.put("/", Page{.body = std::string(1000, 'x'), .isEndless = true});
    server.put("/hangs", Page{.hangsBeforeHead = true});
    auto keeper = std::make_unique<Keeper>();
    auto asked = request("/");
    asked.largestBody = ~std::uint64_t{0};
    std::optional<Answer> first;
    std::optional<Answer> second;
    std::optional<Answer> third;
    const auto one = startTask(loop, keepAnswer(client->send(asked, keeper.get()), first));
    const auto two = startTask(loop, keepAnswer(client->send(request("/hangs"), nullptr), second));
    auto late = client->send(request("/"), nullptr); // not begun yet
    ASSERT_TRUE(waitUntil([&] { return keeper->bytes > 0 && server.requests().size() == 2; }));
    client.reset();
    keeper.reset();
    const auto three = startTask(loop, keepAnswer(std::move(late), third));
    EXPECT_TRUE(waitUntil([&] { return first && second && third; })) << "no task is left waiting";
    for (const auto* answer : {&first, &second, &third})
        EXPECT_TRUE(*answer && !**answer && (*answer)->error().kind == Kind::failed);
    EXPECT_TRUE(waitUntil([&] { return server.openConnections() == 0; }));
}

} // namespace nimbe
