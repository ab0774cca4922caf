#pragma once

#include <QtCore/QObject>
#include <QtCore/QStringList>

#include "NimbeUI/DesktopActions.h"

namespace nimbe {

/// The settings of the AI cleanup, and what is known of the language model behind it.
class LanguageModelViewModel : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool isWatched READ isWatched WRITE setWatched NOTIFY changed)
    Q_PROPERTY(bool isAvailable READ isAvailable NOTIFY changed)
    Q_PROPERTY(QString status READ status NOTIFY changed)
    Q_PROPERTY(bool isCleanupOn READ isCleanupOn WRITE setCleanupOn NOTIFY changed)
    Q_PROPERTY(QStringList styles READ styles CONSTANT)
    Q_PROPERTY(int style READ style WRITE setStyle NOTIFY changed)
    Q_PROPERTY(QString styleNote READ styleNote NOTIFY changed)
    Q_PROPERTY(QStringList models READ models NOTIFY changed)
    Q_PROPERTY(int model READ model WRITE setModel NOTIFY changed)
    Q_PROPERTY(QString address READ address NOTIFY changed)
    Q_PROPERTY(QString addressProblem READ addressProblem NOTIFY changed)
    Q_PROPERTY(bool allowsOtherHosts READ allowsOtherHosts WRITE setAllowsOtherHosts NOTIFY changed)
    Q_PROPERTY(QString signature READ signature NOTIFY changed)
    Q_PROPERTY(QString problem READ problem NOTIFY changed)

public:
    // While somebody looks, so often the model's state is asked for: seconds.
    static constexpr Seconds interval = 3;

    explicit LanguageModelViewModel(DesktopActions& actions);

    /// Somebody looks.
    [[nodiscard]] bool isWatched() const { return watching.isSet(); }
    void setWatched(bool isWatched);
    [[nodiscard]] bool isAvailable() const;
    /// One sentence: which model is used, or why none.
    [[nodiscard]] QString status() const;
    [[nodiscard]] bool isCleanupOn() const;
    void setCleanupOn(bool isOn);
    [[nodiscard]] static QStringList styles();
    [[nodiscard]] int style() const;
    void setStyle(int index);
    [[nodiscard]] QString styleNote() const; // what the style means for the cleanup
    /// "Automatic", and what the server has; with the chosen one if that is not there.
    [[nodiscard]] QStringList models() const;
    [[nodiscard]] int model() const;
    void setModel(int index);
    [[nodiscard]] QString address() const; // empty: it is looked for
    [[nodiscard]] QString addressProblem() const { return wrongAddress; }
    [[nodiscard]] bool allowsOtherHosts() const;
    void setAllowsOtherHosts(bool isAllowed);
    [[nodiscard]] QString signature() const;
    /// A setting that could not be stored.
    [[nodiscard]] QString problem() const { return failure; }

    /// What is no address, or of another machine without leave, is not stored.
    Q_INVOKABLE void enterAddress(const QString& text);
    Q_INVOKABLE void enterSignature(const QString& text);

Q_SIGNALS:
    void changed();

private:
    DesktopActions& actions;
    QString wrongAddress;
    QString failure;
    Token watching;
    Token availability;

    void look();
    void store(bool isStored);
    [[nodiscard]] std::vector<std::string> names() const;
};

} // namespace nimbe
