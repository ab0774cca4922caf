#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <curl/curl.h>
#include <functional>
#include <memory>
#include <vector>

#include <benchmark/benchmark.h>

#include "Fakes/FakeLogSink.h"
#include "Fakes/MemoryUserDefaults.h"
#include "Foundation/RunLoop.h"
#include "NimbeEngine/Cleanup/OnDeviceProcessor.h"
#include "NimbeEngine/Cleanup/TextCleaner.h"
#include "NimbeEngine/Language/LanguageModelSettings.h"
#include "PlatformHttp/CurlHttpClient.h"
#include "PlatformLanguageModel/ChatCompletionsModel.h"
#include "Support/TestModelServer.h"
#include "Table.h"
#include "Timings.h"

namespace nimbe {
namespace {

constexpr std::string_view dictation =
    "um so we met the builders on Tuesday morning and, uh, went through the whole house with them "
    "room by room new line the kitchen can stay where it is, but the pipes under the floor have "
    "to go, and so does the old boiler.";

constexpr std::size_t rounds = 61;

double now() {
    using Clock = std::chrono::steady_clock;
    return std::chrono::duration<double>(Clock::now().time_since_epoch()).count();
}

double quantile(std::vector<double> times, double part) {
    std::sort(times.begin(), times.end());
    const auto last = static_cast<double>(times.size() - 1);
    return times[static_cast<std::size_t>(part * last)];
}

struct Call {
    double first = 0; // to the first bytes of text, in seconds
    double whole = 0;
};

/// The same request by the library alone, on a connection of its own.
class PlainCurl {
public:
    PlainCurl(std::string url, std::string body) : url(std::move(url)), body(std::move(body)) {}

    [[nodiscard]] Call send() const {
        Receiver receiver;
        const std::unique_ptr<CURL, void (*)(CURL*)> handle(curl_easy_init(), curl_easy_cleanup);
        curl_slist* headers = curl_slist_append(nullptr, "Content-Type: application/json");
        headers = curl_slist_append(headers, "Expect:");
        curl_easy_setopt(handle.get(), CURLOPT_URL, url.c_str());
        curl_easy_setopt(handle.get(), CURLOPT_PROXY, "");
        curl_easy_setopt(handle.get(), CURLOPT_HTTPHEADER, headers);
        curl_easy_setopt(handle.get(), CURLOPT_POSTFIELDS, body.c_str());
        curl_easy_setopt(handle.get(), CURLOPT_WRITEFUNCTION, &take);
        curl_easy_setopt(handle.get(), CURLOPT_WRITEDATA, &receiver);
        const double begin = now();
        const auto code = curl_easy_perform(handle.get());
        const double end = now();
        curl_slist_free_all(headers);
        if (code != CURLE_OK) std::fprintf(stderr, "curl: %s\n", curl_easy_strerror(code));
        return {receiver.first - begin, end - begin};
    }

private:
    struct Receiver {
        std::string bytes;
        double first = 0;
    };
    std::string url, body;

    static std::size_t take(char* bytes, std::size_t /*one*/, std::size_t size, void* receiver) {
        auto& received = *static_cast<Receiver*>(receiver);
        received.bytes.append(bytes, size);
        // The field, as it stands in the text of an event: what follows is to be shown.
        if (received.first == 0 && received.bytes.find(R"(\"text\":)") != std::string::npos)
            received.first = now();
        return size;
    }
};

/// Nimbe's own way to the same server.
struct Asking {
    RunLoop loop;
    FakeLogSink log;
    MemoryUserDefaults defaults;
    CurlHttpClient http{loop};
    ChatCompletionsModel model{loop, http, defaults, log};
    OnDeviceProcessor processor{loop, model, defaults};

    explicit Asking(const std::string& address) {
        (void)defaults.set(LanguageModelSettings::address, address);
        loop.runUntilDone(check());
    }

