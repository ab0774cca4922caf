#include "PlatformHttp/CurlHttpClient.h"

#include <utility>

#include "PlatformHttp/CurlTransfer.h"
#include "PlatformHttp/CurlWorker.h"

namespace nimbe {
namespace {

using Answer = CurlTransfer::Answer;

/// Gives a request up when its task goes.
class UnderWay {
public:
    UnderWay(std::shared_ptr<CurlWorker> worker, std::shared_ptr<CurlTransfer> transfer)
        : worker(std::move(worker)), transfer(std::move(transfer)) {
        this->worker->add(this->transfer);
    }
    ~UnderWay() {
        transfer->stop();
        worker->wake();
    }
    UnderWay(const UnderWay&) = delete;
    UnderWay& operator=(const UnderWay&) = delete;

private:
    std::shared_ptr<CurlWorker> worker;
    std::shared_ptr<CurlTransfer> transfer;
};

/// Posts the answer to the main thread.
CurlTransfer::Handler poster(MainActor& actor, const Completion<Answer>& completion) {
    return [&actor, completion](Answer answer) {
        const auto shared = std::make_shared<Answer>(std::move(answer));
        actor.post([completion, shared] { completion.complete(std::move(*shared)); });
    };
}

Task<Answer> answerOf(MainActor& actor, std::shared_ptr<CurlWorker> worker, HttpRequest request,
    HttpClient::Receiver* receiver, std::string certificates) {
    Completion<Answer> completion(actor);
    const UnderWay underWay(
        std::move(worker), std::make_shared<CurlTransfer>(std::move(request), receiver,
                               std::move(certificates), poster(actor, completion)));
    Answer answer = co_await completion;
    co_return answer;
}

} // namespace

CurlHttpClient::CurlHttpClient(MainActor& actor, Options options)
    : actor(actor), options(std::move(options)), worker(std::make_shared<CurlWorker>()) {}

CurlHttpClient::~CurlHttpClient() {
    worker->stop();
}

Task<Answer> CurlHttpClient::send(HttpRequest request, Receiver* receiver) {
    return answerOf(actor, worker, std::move(request), receiver, options.certificates);
}

} // namespace nimbe
