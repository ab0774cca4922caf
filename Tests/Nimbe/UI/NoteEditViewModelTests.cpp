#include <QtGui/QTextCursor>
#include <QtGui/QTextDocument>

#include <gtest/gtest.h>

#include "Fakes/FakeCaptureHUD.h"
#include "Fakes/ManualMainActor.h"
#include "NimbeUI/HistoryListModel.h"
#include "NimbeUI/NoteEditViewModel.h"
#include "NimbeUI/PlainTextDocument.h"
#include "NimbeUI/QtText.h"
#include "UIScene.h"

namespace nimbe {
namespace {

using Answer = FakeTransformProvider::Answer;
using Outcome = TransformProvider::Outcome;
constexpr int shorter = 0;

struct NoteEditViewModelTest : testing::Test {
    ManualMainActor actor;
    EngineScene below{actor};
    FakeCaptureHUD hud;
    UIScene scene{below, hud};
    Date now = Date::fromUnix(1'790'000'000); // 2026-09-21 14:13:20 UTC
    std::vector<std::function<void()>> jobs;  // of the background, while it is slow
    bool isSlow = false;
    std::unique_ptr<DesktopActions> actions;
    std::unique_ptr<HistoryListModel> list;
    std::unique_ptr<NoteEditViewModel> note;
    UUID id = UUID::random();
    int asked = 0;

    void open(const std::string& text = "The first text.") {
        id = scene.history.append(text, DictationMode::notes, now + -86400).id;
        auto services = scene.services();
        services.inBackground = [this](std::function<void()> job) {
            if (isSlow)
                jobs.push_back(std::move(job));
            else
                job();
        };
        actions = std::make_unique<DesktopActions>(std::move(services));
        list = std::make_unique<HistoryListModel>(*actions);
        note = std::make_unique<NoteEditViewModel>(
            *actions, Calendar({"en_US"}, "UTC"), [this] { return now; });
        QObject::connect(
            note.get(), &NoteEditViewModel::left, list.get(), &HistoryListModel::sayOfNote);
        QObject::connect(note.get(), &NoteEditViewModel::asked, [this] { ++asked; });
        actions->refreshHistory();
        actor.runPosted();
        ASSERT_TRUE(note->open(qtText(id.text())));
    }
    void finishJobs() {
        isSlow = false;
        for (const auto& job : std::exchange(jobs, {})) job();
        actor.runPosted();
    }
    void type(const std::string& text) { EXPECT_TRUE(note->edit(qtText(text))); }
    void leave() {
        note->leave();
        actor.runPosted();
    }
    void changeElsewhere(const std::function<void()>& change) {
        change();
        actions->refreshHistory();
        actor.runPosted();
    }
    [[nodiscard]] std::string stored() {
        for (const auto& entry : scene.history.entries())
            if (entry.id == id) return entry.text;
        return "(none)";
    }
    [[nodiscard]] std::string text() const { return utf8(note->text()); }
    [[nodiscard]] std::string notice() const { return utf8(note->notice()); }
};

} // namespace

TEST_F(NoteEditViewModelTest, whatIsTypedIsStoredAfterAPauseAndWhenItIsLeft) {
    open();
    EXPECT_EQ(utf8(note->when().replace(QChar(0x202f), ' ')), "Yesterday, 2:13 PM");
    type("Grüße 👍");
    actor.advance(1.9);
    EXPECT_EQ(stored(), "The first text.");
    actor.advance(0.2);
    actor.runPosted();
    EXPECT_EQ(stored(), "Grüße 👍");
    EXPECT_EQ(utf8(note->saving()), "Saved");
    type("Grüße 👍👍");
    EXPECT_EQ(utf8(note->saving()), "");
    leave();
    EXPECT_FALSE(note->isOpen());
    EXPECT_EQ(stored(), "Grüße 👍👍");
    EXPECT_EQ(utf8(list->notice()), "Saved.");
    ASSERT_TRUE(list->canUndo());
    list->undo();
    actor.runPosted();
    EXPECT_EQ(stored(), "The first text.") << "as it was when the editor opened";
}

TEST_F(NoteEditViewModelTest, aTextIsTypedOnWhileItIsStored) {
    open();
    isSlow = true;
    type("One");
    note->leave();
    type("One two");
    EXPECT_TRUE(note->isOpen());
    finishJobs();
    EXPECT_FALSE(note->isOpen());
    EXPECT_EQ(stored(), "One two") << "the last text counts";
}

TEST_F(NoteEditViewModelTest, aBlankTextIsNeverStored) {
    open();
    type(" \n\u00a0");
    EXPECT_NE(notice().find("empty"), std::string::npos);
    actor.advance(10);
    leave();
    EXPECT_FALSE(note->isOpen());
    EXPECT_EQ(stored(), "The first text.");
    EXPECT_NE(utf8(list->notice()).find("empty"), std::string::npos) << "it is said";
}

TEST_F(NoteEditViewModelTest, whatCannotBeStoredStaysInTheEditor) {
    open();
    below.defaults.refusesWrites = true;
    type("Mine.");
    leave();
    EXPECT_EQ(asked, 1);
    EXPECT_EQ(text(), "Mine.");
    EXPECT_EQ(notice().find("Not saved. "), 0U) << notice();
    actor.advance(10);
    leave();
    EXPECT_EQ(asked, 1) << "it is asked once";
    EXPECT_TRUE(note->isOpen());
    below.defaults.refusesWrites = false;
    note->reply(false);
    actor.runPosted();
    EXPECT_EQ(stored(), "Mine.");
    EXPECT_EQ(notice(), "");
    below.defaults.refusesWrites = true;
    type("Not wanted.");
    leave();
    note->reply(true);
    EXPECT_FALSE(note->isOpen());
    EXPECT_EQ(stored(), "Mine.");
}

TEST_F(NoteEditViewModelTest, aNoteThatWasChangedElsewhere) {
    struct Case {
        const char* why;
        bool isEdited;
        std::optional<bool> other; // the reply; absent: nothing is asked
        const char* stored;
        const char* inEditor;
    };
    const Case cases[] = {
        {"an untouched text follows", false, std::nullopt, "Theirs.", "Theirs."},
        {"mine is kept", true, false, "Mine.", "Mine."},
        {"theirs is taken", true, true, "Theirs.", "Theirs."},
    };
    for (const auto& c : cases) {
        open();
        asked = 0;
        if (c.isEdited) type("Mine.");
        changeElsewhere([&] { scene.history.update(id, "Theirs."); });
        EXPECT_EQ(asked, c.other ? 1 : 0) << c.why;
        EXPECT_EQ(text(), c.other ? "Mine." : "Theirs.") << c.why;
        leave();
        EXPECT_EQ(note->isOpen(), c.other.has_value()) << c.why;
        EXPECT_EQ(stored(), "Theirs.") << c.why << ": nothing is lost unasked";
        if (!c.other) continue;
        note->reply(*c.other);
        actor.runPosted();
        EXPECT_EQ(stored(), c.stored) << c.why;
        EXPECT_EQ(text(), c.inEditor) << c.why;
        if (!*c.other) continue;
        note->undo();
        EXPECT_EQ(text(), "Mine.") << c.why;
    }
}

TEST_F(NoteEditViewModelTest, aChangeThatWasNotHeardOfIsFoundWhenStoring) {
    open();
    type("Mine.");
    scene.history.update(id, "Theirs.");
    leave();
    EXPECT_EQ(stored(), "Theirs.");
    EXPECT_EQ(asked, 1);
    EXPECT_EQ(text(), "Mine.");
}

TEST_F(NoteEditViewModelTest, aNoteThatWasDeletedElsewhere) {
    open();
    scene.history.update(id, "Edited before.");
    actions->refreshHistory();
    actor.runPosted();
    changeElsewhere([&] { scene.history.deleteEntry(id, now); });
    EXPECT_EQ(asked, 1);
    type("Mine.");
    note->reply(false);
    actor.runPosted();
    EXPECT_EQ(stored(), "Mine.");
    EXPECT_EQ(scene.history.entries()[0].originalText, "The first text.") << "with what it had";
    EXPECT_TRUE(scene.history.trashed(now).empty());

    changeElsewhere([&] { // for good
        scene.history.deleteEntry(id, now);
        scene.history.emptyTrash();
    });
    note->reply(false);
    actor.runPosted();
    EXPECT_EQ(stored(), "Mine.");

    changeElsewhere([&] { scene.history.deleteEntry(id, now); });
    leave();
    EXPECT_FALSE(note->isOpen()) << "with nothing new in it it just goes";
    EXPECT_EQ(stored(), "(none)");
}

TEST_F(NoteEditViewModelTest, theEndOfTheProgramLosesNothing) {
    open();
    type("Mine.");
    note.reset();
    EXPECT_EQ(stored(), "Mine.");

    open();
    type("Mine, too.");
    changeElsewhere([&] { scene.history.update(id, "Theirs."); });
    note.reset();
    EXPECT_EQ(stored(), "Theirs.");
    EXPECT_EQ(scene.history.entries()[0].text, "Mine, too.") << "beside it";
}

TEST_F(NoteEditViewModelTest, aTransformIsSeenComingAndCanBeUndone) {
    open("The quick brown fox.");
    scene.transforms.answers.push_back(Answer{Outcome{"Fox."}, {{"Fo"}, {"Hidden", false}}, false});
    scene.transforms.answers.push_back(Answer{Outcome{}, {{"- Fo"}}, true});
    note->start(shorter);
    EXPECT_TRUE(note->isTransforming());
    EXPECT_EQ(utf8(note->working()), "Making it shorter…");
    EXPECT_FALSE(note->edit("Typed.")) << "while it runs";
    actor.runPosted();
    ASSERT_FALSE(note->isTransforming());
    EXPECT_EQ(text(), "Fox.");
    EXPECT_EQ(scene.transforms.given[0].first, NoteTransform(TransformPreset::shorter));

    note->start(shorter);
    actor.runPosted();
    EXPECT_EQ(text(), "- Fo");
    actor.advance(10);
    EXPECT_EQ(stored(), "The quick brown fox.") << "half a text is not stored";
    note->cancel();
    EXPECT_EQ(text(), "Fox.");

    ASSERT_TRUE(note->canUndo());
    note->undo();
    EXPECT_EQ(text(), "The quick brown fox.");
    EXPECT_FALSE(note->canUndo());
    leave();
    EXPECT_EQ(utf8(list->notice()), "") << "nothing has changed";
}

TEST_F(NoteEditViewModelTest, leavingEndsATransform) {
    open();
    type("Mine.");
    scene.transforms.answers.push_back(Answer{Outcome{}, {{"Half"}}, true});
    note->reshape("  make it rhyme ");
    actor.runPosted();
    EXPECT_EQ(scene.transforms.given[0].first, NoteTransform(CustomTransform{"make it rhyme"}));
    EXPECT_EQ(text(), "Half");
    leave();
    EXPECT_FALSE(note->isOpen());
    EXPECT_EQ(stored(), "Mine.");
}

TEST_F(NoteEditViewModelTest, nothingIsReshapedWhileTheNoteIsBeingLeft) {
    open();
    isSlow = true;
    type("Mine.");
    note->leave();
    type("Mine, too.");
    EXPECT_FALSE(note->canTransform());
    scene.transforms.answers.push_back(Answer{Outcome{}, {{"Half"}}, true});
    note->start(shorter);
    actor.runPosted();
    finishJobs();
    actor.runPosted();
    EXPECT_FALSE(note->isOpen());
    EXPECT_EQ(stored(), "Mine, too.");
}

TEST_F(NoteEditViewModelTest, anAnswerWhileATransformRunsEndsIt) {
    struct Case {
        const char* why;
        bool isOther;
        const char* stored;
    };
    for (const auto& c : {Case{"half a text is not kept", false, "Mine."},
             Case{"theirs is taken", true, "Theirs."}}) {
        open();
        type("Mine.");
        scene.transforms.answers.push_back(Answer{Outcome{}, {{"Half"}}, true});
        note->start(shorter);
        actor.runPosted();
        changeElsewhere([&] { scene.history.update(id, "Theirs."); });
        ASSERT_TRUE(note->isAsking()) << c.why;
        note->reply(c.isOther);
        actor.runPosted();
        EXPECT_FALSE(note->isTransforming()) << c.why;
        EXPECT_EQ(text(), c.stored) << c.why;
        EXPECT_EQ(stored(), c.stored) << c.why;
    }
}

TEST_F(NoteEditViewModelTest, aFailedTransformSaysWhyAndKeepsTheText) {
    open();
    scene.transforms.answers.push_back(
        Answer{failure(LanguageModelError{LanguageModelError::Kind::timedOut}), {{"Half"}}});
    note->start(shorter);
    actor.runPosted();
    EXPECT_EQ(text(), "The first text.");
    EXPECT_EQ(notice(), "Transform failed. Kept your text. The language model did not answer in "
                        "time.");
    EXPECT_FALSE(note->canUndo());
    leave();
    EXPECT_EQ(stored(), "The first text.");
}

TEST_F(NoteEditViewModelTest, withoutAModelOrATextNothingStarts) {
    using Kind = LanguageModel::Availability::Kind;
    open();
    int changes = 0;
    QObject::connect(note.get(), &NoteEditViewModel::changed, [&] { ++changes; });
    scene.model.published.set({Kind::noServer});
    EXPECT_GT(changes, 0);
    EXPECT_FALSE(note->canTransform());
    note->start(shorter);
    scene.model.published.set({Kind::available});
    EXPECT_TRUE(note->canTransform());
    note->reshape("  ");
    note->start(99);
    type(" ");
    note->start(shorter);
    actor.runPosted();
    EXPECT_TRUE(scene.transforms.given.empty());
}

TEST_F(NoteEditViewModelTest, theOriginalIsAStepThatCanBeUndone) {
    open("First.");
    EXPECT_FALSE(note->hasOriginal());
    type("Second.");
    leave();
    ASSERT_TRUE(note->open(qtText(id.text())));
    ASSERT_TRUE(note->hasOriginal());
    note->restoreOriginal();
    EXPECT_EQ(text(), "First.");
    note->undo();
    EXPECT_EQ(text(), "Second.");
    note->restoreOriginal();
    leave();
    EXPECT_EQ(stored(), "First.");
    EXPECT_EQ(scene.history.entries()[0].originalText, std::nullopt);
}

TEST(PlainTextDocument, givesBackWhatItWasGiven) {
    const char* texts[] = {
        "", "One\n\ntwo\n", "\u00a0no\u00a0break", "👩‍👩‍👧 שלום \t", "a"};
    for (const auto* before : texts) {
        for (const auto* after : texts) {
            QTextDocument document;
            using enum PlainTextDocument::Undo;
            PlainTextDocument::replace(document, before, none);
            EXPECT_EQ(PlainTextDocument::text(document), before);
            PlainTextDocument::replace(document, after, step);
            EXPECT_EQ(PlainTextDocument::text(document), after);
            document.undo();
            EXPECT_EQ(PlainTextDocument::text(document), before) << after;
        }
    }
}

TEST(PlainTextDocument, aTextThatComesBitByBitIsOneStep) {
    using enum PlainTextDocument::Undo;
    QTextDocument document;
    PlainTextDocument::replace(document, "Before.", none);
    PlainTextDocument::replace(document, "👍", step);
    PlainTextDocument::replace(document, "👋", join); // shares half of a character
    PlainTextDocument::replace(document, "👋\nNew.", join);
    EXPECT_EQ(PlainTextDocument::text(document), "👋\nNew.");
    document.undo();
    EXPECT_EQ(PlainTextDocument::text(document), "Before.");
    EXPECT_FALSE(document.isUndoAvailable());
    document.redo();
    EXPECT_EQ(PlainTextDocument::text(document), "👋\nNew.");
}

} // namespace nimbe
