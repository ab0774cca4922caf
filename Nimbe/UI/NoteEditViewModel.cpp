#include "NimbeUI/NoteEditViewModel.h"

#include <algorithm>
#include <array>
#include <utility>

#include "Foundation/Text.h"
#include "NimbeKitCore/History/NotesDayGrouping.h"
#include "NimbeUI/PlainTextDocument.h"
#include "NimbeUI/QtText.h"

namespace nimbe {
namespace {

struct Offer {
    NoteTransform transform;
    const char* title;
    const char* detail;
    const char* working;
    std::string_view symbol;
};

Offer offer(TransformPreset preset) {
    const auto symbol = symbolName(preset);
    switch (preset) {
    case TransformPreset::email:
        return {preset, "Email", "A clear e-mail, ready to be sent", "Writing an e-mail…", symbol};
    case TransformPreset::bullets:
        return {preset, "Bullets", "One point for each idea", "Turning it into bullets…", symbol};
    case TransformPreset::shorter:
        return {preset, "Shorter", "About half the length", "Making it shorter…", symbol};
    }
    return {};
}

const std::vector<Offer>& offers() {
    static const auto all = [] {
        std::vector<Offer> list;
        for (const auto preset : allTransformPresets) list.insert(list.begin(), offer(preset));
        list.push_back({FixTransform{}, "Fix", "Spelling, grammar and punctuation only",
            "Fixing it…", FixTransform::symbolName});
        return list;
    }();
    return all;
}

std::optional<DictationEntry> find(const std::vector<DictationEntry>& entries, const UUID& id) {
    const auto found = std::find_if(
        entries.begin(), entries.end(), [&](const auto& entry) { return entry.id == id; });
    return found == entries.end() ? std::nullopt : std::optional(*found);
}

} // namespace

NoteEditViewModel::NoteEditViewModel(
    DesktopActions& given, Calendar calendar, std::function<Date()> now)
    : actions(given), calendar(std::move(calendar)), now(std::move(now)) {
    connect(&actions, &DesktopActions::historyChanged, this, &NoteEditViewModel::historyChanged);
    modelObserver =
        actions.all().model.availability().observe([this](const auto&) { emit changed(); });
}

NoteEditViewModel::~NoteEditViewModel() {
    if (!session) return;
    observers.clear();
    session->cancel();
    if (!hasUnsavedText()) return;
    const NoteWriter::Request request{
        note.known, session->_text.get(), NoteWriter::Rule::beside, now()};
    actions.inBackground(
        [request, &history = actions.all().history] { (void)NoteWriter::write(history, request); });
}

bool NoteEditViewModel::open(const QString& id) {
    const auto uuid = UUID::parse(utf8(id));
    if (!uuid) return false;
    const auto entry = find(actions.entries(), *uuid);
    if (!entry || session) return false;
    note = {*entry, *entry, entry->text};
    session = NoteEditSession::create(actions.all().actor, actions.all().transforms, entry->text);
    observers.push_back(session->_text.observe([this](const auto&) { sessionChanged(); }));
    observers.push_back(session->_notice.observe([this](const auto&) { emit changed(); }));
    isNoticeRead = false;
    observers.push_back(session->_isTransforming.observe([this](bool isRunning) {
        if (!isRunning) settleTransform();
        emit changed();
    }));
    emit changed();
    return true;
}

void NoteEditViewModel::close(
    const QString& notice, const std::optional<NoteWriter::Request>& undo) {
    observers.clear();
    autosave.reset();
    session.reset();
    checkpoints.clear();
    document.clear();
    trouble = Trouble::none;
    isLeaving = false;
    wasSaved = false;
    emit changed();
    emit left(notice, undo);
}

QString NoteEditViewModel::when() const {
    if (!session) return {};
    const auto date = note.known.timestamp;
    return tr("%1, %2").arg(qtText(NotesDayGrouping::title(date, now(), calendar)),
        qtText(calendar.format(date, Calendar::Style::shortTime)));
}

QString NoteEditViewModel::text() const {
    return session ? qtText(session->_text.get()) : QString();
}

QVariantList NoteEditViewModel::transforms() {
    QVariantList list;
    for (const auto& each : offers())
        list.append(QVariantMap{{"title", tr(each.title)}, {"symbol", qtText(each.symbol)},
            {"detail", tr(each.detail)}});
    return list;
}

bool NoteEditViewModel::isBlank() const {
    return text::trimmed(std::string_view(session->_text.get())).empty();
}

bool NoteEditViewModel::isTransforming() const {
    return session && session->_isTransforming.get();
}

bool NoteEditViewModel::canTransform() const {
    return session && !isTransforming() && !isLeaving && !isBlank() &&
           actions.all().model.availability().get().isAvailable();
}

QString NoteEditViewModel::working() const {
    return isTransforming() ? runningTitle : QString();
}

bool NoteEditViewModel::hasUnsavedText() const {
    return session && !isBlank() && session->_text.get() != note.settled;
}

const std::string& NoteEditViewModel::original() const {
    return note.known.originalText ? *note.known.originalText : note.opened.text;
}

bool NoteEditViewModel::hasOriginal() const {
    return session && !isTransforming() && session->_text.get() != original();
}

bool NoteEditViewModel::canUndo() const {
    return session && !isTransforming() && !checkpoints.empty() &&
           checkpoints.back() != session->_text.get();
}

QString NoteEditViewModel::notice() const {
    if (!session) return {};
    switch (trouble) {
    case Trouble::none: break;
    case Trouble::notStored: return tr("Not saved. %1").arg(qtText(problem));
    case Trouble::changedElsewhere: return tr("This note was changed elsewhere in the meantime.");
    case Trouble::deleted: return tr("This note was deleted in the meantime.");
    }
    if (const auto& said = session->_notice.get(); said && !isNoticeRead) {
        const auto& error = session->error();
        return error ? qtText(*said) + QLatin1Char(' ') + qtText(error->message()) : qtText(*said);
    }
    if (isBlank()) return tr("An empty note is not saved: it stays as it was.");
    return {};
}

QString NoteEditViewModel::answer() const {
    switch (trouble) {
    case Trouble::none: return {};
    case Trouble::notStored: return tr("Try again");
    case Trouble::changedElsewhere: return tr("Keep mine");
    case Trouble::deleted: return tr("Keep it");
    }
    return {};
}

QString NoteEditViewModel::otherAnswer() const {
    switch (trouble) {
    case Trouble::none: return {};
    case Trouble::notStored: return tr("Discard changes");
    case Trouble::changedElsewhere: return tr("Use the other");
    case Trouble::deleted: return tr("Let it go");
    }
    return {};
}

QString NoteEditViewModel::saving() const {
    return wasSaved && session && session->_text.get() == note.settled ? tr("Saved") : QString();
}

void NoteEditViewModel::show(QQuickTextDocument* quickDocument) {
    if (!session || !quickDocument) return;
    document = quickDocument->textDocument();
    isWriting = true;
    PlainTextDocument::replace(*document, text(), PlainTextDocument::Undo::none);
    shown = PlainTextDocument::text(*document);
    isWriting = false;
    connect(document, &QTextDocument::contentsChanged, this, &NoteEditViewModel::documentChanged,
        Qt::UniqueConnection);
}

void NoteEditViewModel::documentChanged() {
    if (isWriting || !session || !document || sender() != document) return;
    const QString typed = PlainTextDocument::text(*document);
    if (typed == shown) return;
    shown = typed;
    isWriting = true;
    const bool isTaken = edit(typed);
    isWriting = false;
    if (!isTaken) sessionChanged();
}

bool NoteEditViewModel::edit(const QString& text) {
    if (!session || isTransforming()) return false;
    isNoticeRead = true;
    return session->edit(utf8(text));
}

void NoteEditViewModel::sessionChanged() {
    if (document && !isWriting) {
        using enum PlainTextDocument::Undo;
        isWriting = true;
        PlainTextDocument::replace(*document, text(), joinsStep ? join : step);
        joinsStep = isTransforming();
        shown = PlainTextDocument::text(*document);
        isWriting = false;
    }
    saveLater();
    emit changed();
}

void NoteEditViewModel::start(int transform) {
    if (transform < 0 || static_cast<std::size_t>(transform) >= offers().size()) return;
    const auto& chosen = offers()[static_cast<std::size_t>(transform)];
    run(chosen.transform, tr(chosen.working));
}

void NoteEditViewModel::reshape(const QString& instruction) {
    const auto wish = utf8(instruction.trimmed());
    if (!wish.empty()) run(CustomTransform{wish}, tr("Reshaping it…"));
}

void NoteEditViewModel::run(NoteTransform transform, const QString& title) {
    if (!canTransform()) return;
    checkpoints.push_back(session->_text.get());
    runningTitle = title;
    joinsStep = false;
    isNoticeRead = false;
    autosave.reset();
    if (!session->start(std::move(transform))) checkpoints.pop_back();
    emit changed();
}

void NoteEditViewModel::settleTransform() {
    joinsStep = false;
    while (!checkpoints.empty() && checkpoints.back() == session->_text.get())
        checkpoints.pop_back();
    saveLater();
}

void NoteEditViewModel::cancel() {
    if (isTransforming()) session->cancel();
}

void NoteEditViewModel::undo() {
    if (!canUndo()) return;
    const auto before = std::move(checkpoints.back());
    checkpoints.pop_back();
    (void)session->edit(before);
}

void NoteEditViewModel::restoreOriginal() {
    if (!hasOriginal()) return;
    checkpoints.push_back(session->_text.get());
    (void)session->edit(original());
}

void NoteEditViewModel::copy() {
    if (session) actions.copy(session->_text.get());
}

bool NoteEditViewModel::take(const std::string& text) {
    if (!session || !document || isTransforming()) return false;
    emit dictated(qtText(text));
    return true;
}

void NoteEditViewModel::saveLater() {
    autosave = actions.all().actor.schedule(pause, [this] {
        if (!isTransforming() && !isAsking()) write(NoteWriter::Rule::asIs);
    });
}

void NoteEditViewModel::save() {
    cancel();
    if (!isAsking()) write(NoteWriter::Rule::asIs);
}

void NoteEditViewModel::leave() {
    if (!session) return;
    cancel();
    if (!hasUnsavedText()) {
        finishLeaving();
        return;
    }
    // The other questions need an answer.
    if (isAsking() && trouble != Trouble::notStored) return;
    isLeaving = true;
    emit changed();
    write(NoteWriter::Rule::asIs);
}

void NoteEditViewModel::finishLeaving() {
    const bool isEmptied = isBlank() && !text::trimmed(std::string_view(note.known.text)).empty();
    std::optional<NoteWriter::Request> undo;
    if (note.known.text != note.opened.text)
        undo = NoteWriter::Request{note.known, note.opened.text, NoteWriter::Rule::asIs, now()};
    close(isEmptied ? tr("An empty note is not saved: it is as it was.")
          : undo    ? tr("Saved.")
                    : QString(),
        undo);
}

void NoteEditViewModel::write(NoteWriter::Rule rule) {
    autosave.reset();
    if (isSaving || !hasUnsavedText()) return;
    isSaving = true;
    const NoteWriter::Request request{note.known, session->_text.get(), rule, now()};
    const auto outcome = std::make_shared<NoteWriter::Outcome>();
    const std::weak_ptr<int> weak = alive;
    actions.inBackground(
        [request, outcome, &history = actions.all().history] {
            *outcome = NoteWriter::write(history, request);
        },
        [this, weak, request, outcome] {
            if (!weak.expired()) written(request, *outcome);
        });
}

void NoteEditViewModel::written(
    const NoteWriter::Request& request, const NoteWriter::Outcome& outcome) {
    using Kind = NoteWriter::Outcome::Kind;
    isSaving = false;
    if (!session || note.known.id != request.known.id) return;
    switch (outcome.kind) {
    case Kind::failed: problem = outcome.problem; return ask(Trouble::notStored);
    case Kind::changed: note.other = outcome.entry; return ask(Trouble::changedElsewhere);
    case Kind::deleted: return ask(Trouble::deleted);
    case Kind::stored: break;
    }
    note.known = *outcome.entry;
    note.settled = request.text;
    trouble = Trouble::none;
    wasSaved = true;
    actions.refreshHistory();
    if (hasUnsavedText() && isLeaving)
        write(NoteWriter::Rule::asIs);
    else if (hasUnsavedText())
        saveLater();
    else if (isLeaving)
        return finishLeaving();
    emit changed();
}

void NoteEditViewModel::ask(Trouble what) {
    const bool isNew = trouble != what;
    trouble = what;
    isLeaving = false;
    emit changed();
    if (isNew) emit asked();
}

void NoteEditViewModel::reply(bool isOther) {
    if (!isAsking()) return;
    cancel(); // neither half a text nor the other one would come through it
    switch (trouble) {
    case Trouble::none: return;
    case Trouble::notStored:
        if (isOther) return close(tr("Changes discarded."));
        trouble = Trouble::none;
        write(NoteWriter::Rule::asIs);
        break;
    case Trouble::changedElsewhere:
        trouble = Trouble::none;
        if (isOther)
            takeOver(*note.other);
        else
            write(NoteWriter::Rule::anyway);
        break;
    case Trouble::deleted:
        if (isOther) return close({});
        trouble = Trouble::none;
        if (!hasUnsavedText()) note.settled.clear(); // what is stored is nowhere now
        write(NoteWriter::Rule::anyway);
        break;
    }
    emit changed();
}

/// What was in the editor is one step back.
void NoteEditViewModel::takeOver(const DictationEntry& entry) {
    const auto before = session->_text.get();
    note.known = entry;
    note.settled = entry.text;
    note.other.reset();
    if (before == entry.text) return;
    checkpoints.push_back(before);
    (void)session->edit(entry.text);
}

void NoteEditViewModel::historyChanged() {
    if (!session || isSaving || !actions.historyProblem().empty()) return;
    const auto entry = find(actions.entries(), note.known.id);
    if (!entry) {
        if (trouble != Trouble::deleted) ask(Trouble::deleted);
        return;
    }
    if (trouble == Trouble::deleted) trouble = Trouble::none; // it is back
    if (entry->text == note.known.text) {
        note.known = *entry;
    } else if (!isTransforming() && (!hasUnsavedText() || session->_text.get() == entry->text)) {
        trouble = Trouble::none;
        takeOver(*entry);
    } else {
        note.other = entry;
        ask(Trouble::changedElsewhere);
    }
    emit changed();
}

} // namespace nimbe
