#pragma once

#include <QtCore/QObject>
#include <QtCore/QString>

#include "NimbeUI/DesktopActions.h"

namespace nimbe {

/// Takes the next chord that is pressed in the window and records it as the trigger.
///
/// Meanwhile the registered chords do not fire, and what the Option key alone would start
/// is cancelled.
class ShortcutRecorder : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool isRecording READ isRecording NOTIFY changed)
    Q_PROPERTY(bool hasShortcut READ hasShortcut NOTIFY changed)
    Q_PROPERTY(QString title READ title NOTIFY changed)
    Q_PROPERTY(QString error READ error NOTIFY changed)

public:
    explicit ShortcutRecorder(DesktopActions& actions);
    ~ShortcutRecorder() override;

    [[nodiscard]] bool isRecording() const { return recording; }
    [[nodiscard]] bool hasShortcut() const;
    /// The chord, or what to do.
    [[nodiscard]] QString title() const;
    /// Why it was not taken, or does not work now.
    [[nodiscard]] QString error() const;

    Q_INVOKABLE void start();
    Q_INVOKABLE void stop();
    /// A key of the toolkit's with its modifiers and its scan code. False: not recording.
    Q_INVOKABLE bool keyPressed(int key, int modifiers, quint32 scanCode);
    Q_INVOKABLE void keyReleased(int modifiers);
    Q_INVOKABLE void clear();

Q_SIGNALS:
    void changed();

private:
    DesktopActions& actions;
    bool recording = false;
    Shortcut held; // modifiers only, while they are down
    QString refusal;
    Token interactions;

    void record(const Shortcut& shortcut);
};

} // namespace nimbe
