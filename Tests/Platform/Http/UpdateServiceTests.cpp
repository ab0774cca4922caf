#include <cstdlib>

#include <gtest/gtest.h>

#include "Fakes/FakeDocumentOpener.h"
#include "Fakes/FakeLogSink.h"
#include "Fakes/MemoryUserDefaults.h"
#include "Foundation/RunLoop.h"
#include "NimbeApp/UpdateChecker.h"
#include "PlatformHttp/CurlHttpClient.h"
#include "Support/TestHttpServer.h"

namespace nimbe {

/// The checker over the web, as far as its fake cannot tell.
TEST(UpdateService, aRealServerIsAskedAndNobodyItPointsTo) {
    for (const char* name : {"http_proxy", "https_proxy", "all_proxy", "no_proxy"})
        ::unsetenv(name);
    constexpr auto path = "/api/mac/latest";
    constexpr auto manifest = R"({"version":"1.1","build":"101","notes":"né"})";
    RunLoop loop;
    TestHttpServer server;
    TestHttpServer elsewhere;
    elsewhere.put(path, {manifest});
    CurlHttpClient http(loop);
    MemoryUserDefaults defaults;
    FakeDocumentOpener opener;
    FakeLogSink log;
    const auto checker = UpdateChecker::create({loop, http, defaults, opener, log, {"1", "100"}});
    ASSERT_TRUE(defaults.set(UpdateChecker::serviceAddress, server.address() + "/"));

    struct Case {
        const char* why;
        TestHttpServer::Page page;
        const char* line; // of the log, in which a check ends
        const char* announced;
    };
    const Case cases[] = {
        {"pointed elsewhere", {"", 302, {{"Location", elsewhere.address() + path}}}, "status 302",
            ""},
        {"without end", {.body = std::string(1000, ' '), .isEndless = true}, "request failed", ""},
        {"broken off", {.body = manifest, .breaksOffAfter = 5}, "request failed", ""},
        {"a manifest", {manifest}, "there is a newer build", "101"},
    };
    for (const auto& c : cases) {
        server.put(path, c.page);
        log.lines.clear();
        checker->check();
        for (int turn = 0; turn < 2000 && log.lines.empty(); ++turn) {
            const Token wake = loop.schedule(0.005, [&] { loop.stop(); });
            loop.run();
        }
        EXPECT_NE(log.all().find(c.line), std::string::npos) << c.why << log.all();
        const auto& available = checker->_available.get();
        EXPECT_EQ(available ? available->build : "", c.announced) << c.why;
    }
    EXPECT_TRUE(elsewhere.requests().empty());
}

} // namespace nimbe
