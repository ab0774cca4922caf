#include "Fakes/FakeHttpClient.h"
#include "ModelsFixture.h"

namespace nimbe {
namespace {

namespace fs = std::filesystem;

using SpeechModelDownloadTest = ModelsFixture;

constexpr std::size_t decoder = 1; // the file with which the server misbehaves
constexpr std::size_t size = 700'001;

/// How much of the file is there at first.
enum class Before { nothing, aPart, aWrongPart, all, allWrong, tooMuch };

} // namespace

TEST_F(SpeechModelDownloadTest, eachMisbehaviourHasItsErrorAndLosesNothingGood) {
    const auto content = test.contents[decoder];
    const auto wrong = std::string(size, 'w');
    TestHttpServer other;
    other.put("/elsewhere", goodPage(decoder));
    const auto to = [](const std::string& place) {
        return std::vector<TestHttpServer::Header>{{"Location", place}};
    };
    struct Case {
        const char* why;
        Before before;
        Page page;
        std::optional<Kind> expected; // absent: installed
        std::uintmax_t left = 0;      // bytes, to go on with
    };
    using enum Before;
    const Case cases[] = {
        {"all is well", nothing, {.body = content}, {}},
        {"no length is told", nothing, {.body = content, .contentLength = ""}, {}},
        {"breaks off", nothing, {.body = content, .breaksOffAfter = 400'000}, Kind::brokenOff,
            400'000},
        {"breaks off at once", nothing, {.body = content, .breaksOffAfter = 0}, Kind::brokenOff},
        {"breaks off one byte before the end", nothing,
            {.body = content, .breaksOffAfter = size - 1}, Kind::brokenOff, size - 1},
        {"no answer", nothing, {.hangsBeforeHead = true}, Kind::unreachable},
        {"hangs in the middle", nothing, {.body = content, .hangsAfter = 5'000}, Kind::brokenOff,
            5'000},
        {"hangs after the head", nothing, {.body = content, .hangsAfter = 0}, Kind::unreachable},
        {"announces one byte less", nothing, {.body = content, .contentLength = "700000"},
            Kind::wrongContent},
        {"announces one byte more", nothing, {.body = content, .contentLength = "700002"},
            Kind::wrongContent},
        {"sends one byte more", nothing, {.body = content + "x", .contentLength = ""},
            Kind::wrongContent},
        {"sends no end", nothing, {.body = content, .isEndless = true}, Kind::wrongContent},
        {"ends early", nothing, {.body = content.substr(0, 600'000), .contentLength = ""},
            Kind::brokenOff},
        {"a page of a hotel without a length", aPart,
            {.body = "Log in", .takesRanges = false, .contentLength = ""}, Kind::wrongContent,
            400'000},
        {"other bytes", nothing, {.body = wrong}, Kind::wrongContent},
        {"404", nothing, {.body = "no", .status = 404}, Kind::notThere},
        {"410", nothing, {.body = "no", .status = 410}, Kind::notThere},
        {"403", nothing, {.body = "no", .status = 403}, Kind::refused},
        {"416 to a request for all", nothing, {.status = 416}, Kind::refused},
        {"500 with a part there", aPart, {.body = "no", .status = 500}, Kind::refused, 400'000},
        {"a redirect to itself", nothing, {.status = 302, .headers = to(path(decoder))},
            Kind::failed},
        {"a redirect to another server", aPart,
            {.status = 302, .headers = to(other.address() + "/elsewhere")}, {}},
        {"goes on", aPart, {.body = content}, {}},
        {"breaks off again", aPart, {.body = content, .breaksOffAfter = 1'000}, Kind::brokenOff,
            401'000},
        {"knows no ranges", aPart, {.body = content, .takesRanges = false}, {}},
        {"a page of a hotel", aPart, {.body = "Log in", .takesRanges = false}, Kind::wrongContent,
            400'000},
        {"416 to the range, then all", aPart, {.status = 416}, Kind::refused},
        {"another range than asked for", aPart,
            {.body = content, .contentRange = "bytes 0-700000/700001"}, {}},
        {"a range of nothing known", aPart, {.body = content, .contentRange = "lines 1-2/3"}, {}},
        {"a range beyond the end", aPart,
            {.body = content, .contentRange = "bytes 400000-700001/*"}, {}},
        {"a range without a total", aPart,
            {.body = content, .contentRange = "bytes 400000-700000/*"}, {}},
        {"a range of another file", aPart,
            {.body = content, .contentRange = "bytes 400000-700000/700002"}, Kind::wrongContent,
            400'000},
        {"a part of the range", aPart,
            {.body = content.substr(400'000, 1'000),
                .status = 206,
                .contentRange = "bytes 400000-400999/700001"},
            Kind::brokenOff, 401'000},
        {"a range that nobody asked for", nothing,
            {.body = content, .status = 206, .contentRange = "bytes 0-700000/700001"}, {}},
        {"another beginning", aWrongPart, {.body = content}, Kind::wrongContent},
        {"more than all is there", tooMuch, {.body = content}, {}},
        {"all is there", all, {.status = 500}, {}},
        {"all is there and wrong", allWrong, {.body = content}, {}},
        {"all is there and wrong, as on the server", allWrong, {.body = wrong}, Kind::wrongContent},
    };
    for (const auto& c : cases) {
        fs::remove_all(place);
        fs::remove_all(cache);
        const std::string before[] = {"", content.substr(0, 400'000), wrong.substr(0, 400'000),
            content, wrong, content + "x"};
        if (c.before != nothing)
            writeFile(partial(decoder), before[static_cast<std::size_t>(c.before)]);
        server.put(path(decoder), c.page);
        const auto outcome = install();
        const bool isRight =
            c.expected ? !outcome && outcome.error().kind == *c.expected : outcome.has_value();
        EXPECT_TRUE(isRight) << c.why << ": " << text(outcome);
        if (c.expected) {
            EXPECT_FALSE(fs::exists(place)) << c.why;
            std::error_code error;
            const auto left = fs::file_size(partial(decoder), error);
            EXPECT_EQ(error ? 0 : left, c.left) << c.why;
            EXPECT_EQ(fs::file_size(partial(0)), 300'000U) << c.why << ": the file before it";
        } else {
            expectWhole(c.why);
        }
        server.put(path(decoder), goodPage(decoder));
        const auto next = install();
        EXPECT_TRUE(next) << c.why << ", then all is well: " << text(next);
        expectWhole(c.why);
    }
}

TEST_F(SpeechModelDownloadTest, whatIsThereIsNotAskedForAgain) {
    server.put(path(decoder), Page{.body = test.contents[decoder], .breaksOffAfter = 400'000});
    EXPECT_FALSE(install());
    server.put(path(decoder), goodPage(decoder));
    server.forgetRequests();
    EXPECT_TRUE(install(server.address() + "//")) << "slashes at the end of an address";
    const auto asked = server.requests();
    ASSERT_EQ(asked.size(), 3U);
    EXPECT_EQ(asked[0].target, path(decoder));
    EXPECT_EQ(asked[0].headers.at("range"), "bytes=400000-");
    EXPECT_FALSE(asked[1].headers.contains("range"));
    expectWhole("resumed");
    EXPECT_TRUE(install("")) << "it is installed: no address is needed";
    EXPECT_EQ(server.requests().size(), 3U);
}

TEST_F(SpeechModelDownloadTest, anotherVersionOfTheFileIsNotGoneOnWith) {
    auto old = partial(decoder);
    old.replace_filename(std::string(model.files[decoder].name) + ".0123456789ab.partial");
    writeFile(old, "of another version");
    EXPECT_TRUE(install());
    expectWhole("nothing is left of it either");
}

TEST_F(SpeechModelDownloadTest, errorsOfTheClientAreTold) {
    using Http = HttpError::Kind;
    struct Case {
        Http error;
        Kind expected;
    };
    const Case cases[] = {
        {Http::badAddress, Kind::badAddress},
        {Http::unreachable, Kind::unreachable},
        {Http::insecure, Kind::insecure},
        {Http::timedOut, Kind::unreachable},
        {Http::brokenOff, Kind::brokenOff},
        {Http::tooLarge, Kind::wrongContent},
        {Http::failed, Kind::failed},
    };
    FakeHttpClient fake;
    makeStore(fake);
    for (const auto& c : cases) {
        fake.answers.emplace_back(tl::unexpect, HttpError{c.error, "why it is so"});
        const auto outcome = install("https://models.example/nimbe");
        EXPECT_TRUE(!outcome && outcome.error().kind == c.expected) << text(outcome);
    }
    EXPECT_TRUE(log.has(LogLevel::error, "test not installed: why it is so")) << log.all();
    EXPECT_EQ(fake.asked[0].url, "https://models.example/nimbe" + path(0));
    EXPECT_TRUE(fake.asked[0].followsRedirects);
}

TEST_F(SpeechModelDownloadTest, anAddressIsLookedAtFirst) {
    FakeHttpClient fake;
    makeStore(fake);
    const struct {
        const char* address;
        Kind expected;
    } cases[] = {
        {"", Kind::noAddress},
        {"/", Kind::badAddress},
        {"models.example", Kind::badAddress},
        {"ftp://models.example", Kind::badAddress},
        {"file:///srv/models", Kind::badAddress},
        {"http://", Kind::badAddress},
        {"http:///", Kind::badAddress},
        {"https://models.example/a b", Kind::badAddress},
        {"https://models.example/?key=1", Kind::badAddress},
        {"https://models.example/#top", Kind::badAddress},
        {"https://models.example/\n", Kind::badAddress},
    };
    for (const auto& c : cases) {
        const auto outcome = install(c.address);
        EXPECT_TRUE(!outcome && outcome.error().kind == c.expected) << c.address;
    }
    EXPECT_TRUE(fake.asked.empty());
    EXPECT_FALSE(fs::exists(models)) << "nothing was made for it";
}

TEST_F(SpeechModelDownloadTest, progressCountsWhatWasThereAndEndsAtTheWhole) {
    writeFile(partial(decoder), test.contents[decoder].substr(0, 400'000));
    server.put(path(3), Page{.body = test.contents[3], .pause = 0.12});
    std::vector<std::pair<Seconds, Progress>> told;
    const auto start = loop.now();
    EXPECT_TRUE(install(server.address(),
        [&](Progress progress) { told.emplace_back(loop.now() - start, progress); }));
    ASSERT_GE(told.size(), 2U);
    EXPECT_GE(told.front().second.done, 400'000U);
    EXPECT_EQ(told.back().second.done, 1'020'002U);
    for (std::size_t i = 1; i < told.size(); ++i) {
        EXPECT_EQ(told[i].second.total, 1'020'002U);
        EXPECT_GT(told[i].second.done, told[i - 1].second.done);
    }
    EXPECT_LE(static_cast<double>(told.size()), 2 + told.back().first * 20) << "twenty a second";
}

} // namespace nimbe
