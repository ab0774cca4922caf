#pragma once

#include <QtCore/QObject>
#include <QtCore/QStringList>
#include <QtCore/QVariantList>

#include "NimbeUI/DesktopActions.h"
#include "NimbeUI/Theme.h"

namespace nimbe {

/// The window beside its list: which page, what goes on, the crash banner, the update
/// line, the settings and the first run.
class WindowViewModel : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString page READ page NOTIFY changed)
    Q_PROPERTY(QString status READ status NOTIFY changed)
    Q_PROPERTY(QString triggerName READ triggerName NOTIFY changed)
    Q_PROPERTY(bool isRecording READ isRecording NOTIFY changed)
    Q_PROPERTY(bool isBusy READ isBusy NOTIFY changed)
    Q_PROPERTY(bool hasCrashBanner READ hasCrashBanner NOTIFY changed)
    Q_PROPERTY(QString crashText READ crashText CONSTANT)
    Q_PROPERTY(QString reportTitle READ reportTitle CONSTANT)
    Q_PROPERTY(QString localOnlyTitle READ localOnlyTitle NOTIFY changed)
    Q_PROPERTY(QString localOnlyNote READ localOnlyNote NOTIFY changed)
    Q_PROPERTY(QString update READ update NOTIFY changed)
    Q_PROPERTY(QStringList microphones READ microphones NOTIFY changed)
    Q_PROPERTY(int microphone READ microphone NOTIFY changed)
    Q_PROPERTY(bool usesChord READ usesChord NOTIFY changed)
    Q_PROPERTY(bool insertSound READ insertSound WRITE setInsertSound NOTIFY changed)
    Q_PROPERTY(bool reduceMotion READ reduceMotion WRITE setReduceMotion NOTIFY changed)
    Q_PROPERTY(bool startAtLogin READ startAtLogin WRITE setStartAtLogin NOTIFY changed)
    Q_PROPERTY(bool trayItem READ trayItem WRITE setTrayItem NOTIFY changed)
    Q_PROPERTY(bool updateChecks READ updateChecks WRITE setUpdateChecks NOTIFY changed)
    Q_PROPERTY(QString exportFolder READ exportFolder NOTIFY changed)
    Q_PROPERTY(QString exportResult READ exportResult NOTIFY changed)
    Q_PROPERTY(bool autoExport READ autoExport WRITE setAutoExport NOTIFY changed)
    Q_PROPERTY(bool keepsAll READ keepsAll WRITE setKeepsAll NOTIFY changed)
    Q_PROPERTY(bool offersKeepingAll READ offersKeepingAll NOTIFY changed)
    Q_PROPERTY(QString problem READ problem NOTIFY changed)
    Q_PROPERTY(QString heard READ heard NOTIFY heardChanged)

public:
    WindowViewModel(DesktopActions& actions, Theme& theme);

    [[nodiscard]] QString page() const;
    [[nodiscard]] QString status() const;
    [[nodiscard]] QString triggerName() const;
    [[nodiscard]] bool isRecording() const;
    [[nodiscard]] bool isBusy() const;
    [[nodiscard]] bool hasCrashBanner() const;
    [[nodiscard]] static QString crashText();
    [[nodiscard]] static QString reportTitle();
    [[nodiscard]] QString localOnlyTitle() const; // empty: not offered
    [[nodiscard]] QString localOnlyNote() const;
    [[nodiscard]] QString update() const; // empty: none
    [[nodiscard]] QStringList microphones() const;
    [[nodiscard]] int microphone() const; // -1: not in the list
    [[nodiscard]] bool usesChord() const;
    [[nodiscard]] bool insertSound() const;
    void setInsertSound(bool isOn);
    [[nodiscard]] bool reduceMotion() const;
    void setReduceMotion(bool isOn);
    [[nodiscard]] bool startAtLogin() const;
    void setStartAtLogin(bool isOn);
    [[nodiscard]] bool trayItem() const;
    void setTrayItem(bool isShown);
    [[nodiscard]] bool updateChecks() const;
    void setUpdateChecks(bool isOn);
    /// By its last part; empty: none is chosen.
    [[nodiscard]] QString exportFolder() const;
    [[nodiscard]] QString exportResult() const; // of the last export; may be empty
    [[nodiscard]] bool autoExport() const;
    void setAutoExport(bool isOn);
    [[nodiscard]] bool keepsAll() const;
    void setKeepsAll(bool isOn);
    /// Once there are dictations, until it is answered.
    [[nodiscard]] bool offersKeepingAll() const;
    /// A setting that could not be stored.
    [[nodiscard]] QString problem() const { return failure; }
    /// What was dictated into the welcome page last.
    [[nodiscard]] QString heard() const { return lastHeard; }
    /// Dictated in this window; false: there is nothing here to take it.
    [[nodiscard]] bool take(const std::string& text);

    Q_INVOKABLE void showPage(const QString& name); // "history", "note" or "settings"
    /// From the settings to where the user came from.
    Q_INVOKABLE void goBack();
    Q_INVOKABLE void finishWelcome();
    Q_INVOKABLE void toggleDictation();
    Q_INVOKABLE void reportProblem();
    Q_INVOKABLE void relaunchLocalOnly();
    Q_INVOKABLE void dismissCrash();
    Q_INVOKABLE void openDownloadPage();
    Q_INVOKABLE void selectMicrophone(int index);
    Q_INVOKABLE void answerKeepingAll(bool isWanted);
    Q_INVOKABLE void chooseExportFolder();
    Q_INVOKABLE void clearExportFolder();
    Q_INVOKABLE void exportAll();

Q_SIGNALS:
    void changed();
    void heardChanged();

private:
    DesktopActions& actions;
    Theme& theme;
    QString shownPage;
    QString pageBefore = QStringLiteral("history"); // the settings
    QString failure;
    QString lastHeard;

    void store(bool isStored);
    [[nodiscard]] ObsidianExporter& exporter() const;
};

} // namespace nimbe
