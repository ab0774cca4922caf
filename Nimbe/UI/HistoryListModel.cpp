#include "NimbeUI/HistoryListModel.h"

#include <algorithm>
#include <utility>

#include "NimbeKitCore/History/HistoryFilter.h"
#include "NimbeKitCore/History/NotesDayGrouping.h"
#include "NimbeUI/QtText.h"

namespace nimbe {

HistoryListModel::HistoryListModel(
    DesktopActions& given, Calendar calendar, std::function<Date()> now)
    : actions(given), calendar(std::move(calendar)), now(std::move(now)) {
    connect(&actions, &DesktopActions::historyChanged, this, &HistoryListModel::refresh);
    connect(&actions, &DesktopActions::changed, this, &HistoryListModel::summaryChanged);
    refresh();
}

int HistoryListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(rows.size());
}

QVariant HistoryListModel::data(const QModelIndex& index, int role) const {
    if (index.row() < 0 || index.row() >= rowCount()) return {};
    const auto& row = rows[static_cast<std::size_t>(index.row())];
    switch (role) {
    case textRole: return qtText(row.entry.text);
    case timeRole: return qtText(calendar.format(row.entry.timestamp, Calendar::Style::shortTime));
    case dayRole: return qtText(row.day);
    case expandedRole: return expanded.contains(row.entry.id);
    case idRole: return qtText(row.entry.id.text());
    default: return {};
    }
}

QHash<int, QByteArray> HistoryListModel::roleNames() const {
    return {{textRole, "text"}, {timeRole, "time"}, {dayRole, "day"}, {expandedRole, "expanded"},
        {idRole, "entryID"}};
}

std::vector<HistoryListModel::Row> HistoryListModel::wanted() const {
    const auto matching = HistoryFilter::matching(utf8(search), actions.entries());
    std::vector<Row> result;
    for (const auto& section : NotesDayGrouping::sections(matching, now(), calendar))
        for (const auto& entry : section.entries) result.push_back({entry, section.title});
    return result;
}

/// Only what differs is told, so that the list stays where the reader is: a new entry at
/// the front, one that is gone, other texts, or all.
void HistoryListModel::refresh() {
    auto next = wanted();
    const auto isSameNote = [](const Row& left, const Row& right) {
        return left.entry.id == right.entry.id && left.day == right.day;
    };
    const auto size = static_cast<int>(rows.size());
    if (next.size() == rows.size() + 1 && std::equal(rows.begin(), rows.end(), next.begin() + 1)) {
        beginInsertRows({}, 0, 0);
        rows = std::move(next);
        endInsertRows();
    } else if (next.size() + 1 == rows.size()) {
        const auto gone = std::mismatch(next.begin(), next.end(), rows.begin()).second;
        const auto at = static_cast<int>(gone - rows.begin());
        const bool isOnlyOne = std::equal(gone + 1, rows.end(), next.begin() + at, next.end());
        if (isOnlyOne) {
            beginRemoveRows({}, at, at);
            rows = std::move(next);
            endRemoveRows();
        } else {
            beginResetModel();
            rows = std::move(next);
            endResetModel();
        }
    } else if (std::equal(next.begin(), next.end(), rows.begin(), rows.end(), isSameNote)) {
        for (int row = 0; row < size; ++row) {
            auto& shown = rows[static_cast<std::size_t>(row)];
            auto& changed = next[static_cast<std::size_t>(row)];
            if (shown == changed) continue;
            shown = std::move(changed);
            emit dataChanged(index(row), index(row));
        }
    } else {
        beginResetModel();
        rows = std::move(next);
        endResetModel();
    }
    if (size != rowCount()) emit dataChanged(index(0), index(std::max(rowCount() - 1, 0)));
    emit summaryChanged();
}

void HistoryListModel::setQuery(const QString& query) {
    if (query == search) return;
    search = query;
    refresh();
}

QString HistoryListModel::problem() const {
    return qtText(actions.historyProblem());
}

QString HistoryListModel::emptyTitle() const {
    if (!rows.empty()) return {};
    return hasEntries() ? tr("Nothing found") : tr("Nothing dictated yet");
}

QString HistoryListModel::emptyText() const {
    if (!rows.empty()) return {};
    if (hasEntries()) return tr("No dictation holds “%1”.").arg(search.trimmed());
    return tr("Hold %1, speak, and let go. What you say will be listed here, encrypted, on this "
              "computer only.")
        .arg(qtText(actions.trigger()));
}

void HistoryListModel::copy(int row) {
    if (row < 0 || row >= rowCount()) return;
    actions.copy(rows[static_cast<std::size_t>(row)].entry.text);
    say(tr("Copied."));
}

void HistoryListModel::remove(int row) {
    if (row < 0 || row >= rowCount()) return;
    const UUID id = rows[static_cast<std::size_t>(row)].entry.id;
    auto& history = actions.all().history;
    history.deleteEntry(id, now());
    const auto failed = history.problem();
    if (failed && !failed->isPartial())
        say(tr("Not deleted. %1").arg(qtText(failed->sentence)));
    else
        say(tr("Moved to Recently Deleted."), id);
    actions.refreshHistory();
}

void HistoryListModel::undo() {
    const auto what = std::exchange(undoable, {});
    forgetNotice();
    if (const auto* deleted = std::get_if<UUID>(&what)) {
        actions.all().history.restore(*deleted);
        actions.refreshHistory();
    } else if (const auto* edited = std::get_if<NoteWriter::Request>(&what)) {
        takeBack(*edited);
    }
}

void HistoryListModel::takeBack(const NoteWriter::Request& request) {
    const auto outcome = std::make_shared<NoteWriter::Outcome>();
    const std::weak_ptr<int> weak = alive;
    const auto work = [request, outcome, &history = actions.all().history] {
        *outcome = NoteWriter::write(history, request);
    };
    actions.inBackground(work, [this, weak, outcome] {
        using Kind = NoteWriter::Outcome::Kind;
        if (weak.expired()) return;
        if (outcome->kind == Kind::failed)
            say(tr("Not undone. %1").arg(qtText(outcome->problem)));
        else if (outcome->kind != Kind::stored)
            say(tr("Not undone: the note was changed in the meantime."));
        actions.refreshHistory();
    });
}

void HistoryListModel::sayOfNote(
    const QString& text, const std::optional<NoteWriter::Request>& takeBack) {
    if (text.isEmpty()) return;
    if (takeBack)
        say(text, *takeBack);
    else
        say(text);
}

void HistoryListModel::toggleExpanded(int row) {
    if (row < 0 || row >= rowCount()) return;
    const UUID id = rows[static_cast<std::size_t>(row)].entry.id;
    if (!expanded.insert(id).second) expanded.erase(id);
    emit dataChanged(index(row), index(row), {expandedRole});
}

void HistoryListModel::say(const QString& text, Undoable undo) {
    said = text;
    undoable = std::move(undo);
    noticeEnd = actions.all().actor.schedule(noticeDuration, [this] { forgetNotice(); });
    emit noticeChanged();
}

void HistoryListModel::forgetNotice() {
    said.clear();
    undoable = {};
    noticeEnd.reset();
    emit noticeChanged();
}

} // namespace nimbe
