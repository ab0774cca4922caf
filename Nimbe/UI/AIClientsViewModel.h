#pragma once

#include <QtCore/QObject>

#include "NimbeUI/DesktopActions.h"

namespace nimbe {

/// Which AI clients can read the dictations.
class AIClientsViewModel : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString status READ status NOTIFY changed)
    Q_PROPERTY(bool isConnected READ isConnected NOTIFY changed)
    Q_PROPERTY(bool hasFailed READ hasFailed NOTIFY changed)
    Q_PROPERTY(bool isCommandCopied READ isCommandCopied NOTIFY changed)

public:
    explicit AIClientsViewModel(DesktopActions& actions);

    [[nodiscard]] QString status() const; // one or two sentences
    [[nodiscard]] bool isConnected() const;
    [[nodiscard]] bool hasFailed() const;
    [[nodiscard]] bool isCommandCopied() const; // a moment ago

    /// Connects the desktop client, or disconnects it when it is connected.
    Q_INVOKABLE void toggle();
    Q_INVOKABLE void copyCommand();
    /// Somebody looks: the client's configuration may have been changed elsewhere.
    Q_INVOKABLE void refresh();

Q_SIGNALS:
    void changed();

private:
    MCPSetup& setup;
    Token statusChanges;
    Token copies;
};

} // namespace nimbe
