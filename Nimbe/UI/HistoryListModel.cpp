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
    case textRole: return qtText(row.entry->text);
    case timeRole: return qtText(calendar.format(row.entry->timestamp, Calendar::Style::shortTime));
    case dayRole: return qtText(row.day);
    case expandedRole: return expanded.contains(row.entry->id);
    case idRole: return qtText(row.entry->id.text());
    default: return {};
    }
}

QHash<int, QByteArray> HistoryListModel::roleNames() const {
    return {{textRole, "text"}, {timeRole, "time"}, {dayRole, "day"}, {expandedRole, "expanded"},
        {idRole, "entryID"}};
}

bool HistoryListModel::canFetchMore(const QModelIndex& parent) const {
    return !parent.isValid() && following;
}

void HistoryListModel::fetchMore(const QModelIndex& parent) {
    if (!canFetchMore(parent)) return;
    limit = rows.size() + pageLength;
    auto next = page(*following, pageLength);
    next.rows.insert(next.rows.begin(), rows.begin(), rows.end());
    append(std::move(next));
}

HistoryListModel::Page HistoryListModel::page(std::size_t from, std::size_t length) const {
    // One more than is asked for tells whether there are more.
    const auto places =
        HistoryFilter::places(utf8(search), *shown, Locale::forText(), from, length + 1);
    Page page;
    const auto today = now();
    for (const auto place : places) {
        if (page.rows.size() == length) {
            page.following = place;
            break;
        }
        const auto& entry = (*shown)[place];
        const auto* before = page.rows.empty() ? nullptr : &page.rows.back();
        const bool isSameDay =
            before && calendar.isSameDay(before->entry->timestamp, entry.timestamp);
        page.rows.push_back({&entry,
            isSameDay ? before->day : NotesDayGrouping::title(entry.timestamp, today, calendar)});
    }
    return page;
}

/// Only what differs is told, so that the list stays where the reader is: a new entry at
/// the front, one that is gone, more of them at the end, other texts, or all.
void HistoryListModel::refresh() {
    // What the rows are of stays until all of them are of the new one.
    const auto before = std::exchange(shown, actions.sharedEntries());
    auto found = page(0, limit + 1); // one more, should the first one be new
    auto& next = found.rows;
    following.reset(); // whoever asks for more as soon as it is told comes too early
    const auto size = rowCount();
    const auto count = rows.size();
    const auto isSameNote = [](const Row& left, const Row& right) {
        return left.entry->id == right.entry->id && left.day == right.day;
    };
    const auto gone = std::mismatch(rows.begin(), rows.end(), next.begin(), next.end()).first;
    const auto at = gone - rows.begin();
    const auto beginsWith = [](const auto& list, auto from, auto part, auto partEnd) {
        return list.end() - from >= partEnd - part && std::equal(part, partEnd, from);
    };
    if (next.size() > count && beginsWith(next, next.begin() + 1, rows.begin(), rows.end())) {
        beginInsertRows({}, 0, 0);
        limit = std::max(limit, count + 1);
        rows = {next.begin(), next.begin() + static_cast<std::ptrdiff_t>(count) + 1};
        endInsertRows();
    } else if (next.size() >= count &&
               std::equal(rows.begin(), rows.end(), next.begin(), isSameNote)) {
        for (int row = 0; row < size; ++row) {
            auto& known = rows[static_cast<std::size_t>(row)];
            const auto& changed = next[static_cast<std::size_t>(row)];
            if (known == changed) continue;
            known = changed;
            emit dataChanged(index(row), index(row));
        }
    } else if (gone != rows.end() && beginsWith(next, next.begin() + at, gone + 1, rows.end())) {
        beginRemoveRows({}, static_cast<int>(at), static_cast<int>(at));
        rows.erase(gone);
        endRemoveRows();
    } else {
        beginResetModel();
        rows.clear();
        endResetModel();
    }
    append(std::move(found));
    emit summaryChanged();
}

/// The rows of `next`, which begin with those that are shown, as far as the limit goes.
void HistoryListModel::append(Page next) {
    const auto shownCount = rows.size();
    const auto count = std::max(shownCount, std::min(next.rows.size(), limit));
    if (next.rows.size() > count)
        next.following = static_cast<std::size_t>(next.rows[count].entry - shown->data());
    next.rows.erase(next.rows.begin() + static_cast<std::ptrdiff_t>(count), next.rows.end());
    if (count > shownCount) beginInsertRows({}, rowCount(), static_cast<int>(count) - 1);
    rows = std::move(next.rows);
    following = next.following;
    if (count > shownCount) endInsertRows();
}

void HistoryListModel::setQuery(const QString& query) {
    if (query == search) return;
    search = query;
    limit = pageLength;
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
    actions.copy(rows[static_cast<std::size_t>(row)].entry->text);
    say(tr("Copied."));
}

void HistoryListModel::remove(int row) {
    if (row < 0 || row >= rowCount()) return;
    const UUID id = rows[static_cast<std::size_t>(row)].entry->id;
    const auto problem = std::make_shared<std::optional<HistoryProblem>>();
    const std::weak_ptr<int> weak = alive;
    const auto work = [id, problem, when = now(), &history = actions.all().history] {
        history.deleteEntry(id, when);
        *problem = history.problem();
    };
    actions.inBackground(work, [this, weak, id, problem] {
        if (weak.expired()) return;
        if (*problem && !(*problem)->isPartial())
            say(tr("Not deleted. %1").arg(qtText((*problem)->sentence)));
        else
            say(tr("Moved to Recently Deleted."), id);
        actions.refreshHistory();
    });
}

void HistoryListModel::undo() {
    const auto what = std::exchange(undoable, {});
    forgetNotice();
    if (const auto* deleted = std::get_if<UUID>(&what))
        bringBack(*deleted);
    else if (const auto* edited = std::get_if<NoteWriter::Request>(&what))
        takeBack(*edited);
}

void HistoryListModel::bringBack(const UUID& id) {
    const auto problem = std::make_shared<std::optional<HistoryProblem>>();
    const std::weak_ptr<int> weak = alive;
    const auto work = [id, problem, &history = actions.all().history] {
        (void)history.restore(id);
        *problem = history.problem();
    };
    actions.inBackground(work, [this, weak, problem] {
        if (weak.expired()) return;
        if (*problem && !(*problem)->isPartial())
            say(tr("Not undone. %1").arg(qtText((*problem)->sentence)));
        actions.refreshHistory();
    });
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
    const UUID id = rows[static_cast<std::size_t>(row)].entry->id;
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
