#include "PlatformHttp/CurlWorker.h"

#include <algorithm>
#include <csignal>
#include <curl/curl.h>
#include <utility>

#include "PlatformHttp/CurlTransfer.h"

namespace nimbe {
namespace {

constexpr int longestWait = 60'000; // milliseconds; a call of wake() ends it

const char* const clientHasEnded = "the client has ended";

/// A thread that leaves all signals to the others: also SIGPIPE, which the library
/// does not keep off when it is told to leave signals alone.
template <typename Body>
std::thread quietThread(Body body) {
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    std::thread thread(std::move(body));
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return thread;
}

void* initializedMulti() {
    static const CURLcode isReady = curl_global_init(CURL_GLOBAL_DEFAULT);
    return isReady == CURLE_OK ? curl_multi_init() : nullptr;
}

} // namespace

void CurlWorker::CleanUp::operator()(void* multi) const {
    curl_multi_cleanup(multi);
}

CurlWorker::CurlWorker() : multi(initializedMulti()) {}

CurlWorker::~CurlWorker() {
    stop();
}

void CurlWorker::add(std::shared_ptr<CurlTransfer> transfer) {
    if (!multi) return transfer->end(failure(HttpError{HttpError::Kind::failed, "no library"}));
    {
        const std::lock_guard lock(mutex);
        if (isStopping)
            return transfer->end(failure(HttpError{HttpError::Kind::failed, clientHasEnded}));
        added.push_back(std::move(transfer));
    }
    if (!thread.joinable()) thread = quietThread([this] { run(); });
    wake();
}

void CurlWorker::wake() {
    if (multi) curl_multi_wakeup(multi.get());
}

void CurlWorker::stop() {
    {
        const std::lock_guard lock(mutex);
        isStopping = true;
    }
    wake();
    if (thread.joinable()) thread.join();
}

void CurlWorker::run() {
    while (takeAdded()) {
        endStopped();
        int stillRunning = 0;
        curl_multi_perform(multi.get(), &stillRunning);
        endDone();
        endLate();
        curl_multi_poll(multi.get(), nullptr, 0, millisecondsToNextDeadline(), nullptr);
    }
    while (!running.empty()) {
        const auto transfer = running.back();
        remove(*transfer);
        transfer->end(failure(HttpError{HttpError::Kind::failed, clientHasEnded}));
    }
}

/// False when it is time to end.
bool CurlWorker::takeAdded() {
    std::vector<std::shared_ptr<CurlTransfer>> taken;
    bool isEnding = false;
    {
        const std::lock_guard lock(mutex);
        taken.swap(added);
        isEnding = isStopping;
    }
    for (const auto& transfer : taken) {
        if (isEnding)
            transfer->end(failure(HttpError{HttpError::Kind::failed, clientHasEnded}));
        else
            begin(transfer);
    }
    return !isEnding;
}

void CurlWorker::begin(const std::shared_ptr<CurlTransfer>& transfer) {
    if (auto error = transfer->prepare()) return transfer->end(failure(std::move(*error)));
    if (curl_multi_add_handle(multi.get(), transfer->handle()) != CURLM_OK)
        return transfer->end(failure(HttpError{HttpError::Kind::failed, "adding a request"}));
    running.push_back(transfer);
}

void CurlWorker::endStopped() {
    for (const auto& transfer : std::vector(running))
        if (transfer->isStopped()) remove(*transfer);
}

void CurlWorker::endLate() {
    const auto now = CurlTransfer::Clock::now();
    for (const auto& transfer : std::vector(running)) {
        if (transfer->due() > now) continue;
        remove(*transfer);
        transfer->end(failure(HttpError{HttpError::Kind::timedOut, transfer->lateness()}));
    }
}

void CurlWorker::endDone() {
    int left = 0;
    while (const CURLMsg* message = curl_multi_info_read(multi.get(), &left)) {
        if (message->msg != CURLMSG_DONE) continue;
        const auto code = message->data.result; // the message dies with the removal
        const auto isIts = [&](const auto& transfer) {
            return transfer->handle() == message->easy_handle;
        };
        const auto transfer = *std::find_if(running.begin(), running.end(), isIts);
        remove(*transfer);
        if (auto answer = transfer->hopEnded(code))
            transfer->end(std::move(*answer));
        else
            begin(transfer); // the next hop
    }
}

void CurlWorker::remove(const CurlTransfer& transfer) {
    curl_multi_remove_handle(multi.get(), transfer.handle());
    std::erase_if(running, [&](const auto& other) { return other.get() == &transfer; });
}

int CurlWorker::millisecondsToNextDeadline() const {
    auto next = CurlTransfer::Clock::now() + std::chrono::milliseconds(longestWait);
    for (const auto& transfer : running) next = std::min(next, transfer->due());
    const auto wait =
        std::chrono::ceil<std::chrono::milliseconds>(next - CurlTransfer::Clock::now());
    return static_cast<int>(std::max<std::int64_t>(wait.count(), 0));
}

} // namespace nimbe
