#pragma once

#include <QtCore/QObject>
#include <QtCore/QPointer>
#include <QtCore/QVariantList>
#include <QtQuick/QQuickTextDocument>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Foundation/Calendar.h"
#include "NimbeEngine/Transform/NoteEditSession.h"
#include "NimbeUI/DesktopActions.h"
#include "NimbeUI/NoteWriter.h"

namespace nimbe {

/// The note in the editor: its text, the ways to reshape it, and its way back into the
/// history.
///
/// What is changed is stored when the user pauses, leaves or closes the window, and what
/// cannot be stored stays in the editor, with a question to the user. A blank text is
/// never stored.
class NoteEditViewModel : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool isOpen READ isOpen NOTIFY changed)
    Q_PROPERTY(QString when READ when NOTIFY changed)
    Q_PROPERTY(QVariantList transforms READ transforms CONSTANT)
    Q_PROPERTY(bool canTransform READ canTransform NOTIFY changed)
    Q_PROPERTY(bool isTransforming READ isTransforming NOTIFY changed)
    Q_PROPERTY(QString working READ working NOTIFY changed)
    Q_PROPERTY(QString notice READ notice NOTIFY changed)
    Q_PROPERTY(QString answer READ answer NOTIFY changed)
    Q_PROPERTY(QString otherAnswer READ otherAnswer NOTIFY changed)
    Q_PROPERTY(QString saving READ saving NOTIFY changed)
    Q_PROPERTY(bool canUndo READ canUndo NOTIFY changed)
    Q_PROPERTY(bool hasOriginal READ hasOriginal NOTIFY changed)

public:
    // Without a key, until the text is stored: seconds.
    static constexpr Seconds pause = 2;

    explicit NoteEditViewModel(DesktopActions& actions, Calendar calendar = Calendar::user(),
        std::function<Date()> now = Date::now);
    /// Stores what can be stored.
    ~NoteEditViewModel() override;

    [[nodiscard]] bool isOpen() const { return session != nullptr; }
    /// "Yesterday, 2:13 PM".
    [[nodiscard]] QString when() const;
    [[nodiscard]] QString text() const;
    /// Each with its title, symbol and detail, for start().
    [[nodiscard]] static QVariantList transforms();
    [[nodiscard]] bool canTransform() const;
    [[nodiscard]] bool isTransforming() const;
    [[nodiscard]] QString working() const; // what goes on, while a transform runs
    /// What the user must know of the text; may be empty.
    [[nodiscard]] QString notice() const;
    /// When the notice is a question: the two answers to it; else empty.
    [[nodiscard]] QString answer() const;
    [[nodiscard]] QString otherAnswer() const;
    [[nodiscard]] QString saving() const; // "Saved", for instance; may be empty
    [[nodiscard]] bool canUndo() const;
    [[nodiscard]] bool hasOriginal() const;
    /// Neither stored nor given up by the user.
    [[nodiscard]] bool hasUnsavedText() const;
    /// The user has been asked what is to become of the text.
    [[nodiscard]] bool isAsking() const { return trouble != Trouble::none; }

    /// False: there is no such note.
    Q_INVOKABLE bool open(const QString& id);
    /// The document of the field that shows the text.
    Q_INVOKABLE void show(QQuickTextDocument* document);
    /// What the user types. The text as it is: a transform runs.
    bool edit(const QString& text);

    Q_INVOKABLE void start(int transform);
    Q_INVOKABLE void reshape(const QString& instruction);
    Q_INVOKABLE void cancel();
    /// Brings back the text before the last transform, or before the original.
    Q_INVOKABLE void undo();
    Q_INVOKABLE void restoreOriginal();
    Q_INVOKABLE void copy();
    /// The answer to the question, or the other one. Ends a transform.
    Q_INVOKABLE void reply(bool isOther);
    /// Ends a transform, stores the text, and is left as soon as that is done.
    Q_INVOKABLE void leave();
    /// The same, without leaving.
    void save();
    /// A text that was dictated; false: there is no field for it now.
    [[nodiscard]] bool take(const std::string& text);

Q_SIGNALS:
    void changed();
    /// The note is closed. What there is to say of it, and how it is taken back, if it can be.
    void left(const QString& notice, const std::optional<NoteWriter::Request>& undo);
    /// The user is asked now.
    void asked();
    /// A text that was dictated for the field with the keyboard.
    void dictated(const QString& text);

private:
    enum class Trouble { none, notStored, changedElsewhere, deleted };
    struct Content {
        DictationEntry opened;                    // as it was when it was opened
        DictationEntry known;                     // as it is stored, for all that is known
        std::string settled;                      // what was last stored, or given up
        std::optional<DictationEntry> other = {}; // as it was changed elsewhere
    };

    DesktopActions& actions;
    Calendar calendar;
    std::function<Date()> now;
    std::shared_ptr<int> alive = std::make_shared<int>();
    std::shared_ptr<NoteEditSession> session; // absent: no note is open
    Content note;
    std::vector<std::string> checkpoints; // before each transform
    QString runningTitle;
    bool isNoticeRead = false; // the user has gone on since
    Trouble trouble = Trouble::none;
    std::string problem;
    bool isSaving = false;
    bool isLeaving = false;
    bool wasSaved = false;
    QPointer<QTextDocument> document;
    QString shown; // in the document, as it gives it back
    bool isWriting = false;
    bool joinsStep = false; // a transform's text is one step of the document
    std::vector<Token> observers;
    Token modelObserver;
    Token autosave;

    void close(const QString& notice, const std::optional<NoteWriter::Request>& undo = {});
    void settleTransform();
    void ask(Trouble what);
    void takeOver(const DictationEntry& entry);
    void run(NoteTransform transform, const QString& title);
    void sessionChanged();
    void documentChanged();
    void saveLater();
    void write(NoteWriter::Rule rule);
    void written(const NoteWriter::Request& request, const NoteWriter::Outcome& outcome);
    void finishLeaving();
    void historyChanged();
    [[nodiscard]] bool isBlank() const;
    [[nodiscard]] const std::string& original() const;
};

} // namespace nimbe
