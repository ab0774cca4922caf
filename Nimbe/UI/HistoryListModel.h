#pragma once

#include <QtCore/QAbstractListModel>
#include <optional>
#include <set>
#include <string>
#include <variant>
#include <vector>

#include "Foundation/Calendar.h"
#include "NimbeUI/DesktopActions.h"
#include "NimbeUI/NoteWriter.h"

namespace nimbe {

/// The dictations as the window lists them: newest first under the headings of their
/// days, or those that hold what is searched for.
class HistoryListModel : public QAbstractListModel {
    Q_OBJECT
    Q_PROPERTY(QString query READ query WRITE setQuery NOTIFY summaryChanged)
    Q_PROPERTY(QString problem READ problem NOTIFY summaryChanged)
    Q_PROPERTY(QString emptyTitle READ emptyTitle NOTIFY summaryChanged)
    Q_PROPERTY(QString emptyText READ emptyText NOTIFY summaryChanged)
    Q_PROPERTY(QString notice READ notice NOTIFY noticeChanged)
    Q_PROPERTY(bool canUndo READ canUndo NOTIFY noticeChanged)
    Q_PROPERTY(bool hasEntries READ hasEntries NOTIFY summaryChanged)

public:
    enum Role { textRole = Qt::UserRole + 1, timeRole, dayRole, expandedRole, idRole };

    // How long a notice stands, in seconds.
    static constexpr Seconds noticeDuration = 6;
    // Rows that are made at a time, as the reader comes to them.
    static constexpr std::size_t pageLength = 200;

    explicit HistoryListModel(DesktopActions& actions, Calendar calendar = Calendar::user(),
        std::function<Date()> now = Date::now);

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QHash<int, QByteArray> roleNames() const override;
    [[nodiscard]] bool canFetchMore(const QModelIndex& parent) const override;
    void fetchMore(const QModelIndex& parent) override;

    [[nodiscard]] QString query() const { return search; }
    void setQuery(const QString& query);
    [[nodiscard]] QString problem() const;
    [[nodiscard]] QString emptyTitle() const;
    [[nodiscard]] QString emptyText() const;
    [[nodiscard]] QString notice() const { return said; }
    [[nodiscard]] bool canUndo() const { return !std::holds_alternative<Nothing>(undoable); }
    [[nodiscard]] bool hasEntries() const { return !actions.entries().empty(); }

    Q_INVOKABLE void copy(int row);
    /// To "Recently Deleted"; undo() brings the last one back.
    Q_INVOKABLE void remove(int row);
    Q_INVOKABLE void undo();
    /// Of a note that was edited; undo() takes it back, if it can be.
    void sayOfNote(const QString& text, const std::optional<NoteWriter::Request>& takeBack);
    Q_INVOKABLE void toggleExpanded(int row);
    /// Days go by while the window is closed.
    void refresh();

Q_SIGNALS:
    void summaryChanged();
    void noticeChanged();

private:
    struct Nothing {};
    using Undoable = std::variant<Nothing, UUID, NoteWriter::Request>; // deleted, or edited
    using Entries = DesktopActions::Entries;
    struct Row {
        const DictationEntry* entry; // one of `shown`
        std::string day;

        friend bool operator==(const Row& left, const Row& right) {
            return left.day == right.day &&
                   (left.entry == right.entry || *left.entry == *right.entry);
        }
    };
    struct Page {
        std::vector<Row> rows;
        std::optional<std::size_t> following; // where what comes after them is, if anything
    };

    DesktopActions& actions;
    Calendar calendar;
    std::function<Date()> now;
    QString search;
    std::shared_ptr<const Entries> shown = std::make_shared<Entries>();
    std::vector<Row> rows;
    std::size_t limit = pageLength; // of the rows
    std::optional<std::size_t> following;
    std::set<UUID> expanded;
    QString said;
    Undoable undoable;
    Token noticeEnd;
    std::shared_ptr<int> alive = std::make_shared<int>();

    void say(const QString& text, Undoable undo = {});
    void takeBack(const NoteWriter::Request& request);
    void forgetNotice();
    [[nodiscard]] Page page(std::size_t from, std::size_t length) const;
    void append(Page next);
    void bringBack(const UUID& id);
};

} // namespace nimbe
