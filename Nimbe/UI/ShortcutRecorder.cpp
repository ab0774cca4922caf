#include "NimbeUI/ShortcutRecorder.h"

#include "NimbeUI/QtText.h"

namespace nimbe {
namespace {

constexpr auto name = MacDictationController::shortcutName;

Shortcut modifiersOf(int flags) {
    const auto modifiers = static_cast<Qt::KeyboardModifiers>(flags);
    return {.control = modifiers.testFlag(Qt::ControlModifier),
        .option = modifiers.testFlag(Qt::AltModifier),
        .shift = modifiers.testFlag(Qt::ShiftModifier),
        .command = modifiers.testFlag(Qt::MetaModifier),
        .key = {}};
}

/// The modifier that a key itself is.
bool addModifier(Shortcut& shortcut, int key) {
    switch (key) {
    case Qt::Key_Control: shortcut.control = true; return true;
    case Qt::Key_Alt: shortcut.option = true; return true;
    case Qt::Key_Shift: shortcut.shift = true; return true;
    case Qt::Key_Meta:
    case Qt::Key_Super_L:
    case Qt::Key_Super_R: shortcut.command = true; return true;
    case Qt::Key_AltGr:
    case Qt::Key_CapsLock:
    case Qt::Key_NumLock:
    case Qt::Key_Hyper_L:
    case Qt::Key_Hyper_R: return true;
    default: return false;
    }
}

bool isBare(const Shortcut& shortcut) {
    return !shortcut.control && !shortcut.option && !shortcut.shift && !shortcut.command;
}

} // namespace

ShortcutRecorder::ShortcutRecorder(DesktopActions& given) : actions(given) {
    connect(&actions, &DesktopActions::changed, this, &ShortcutRecorder::changed);
}

ShortcutRecorder::~ShortcutRecorder() {
    if (recording) actions.all().shortcuts.resume();
}

bool ShortcutRecorder::hasShortcut() const {
    return actions.all().shortcuts.shortcut(name).has_value();
}

QString ShortcutRecorder::title() const {
    if (recording) {
        if (isBare(held)) return tr("Press a chord…");
        return qtText(held.displayName()) + QStringLiteral("…");
    }
    const auto chord = actions.all().shortcuts.shortcut(name);
    return chord ? qtText(chord->displayName()) : tr("Record a chord");
}

QString ShortcutRecorder::error() const {
    if (!refusal.isEmpty() || recording) return refusal;
    return qtText(actions.all().shortcuts.problem(name).value_or(std::string()));
}

void ShortcutRecorder::start() {
    if (recording) return;
    recording = true;
    held = {};
    refusal.clear();
    actions.all().shortcuts.suspend();
    // Posted: before the run's first step, and not within the controller's own call.
    auto& actor = actions.all().actor;
    const auto weak = actions.all().dictation.weak_from_this();
    interactions = actions.all().dictation._interaction.observe([&actor, weak](const auto& now) {
        if (!now) return;
        actor.post([weak] {
            if (const auto dictation = weak.lock()) (void)dictation->cancelRecording();
        });
    });
    emit changed();
}

void ShortcutRecorder::stop() {
    if (!recording) return;
    recording = false;
    interactions.reset();
    actions.all().shortcuts.resume();
    emit changed();
}

bool ShortcutRecorder::keyPressed(int key, int modifiers, quint32 scanCode) {
    if (!recording) return false;
    auto shortcut = modifiersOf(modifiers);
    if (addModifier(shortcut, key)) {
        held = shortcut;
        emit changed();
        return true;
    }
    if (key == Qt::Key_Escape && isBare(shortcut)) {
        stop();
        return true;
    }
    const auto keyName = actions.all().keys.name(scanCode);
    if (!keyName) {
        refusal = tr("This key has no name that could be recorded.");
        emit changed();
        return true;
    }
    shortcut.key = *keyName;
    record(shortcut);
    return true;
}

void ShortcutRecorder::keyReleased(int modifiers) {
    if (!recording) return;
    held = modifiersOf(modifiers);
    emit changed();
}

/// Recording goes on after a refusal: the next chord may do.
void ShortcutRecorder::record(const Shortcut& shortcut) {
    const auto recorded = actions.all().shortcuts.record(name, shortcut);
    held = {};
    if (!recorded) {
        refusal = qtText(recorded.error().message(shortcut));
        emit changed();
        return;
    }
    refusal.clear();
    stop();
    actions.settingsChanged();
}

void ShortcutRecorder::clear() {
    stop();
    refusal = actions.all().shortcuts.clear(name)
                  ? QString()
                  : tr("The chord could not be removed from the settings.");
    actions.settingsChanged();
    emit changed();
}

} // namespace nimbe
