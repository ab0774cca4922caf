#include "NimbeUI/CaptureViewModel.h"

#include <QtGui/QFont>
#include <algorithm>

#include "NimbeUI/QtText.h"
#include "NimbeUI/Theme.h"
#include "NimbeUI/TranscriptTail.h"

namespace nimbe {

CaptureViewModel::CaptureViewModel(DictationEngine& engine) : engine(engine) {
    observers[0] =
        engine._liveTranscript.observe([this](const auto& text) { takeTranscript(text); });
    observers[1] = engine._levels.observe([this](const auto& levels) { takeLevels(levels); });
    observers[2] = engine._prepProgress.observe([this](const auto&) { update(); });
    observers[3] = engine._isRunning.observe([this](bool) { update(); });
}

void CaptureViewModel::follow(MacDictationController& controller) {
    observers[4] = controller._phase.observe([this](const auto& now) {
        phase = now.kind;
        update();
    });
    observers[5] = controller._interaction.observe([this, &controller](const auto& interaction) {
        isLatched = interaction == MacDictationController::Interaction::latched;
        usesOptionKey = controller.usesOptionKey();
        update();
    });
    observers[6] = controller._isPolishing.observe([this](bool now) {
        isPolishing = now;
        update();
    });
    isPolishing = controller._isPolishing.get();
    phase = controller._phase.get().kind;
    isLatched = controller._interaction.get() == MacDictationController::Interaction::latched;
    update();
}

void CaptureViewModel::begin() {
    isActive = true;
    result.reset();
    tail.clear();
    shownLevels.clear();
    current = Stage::preparing;
    emit levelsChanged();
    update();
}

void CaptureViewModel::show(CaptureHUD::Result given) {
    result = std::move(given);
    update();
}

void CaptureViewModel::end() {
    isActive = false;
}

void CaptureViewModel::update() {
    if (!isActive) return;
    using Kind = MacDictationController::Phase::Kind;
    download = engine._prepProgress.get();
    if (result)
        current = Stage::result;
    else if (phase == Kind::finalizing)
        current = Stage::finalizing;
    else if (phase == Kind::recording || (!phase && !engine._levels.get().empty()))
        current = Stage::recording;
    else if (phase == Kind::preparing)
        current = Stage::preparing;
    // Of the other phases the result is yet to come: what is shown stands until then.
    emit changed();
}

void CaptureViewModel::takeTranscript(const std::string& text) {
    if (!isActive) return;
    QFont font(Theme::display());
    font.setPixelSize(fontSize);
    tail = transcriptTail(qtText(text), font, textWidth, textLines);
    emit changed();
}

void CaptureViewModel::takeLevels(const std::vector<double>& levels) {
    // They are emptied as soon as recording ends; a meter that falls to nothing says so.
    if (!isActive) return;
    shownLevels = QList<double>(levels.begin(), levels.end());
    emit levelsChanged();
    if (!phase) update();
}

QString CaptureViewModel::stage() const {
    switch (current) {
    case Stage::preparing: return QStringLiteral("preparing");
    case Stage::recording: return QStringLiteral("recording");
    case Stage::finalizing: return QStringLiteral("finalizing");
    case Stage::result: return QStringLiteral("result");
    }
    return {};
}

QString CaptureViewModel::hint() const {
    switch (current) {
    case Stage::preparing:
        if (download)
            return tr("Downloading the speech model… %1 %")
                .arg(static_cast<int>(std::clamp(*download, 0.0, 1.0) * 100));
        return tr("Getting ready…");
    case Stage::recording:
        if (!isLatched) return {};
        return usesOptionKey ? tr("Hands-free. Tap Alt twice to finish.")
                             : tr("Hands-free. Press again to finish.");
    case Stage::finalizing: return isPolishing ? tr("Polishing…") : tr("Finishing…");
    case Stage::result: return {};
    }
    return {};
}

double CaptureViewModel::progress() const {
    return current == Stage::preparing && download ? std::clamp(*download, 0.0, 1.0) : -1.0;
}

QString CaptureViewModel::symbol() const {
    if (!result) return {};
    return result->symbol == CaptureHUD::Symbol::success
               ? QStringLiteral("checkmark.circle.fill")
               : QStringLiteral("exclamationmark.triangle.fill");
}

QString CaptureViewModel::message() const {
    return result ? qtText(result->message) : QString();
}

QString CaptureViewModel::note() const {
    return result && result->note ? qtText(*result->note) : QString();
}

} // namespace nimbe