    Task<void> check() {
        auto checking = model.check();
        (void)co_await checking;
    }
    Task<void> ask(Call& call) {
        LanguageModel::Request request{TextCleaner::instructions(DictationMode::notes),
            std::string(dictation), TextCleaner::cleaned()};
        const double begin = now();
        double first = 0;
        const LanguageModel::OnPartial onPartial = [&first](const Json&) {
            if (first == 0) first = now();
            return true;
        };
        auto asking = model.respond(std::move(request), onPartial);
        const auto answer = co_await asking;
        const double end = now();
        if (!answer) std::fprintf(stderr, "model: %s\n", answer.error().detail.c_str());
        call = {(first == 0 ? end : first) - begin, end - begin};
    }
    [[nodiscard]] Call send() {
        Call call;
        loop.runUntilDone(ask(call));
        return call;
    }
    Task<void> process(double& time) {
        const double begin = now();
        auto processing = processor.process(std::string(dictation), DictationMode::notes);
        const auto text = co_await processing;
        benchmark::DoNotOptimize(text);
        time = now() - begin;
    }
};

std::string milliseconds(double seconds) {
    return (seconds < 0 ? "-" : "") + figure(std::abs(seconds) * 1000) + " ms";
}

void benchmarkCalls(const char* title, Seconds pause) {
    TestModelServer::Options options;
    options.pause = pause;
    options.pieceLength = 16; // the first one has some text behind the field's name
    TestModelServer server(options);
    Asking ours(server.address());
    (void)ours.send(); // what is asked for, learned from the server
    const auto requests = server.http().requests();
    const PlainCurl plain(server.address() + "/v1/chat/completions", requests.back().body);
    std::vector<double> firsts[2], wholes[2];
    for (std::size_t i = 0; i < rounds; ++i) {
        const Call calls[2] = {plain.send(), ours.send()};
        for (std::size_t who = 0; who < 2; ++who) {
            firsts[who].push_back(calls[who].first);
            wholes[who].push_back(calls[who].whole);
        }
    }
    std::printf("\n%s\n\n", title);
    Table table({"", "curl", "Nimbe", "more by"});
    const auto row = [&](const char* name, const std::vector<double>* times, double part) {
        const double plainTime = quantile(times[0], part);
        const double ourTime = quantile(times[1], part);
        table.add({name, milliseconds(plainTime), milliseconds(ourTime),
            milliseconds(ourTime - plainTime)});
    };
    row("First text, median", firsts, 0.5);
    row("First text, 95th percentile", firsts, 0.95);
    row("Whole answer, median", wholes, 0.5);
    row("Whole answer, 95th percentile", wholes, 0.95);
    table.print();
}

/// What AI cleanup costs a dictation where nobody answers.
void benchmarkNoServer() {
    Asking ours("http://127.0.0.1:9"); // discard: nobody listens there
    constexpr std::size_t many = 2001;
    std::vector<double> plain, processed, prewarmed;
    for (std::size_t i = 0; i < many; ++i) {
        double begin = now();
        const auto text = TextCleaner::fallback(dictation);
        plain.push_back(now() - begin);
        benchmark::DoNotOptimize(text);
        double time = 0;
        ours.loop.runUntilDone(ours.process(time));
        processed.push_back(time);
        begin = now();
        ours.processor.prewarm(DictationMode::notes);
        prewarmed.push_back(now() - begin);
    }
    std::printf("\nA dictation of %zu characters with AI cleanup on and no server, in us\n\n",
        dictation.size());
    Table table({"", "median", "99th percentile"});
    const auto row = [&](const char* name, const std::vector<double>& times) {
        table.add({name, figure(quantile(times, 0.5) * 1e6), figure(quantile(times, 0.99) * 1e6)});
    };
    row("The rules alone", plain);
    row("The same through the AI cleanup", processed);
    row("At the press: the server is looked for, in the background", prewarmed);
    table.print();
}

} // namespace

void benchmarkLanguage() {
    benchmarkCalls("A server that answers at once", 0);
    benchmarkCalls("A server that takes 20 ms for each piece of 16 characters", 0.02);
    benchmarkNoServer();
}

} // namespace nimbe
