#include "NimbeEngine/Transform/NoteEditSession.h"

#include <algorithm>
#include <utility>

#include "Foundation/Text.h"
#include "NimbeEngine/Text/BulletReflow.h"

namespace nimbe {
namespace {

constexpr std::size_t shortestLimit = 1200; // characters

bool isBlank(std::string_view text) {
    return text::trimmed(text).empty();
}

bool isBlank(const NoteTransform& transform) {
    const auto* const custom = std::get_if<CustomTransform>(&transform);
    return custom && isBlank(custom->instruction);
}

} // namespace

/// In the frame of whoever waits for a transform: stopped, it takes the transform along.
struct NoteEditSession::GiveUp {
    std::weak_ptr<NoteEditSession> session;
    RunNumber number;

    GiveUp(std::weak_ptr<NoteEditSession> session, RunNumber number)
        : session(std::move(session)), number(number) {}
    GiveUp(const GiveUp&) = delete;
    GiveUp& operator=(const GiveUp&) = delete;
    ~GiveUp() {
        const auto self = session.lock();
        if (self && self->activeRun == number) self->cancel();
    }
};

std::size_t NoteEditSession::longestAnswer(std::string_view text) {
    return std::max(4 * text::characterCount(text), shortestLimit);
}

std::shared_ptr<NoteEditSession> NoteEditSession::create(
    MainActor& actor, TransformProvider& provider, std::string text) {
    return std::shared_ptr<NoteEditSession>(new NoteEditSession(actor, provider, std::move(text)));
}

NoteEditSession::NoteEditSession(MainActor& actor, TransformProvider& provider, std::string text)
    : _text(std::move(text)), actor(actor), provider(provider), stored(_text.get()) {}

NoteEditSession::~NoteEditSession() {
    if (ended) ended->complete(true);
}

bool NoteEditSession::edit(std::string text) {
    if (activeRun != 0) return false;
    _text.set(std::move(text));
    return true;
}

bool NoteEditSession::start(NoteTransform transform) {
    return start(std::move(transform), std::nullopt);
}

bool NoteEditSession::start(NoteTransform transform, std::optional<Completion<bool>> whenEnded) {
    if (activeRun != 0 || isBlank(_text.get()) || isBlank(transform)) return false;
    const auto self = shared_from_this();
    const auto number = activeRun = ++lastRun;
    stored = _text.get();
    limit = longestAnswer(stored);
    lastError.reset();
    ended = std::move(whenEnded);
    _notice.set(std::nullopt);
    if (activeRun == number) _isTransforming.set(true);
    if (activeRun == number)
        running = startTask(actor, run(weak_from_this(), number, std::move(transform)));
    return true;
}

Task<bool> NoteEditSession::transform(
    std::weak_ptr<NoteEditSession> weakSelf, NoteTransform transform) {
    auto self = weakSelf.lock();
    if (!self) co_return false;
    const Completion<bool> over(self->actor);
    if (!self->start(std::move(transform), over)) co_return false;
    const GiveUp giveUp(weakSelf, self->lastRun);
    self.reset(); // never keep the session alive across a wait
    co_await over;
    co_return true;
}

void NoteEditSession::cancel() {
    if (activeRun == 0) return;
    const auto self = shared_from_this();
    running.reset();
    end(activeRun, stored, std::nullopt);
}

Task<void> NoteEditSession::run(
    std::weak_ptr<NoteEditSession> weakSelf, RunNumber number, NoteTransform transform) {
    auto self = weakSelf.lock();
    if (!self) co_return;
    auto receive = [weakSelf, number](const TransformProvider::Partial& partial) {
        const auto session = weakSelf.lock();
        return session && session->take(number, partial);
    };
    auto asking = ask(self->provider, std::move(transform), self->stored, std::move(receive));
    self.reset();

    auto answer = co_await asking;

    self = weakSelf.lock();
    if (self) self->finish(number, std::move(answer));
}

/// A provider that throws has failed like any other.
Task<NoteEditSession::Answer> NoteEditSession::ask(TransformProvider& provider,
    NoteTransform transform, std::string text, TransformProvider::OnPartial onPartial) {
    try {
        auto asking =
            provider.transform(std::move(transform), std::move(text), std::move(onPartial));
        auto answer = co_await asking;
        co_return answer;
    } catch (...) {
        co_return failure(
            LanguageModelError{LanguageModelError::Kind::brokenOff, "the transform threw"});
    }
}

bool NoteEditSession::take(RunNumber number, const TransformProvider::Partial& partial) {
    if (activeRun != number) return false;
    if (isTooLong(partial.text)) {
        end(number, stored, offTheRails);
        return false;
    }
    if (partial.isShown) _text.set(partial.text);
    return activeRun == number; // it may have been cancelled
}

void NoteEditSession::finish(RunNumber number, Answer answer) {
    if (activeRun != number) return;
    if (!answer) {
        lastError = std::move(answer.error());
        return end(number, stored, failed);
    }
    if (isTooLong(answer->text)) return end(number, stored, offTheRails);
    if (isBlank(answer->text)) return end(number, stored, cameBackEmpty);
    auto text = BulletReflow::reflow(answer->text);
    if (answer->isWhole) return end(number, std::move(text), std::nullopt);
    end(number, std::move(text), stoppedEarly);
}

/// Characters are counted only where the bytes leave it open: a long text comes in many
/// partial ones.
bool NoteEditSession::isTooLong(std::string_view answer) const {
    return answer.size() > limit && text::characterCount(answer) > limit;
}

/// Each change may bring a call of cancel(), which then has ended it all.
void NoteEditSession::end(
    RunNumber number, std::string text, std::optional<std::string_view> notice) {
    _text.set(std::move(text));
    if (activeRun != number) return;
    _notice.set(notice ? std::optional(std::string(*notice)) : std::nullopt);
    if (activeRun != number) return;
    activeRun = 0;
    const auto over = std::exchange(ended, std::nullopt);
    _isTransforming.set(false); // whoever sees this may begin the next
    if (over) over->complete(true);
}

} // namespace nimbe
