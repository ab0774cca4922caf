#include "NimbeApp/MacDictationController.h"

#include <algorithm>
#include <utility>

#include "Foundation/Text.h"
#include "NimbeApp/AppSettings.h"
#include "NimbeEngine/Cleanup/TextCleaner.h"
#include "NimbeEngine/Speech/AppleSpeechEngine.h"
#include "NimbeEngine/Text/DictationText.h"
#include "NimbeEngine/Text/TranscriptOutcome.h"

namespace nimbe {
namespace {

template <typename T>
Task<T> result(Completion<T> completion) {
    co_return co_await completion;
}

Task<void> pass(Task<std::string> text, Completion<std::optional<std::string>> to) {
    to.complete(co_await text);
}

} // namespace

std::shared_ptr<MacDictationController> MacDictationController::create(Platform platform) {
    return std::shared_ptr<MacDictationController>(new MacDictationController(std::move(platform)));
}

MacDictationController::MacDictationController(Platform given)
    : _localHistory(given.history.local()), platform(std::move(given)),
      log(platform.log, "dictation"), tasks(platform.actor) {}

void MacDictationController::start() {
    const auto weak = weak_from_this();
    takeMode();
    if (const auto front = platform.workspace.frontmostApplication()) appActivated(*front);
    activations = platform.workspace.observeActivation([weak](const auto& application) {
        if (const auto self = weak.lock()) self->appActivated(application);
    });
    engineProblems = platform.engine._errorMessage.observe([weak](const auto& message) {
        const auto self = weak.lock();
        if (self && message) self->microphoneFailed();
    });
    const auto down = [weak] {
        if (const auto self = weak.lock()) self->press();
    };
    const auto up = [weak] {
        if (const auto self = weak.lock()) self->release();
    };
    platform.shortcuts.handle(shortcutName, {down, up});
    shortcutChanges = platform.shortcuts.observeChanges([weak] {
        if (const auto self = weak.lock()) self->applyTrigger();
    });
    applyTrigger();
}

void MacDictationController::appActivated(const RunningApplication& application) {
    if (!platform.workspace.isThisApplication(application)) lastExternalApp = application;
}

void MacDictationController::takeMode() {
    const auto mode = dictationMode(platform.defaults.get(AppSettings::dictationMode));
    _mode.set(mode.value_or(DictationMode::messaging));
}

/// The Option key is a trigger exactly while no shortcut is recorded.
void MacDictationController::applyTrigger() {
    const bool isCustom = platform.shortcuts.shortcut(shortcutName).has_value();
    if (isCustom == !optionMonitor) return;
    // Of a trigger that goes no release will come.
    if (_interaction.get() == Interaction::holding) release();
    if (isCustom) {
        optionMonitor.reset();
        return;
    }
    const auto weak = weak_from_this();
    const auto onPress = [weak] {
        if (const auto self = weak.lock()) self->optionPress();
    };
    const auto onRelease = [weak] {
        if (const auto self = weak.lock()) self->release();
    };
    const auto onDoubleTap = [weak] {
        if (const auto self = weak.lock()) self->optionDoubleTap();
    };
    optionMonitor = OptionKeyMonitor::create(platform.optionKey, {onPress, onRelease, onDoubleTap});
    optionMonitor->start();
}

void MacDictationController::press() {
    if (_interaction.get() == Interaction::holding) return;
    if (_interaction.get() == Interaction::latched) {
        _interaction.set(std::nullopt);
        startFinish();
        return;
    }
    if (finishing) {
        // Whoever wants to speak on does not want to wait for a model.
        (void)skipPolishing();
        return;
    }
    if (pendingFinish.isRunning()) {
        pendingFinish.reset();
        _interaction.set(Interaction::latched);
        return;
    }
    beginRun();
}

void MacDictationController::beginRun() {
    ++runGeneration;
    runBeganAt = platform.actor.now();
    pressDownAt = runBeganAt;
    targetApp = platform.workspace.frontmostApplication();
    beganInOwnWindow = targetApp && platform.workspace.isThisApplication(*targetApp);
    if (beganInOwnWindow) targetApp = lastExternalApp;
    _targetName.set(targetApp ? targetApp->localizedName : std::nullopt);
    _interaction.set(Interaction::holding);
    takeMode();
    if (cleanupPath() == MacCleanupPolicy::Path::model) platform.prewarm(_mode.get());
    tasks.start(startRun(weak_from_this(), runGeneration));
}

/// The key went down the arm delay before its monitor told.
void MacDictationController::optionPress() {
    press();
    if (_interaction.get() == Interaction::holding)
        pressDownAt = platform.actor.now() - OptionHoldPolicy::armDelay;
}

void MacDictationController::release() {
    if (_interaction.get() != Interaction::holding) return;
    _interaction.set(std::nullopt);
    if (pressDownAt && platform.actor.now() - *pressDownAt >= holdThreshold) {
        startFinish();
        return;
    }
    const Seconds grace = std::max(platform.doubleClickInterval(), holdThreshold);
    pendingFinish = startTask(platform.actor, finishLater(weak_from_this(), platform.actor, grace));
}

void MacDictationController::optionDoubleTap() {
    if (_interaction.get() == Interaction::holding) return;
    if (_interaction.get() == Interaction::latched) {
        press();
        return;
    }
    if (finishing) return;
    optionPress();
    release();
    press();
}

bool MacDictationController::startLatched() {
    if (_interaction.get() || finishing) return false;
    press();
    if (_interaction.get()) _interaction.set(Interaction::latched);
    return true;
}

bool MacDictationController::stopRecording() {
    if (skipPolishing()) return true;
    if (!_interaction.get() && !pendingFinish.isRunning()) return false;
    pendingFinish.reset();
    _interaction.set(std::nullopt);
    startFinish();
    return true;
}

bool MacDictationController::cancelRecording() {
    if (!_interaction.get() && !pendingFinish.isRunning()) return false;
    ++runGeneration;
    pendingFinish.reset();
    _interaction.set(std::nullopt);
    platform.engine.cancel();
    _targetName.set(std::nullopt);
    hudToken.reset();
    _phase.set({Phase::Kind::idle});
    return true;
}

bool MacDictationController::wrapUp() {
    skipsCleanup = true;
    return stopRecording();
}

/// False: nothing is being polished.
bool MacDictationController::skipPolishing() {
    if (!polishing) return false;
    polishing->complete(std::nullopt);
    return true;
}

bool MacDictationController::toggle() {
    return _interaction.get() || pendingFinish.isRunning() ? stopRecording() : startLatched();
}

Task<void> MacDictationController::startRun(Weak weakSelf, std::int64_t generation) {
    auto self = weakSelf.lock();
    // Released, or cancelled, before its first step.
    if (!self || self->runGeneration != generation || self->finishing) co_return;
    self->_notice.set(std::nullopt);
    self->_phase.set({Phase::Kind::preparing});
    self->hudToken =
        self->platform.hud.present(self->targetApp ? self->targetApp->frame : std::nullopt);
    auto& engine = self->platform.engine;
    auto starting = engine.start(std::string(AppleSpeechEngine::defaultLocaleID));
    self.reset();

    co_await starting;

    self = weakSelf.lock();
    if (!self || self->runGeneration != generation || self->finishing) co_return;
    if (engine._isRunning.get()) {
        self->_phase.set({Phase::Kind::recording});
        co_return;
    }
    // The release that is still to come ends nothing.
    self->_interaction.set(std::nullopt);
    self->pendingFinish.reset();
    self->setUnavailable(engine._errorMessage.get().value_or(std::string(noMicrophone)));
}

/// While recording, what was said until then is all there will be.
void MacDictationController::microphoneFailed() {
    if (_phase.get().kind == Phase::Kind::recording) (void)stopRecording();
}

Task<void> MacDictationController::finishLater(Weak weakSelf, MainActor& actor, Seconds delay) {
    co_await sleep(actor, delay);
    if (const auto self = weakSelf.lock()) self->startFinish();
}

void MacDictationController::startFinish() {
    finishing = true;
    _phase.set({Phase::Kind::finalizing});
    tasks.start(finishRun(weak_from_this(), runGeneration));
}

/// What the recogniser makes of all that was said.
Task<MacDictationController::Dictated> MacDictationController::dictatedText(Weak weakSelf) {
    auto self = weakSelf.lock();
    if (!self) co_return {};
    auto& actor = self->platform.actor;
    auto& engine = self->platform.engine;
    // A model that is still being loaded would take longer than a stop waits.
    const Completion<bool> ready(actor);
    self->platform.whenReady([ready] { ready.complete(true); });
    const Token deadline = actor.schedule(modelPatience, [ready] { ready.complete(false); });
    self.reset();
    auto closing = engine.closeMicrophone();
    co_await closing;
    co_await ready;
    if (weakSelf.expired()) co_return {};
    auto stopping = engine.stop();
    auto raw = co_await stopping;
    auto finishing = finishedText(weakSelf, std::move(raw));
    co_return co_await finishing;
}

MacCleanupPolicy::Path MacDictationController::cleanupPath() const {
    const bool isEnabled = platform.defaults.get(MacCleanupPolicy::aiCleanupEnabled);
    return MacCleanupPolicy::path(isEnabled, _mode.get());
}

Task<MacDictationController::Dictated> MacDictationController::finishedText(
    Weak weakSelf, std::string raw) {
    auto self = weakSelf.lock();
    if (!self) co_return {};
    const auto path = self->cleanupPath();
    self.reset();
    switch (path) {
    case MacCleanupPolicy::Path::rules: co_return Dictated{finishedWithoutCleanup(raw)};
    case MacCleanupPolicy::Path::raw: co_return Dictated{std::move(raw)};
    case MacCleanupPolicy::Path::model: break;
    }
    auto polishing = polishedText(weakSelf, std::move(raw));
    co_return co_await polishing;
}

Task<MacDictationController::Dictated> MacDictationController::polishedText(
    Weak weakSelf, std::string raw) {
    auto self = weakSelf.lock();
    if (!self) co_return {};
    Dictated fallback{TextCleaner::fallback(raw)};
    if (fallback.text.empty() || self->skipsCleanup) co_return fallback;
    std::string spoken(text::trimmed(std::string_view(raw)));
    const Completion<std::optional<std::string>> first(self->platform.actor);
    auto processing = self->platform.processor.process(std::move(raw), self->_mode.get());
    const auto running = startTask(self->platform.actor, pass(std::move(processing), first));
    self->polishing = first;
    self->_isPolishing.set(true);
    self.reset();

    auto polished = co_await first;
    self = weakSelf.lock();
    if (!self) co_return {};
    self->polishing.reset();
    self->_isPolishing.set(false);
    if (!polished || *polished == fallback.text) co_return fallback;
    Dictated dictated{std::move(*polished)};
    if (dictated.text != spoken) dictated.spoken = std::move(spoken);
    co_return dictated;
}

Task<void> MacDictationController::finishRun(Weak weakSelf, std::int64_t generation) {
    auto speaking = dictatedText(weakSelf);
    auto dictated = co_await speaking;
    const auto outcome = TranscriptOutcome::classify(dictated.text);
    const auto* present = outcome.presentText();

    auto self = weakSelf.lock();
    if (!self) co_return;
    if (!present) {
        self->finishing = false;
        self->_targetName.set(std::nullopt);
        // Why nothing was heard, where that is known.
        const auto problem = self->platform.engine._errorMessage.get();
        self->setUnavailable(problem.value_or(std::string(nothingSaid)));
        co_return;
    }
    auto& actor = self->platform.actor;
    const Seconds textReady = actor.now();
    dictated.text = *present;
    const auto saving = self->save(dictated);
    self.reset();
    auto savingFirst = withDeadline(actor, savePatience, result(saving));
    (void)co_await savingFirst;
    const Seconds saved = actor.now();
    auto delivering = deliver(weakSelf, *present);
    const auto delivered = co_await delivering;
    auto savingThen = withDeadline(actor, savedPatience, result(saving));
    const auto notice = co_await savingThen;

    self = weakSelf.lock();
    if (!self) co_return;
    self->_notice.set(notice.value_or("Not saved in your history yet."));
    self->_lastInsert.set(delivered);
    auto outcomes = self->_outcomes.get();
    ++outcomes[delivered];
    self->_outcomes.set(std::move(outcomes));
    self->log.info("dictation outcome: %s len=%ld", delivered.c_str(),
        static_cast<long>(text::characterCount(*present)));
    const auto& stop = self->platform.engine.stopTimes();
    const auto& insert = self->platform.inserter.times;
    const auto milliseconds = [](Seconds from, Seconds to) {
        return std::max(0.0, (to - from) * 1000);
    };
    self->log.info("dictation times: sound=%.2f drain=%.2f decode=%.2f text=%.2f save=%.2f "
                   "activate=%.2f paste=%.2f ms",
        milliseconds(
            self->runBeganAt, self->platform.engine.firstSoundAt().value_or(self->runBeganAt)),
        milliseconds(stop.called, stop.drained), milliseconds(stop.drained, stop.ended),
        milliseconds(stop.ended, textReady), milliseconds(textReady, saved),
        milliseconds(saved, insert.activated), milliseconds(insert.activated, insert.posted));
    self->finishing = false;
    self->showOutcome(delivered);
    self->tasks.start(reset(weakSelf, actor, generation));
}

Task<std::string> MacDictationController::deliver(Weak weakSelf, std::string text) {
    auto self = weakSelf.lock();
    if (!self) co_return {};
    if (self->beganInOwnWindow && self->platform.ownField(text)) {
        self->_targetName.set("Nimbe");
        co_return std::string(AXInserter::pasted);
    }
    auto delivering = self->platform.inserter.deliver(std::move(text), self->targetApp);
    self.reset();
    co_return co_await delivering;
}

/// In the background: whoever waits for the disk or the keyring sees no keys meanwhile.
Completion<MacDictationController::Notice> MacDictationController::save(const Dictated& dictated) {
    const Completion<Notice> saving(platform.actor);
    const auto told = [weak = weak_from_this(), saving](
                          const DictationEntry& entry, Notice notice) {
        if (const auto self = weak.lock()) self->platform.onSaved(entry);
        saving.complete(std::move(notice));
    };
    const auto append = [&actor = platform.actor, &history = platform.history, dictated,
                            mode = _mode.get(), now = Date::now(), told] {
        const auto entry = history.append(dictated.text, dictated.spoken, mode, now);
        const auto problem = history.problem();
        Notice notice;
        if (problem && !problem->isPartial())
            notice = "Not saved in your history. " + std::string(problem->sentence);
        actor.post([told, entry, notice] { told(entry, notice); });
    };
    platform.inBackground(append);
    return saving;
}

void MacDictationController::showOutcome(const std::string& outcome) {
    if (outcome == AXInserter::clipboardUnreachable) {
        setUnavailable(outcome);
        return;
    }
    const bool isPasted = outcome.starts_with(AXInserter::pasted);
    if (isPasted && platform.defaults.get(InsertSettings::insertSoundEnabled))
        platform.sound.play(SystemSound::pop);
    constexpr std::string_view copied = "Copied to clipboard";
    auto message =
        isPasted ? "Pasted into " + _targetName.get().value_or("the app") : std::string(copied);
    CaptureHUD::Result result{CaptureHUD::Symbol::success, message};
    if (!isPasted && outcome != copied) {
        // Why it was not pasted stands behind the same words.
        result.symbol = CaptureHUD::Symbol::problem;
        const auto reason = outcome.find_first_not_of(".,: ", copied.size());
        if (outcome.starts_with(copied) && reason != outcome.npos)
            result.note = outcome.substr(reason);
    }
    const auto failure = platform.engine._errorMessage.get();
    if (const auto& notice = _notice.get() ? _notice.get() : failure) {
        result.symbol = CaptureHUD::Symbol::problem;
        result.note = *notice;
    }
    hasNote = result.note.has_value();
    platform.hud.show(std::move(result));
    _phase.set({Phase::Kind::done, std::move(message)});
}

/// The message stands until the next press; the overlay that says it does not.
void MacDictationController::setUnavailable(std::string message) {
    platform.hud.show({CaptureHUD::Symbol::problem, message});
    hasNote = true;
    _phase.set({Phase::Kind::unavailable, std::move(message)});
    tasks.start(reset(weak_from_this(), platform.actor, runGeneration));
}

Task<void> MacDictationController::reset(Weak weakSelf, MainActor& actor, std::int64_t generation) {
    co_await sleep(actor, resultDuration);
    auto self = weakSelf.lock();
    if (!self || self->runGeneration != generation) co_return;
    if (self->_phase.get().kind == Phase::Kind::done) {
        self->_phase.set({Phase::Kind::idle});
        self->_targetName.set(std::nullopt);
    }
    if (self->hasNote) {
        self.reset();
        co_await sleep(actor, problemDuration - resultDuration);
        self = weakSelf.lock();
        if (!self || self->runGeneration != generation) co_return;
    }
    self->hudToken.reset();
}

} // namespace nimbe
