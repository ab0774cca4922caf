#pragma once

#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtCore/QString>
#include <memory>
#include <optional>

#include "NimbeApp/CaptureHUD.h"
#include "NimbeApp/MacDictationController.h"
#include "NimbeEngine/Speech/DictationEngine.h"

namespace nimbe {

/// What the overlay shows, and in which words.
///
/// While it is not active it takes nothing from the engine: the last picture stands for
/// the fade-out.
class CaptureViewModel : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString stage READ stage NOTIFY changed)
    Q_PROPERTY(QString transcript READ transcript NOTIFY changed)
    Q_PROPERTY(QString hint READ hint NOTIFY changed)
    Q_PROPERTY(double progress READ progress NOTIFY changed)
    Q_PROPERTY(QString symbol READ symbol NOTIFY changed)
    Q_PROPERTY(QString message READ message NOTIFY changed)
    Q_PROPERTY(QString note READ note NOTIFY changed)
    Q_PROPERTY(QList<double> levels READ levels NOTIFY levelsChanged)
    Q_PROPERTY(double transcriptWidth READ transcriptWidth CONSTANT)
    Q_PROPERTY(int transcriptSize READ transcriptSize CONSTANT)

public:
    enum class Stage { preparing, recording, finalizing, result };

    // Of the partial text, in pixels of the interface.
    static constexpr double textWidth = 430;
    static constexpr int fontSize = 19;
    static constexpr int textLines = 3;

    explicit CaptureViewModel(DictationEngine& engine);

    /// From then on the phase and the way of holding are known, too.
    void follow(MacDictationController& controller);

    /// A new dictation: without a result.
    void begin();
    void show(CaptureHUD::Result result);
    void end();

    /// "preparing", "recording", "finalizing" or "result".
    [[nodiscard]] QString stage() const;
    [[nodiscard]] QString transcript() const { return tail; }
    [[nodiscard]] QString hint() const;
    /// Of a download, 0 to 1; -1: there is none.
    [[nodiscard]] double progress() const;
    [[nodiscard]] QString symbol() const;
    [[nodiscard]] QString message() const;
    [[nodiscard]] QString note() const;
    [[nodiscard]] QList<double> levels() const { return shownLevels; }
    [[nodiscard]] static double transcriptWidth() { return textWidth; }
    [[nodiscard]] static int transcriptSize() { return fontSize; }

Q_SIGNALS:
    void changed();
    void levelsChanged();

private:
    DictationEngine& engine;
    bool isActive = false;
    Stage current = Stage::preparing;
    bool isLatched = false;
    bool isPolishing = false;
    bool usesOptionKey = false;
    std::optional<CaptureHUD::Result> result;
    QString tail;
    QList<double> shownLevels;
    std::optional<MacDictationController::Phase::Kind> phase;
    std::optional<double> download;
    Token observers[7];

    void update();
    void takeTranscript(const std::string& text);
    void takeLevels(const std::vector<double>& levels);
};

} // namespace nimbe
