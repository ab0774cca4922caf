#include <gtest/gtest.h>

#include "Fakes/FakeKeyEventSource.h"
#include "Fakes/FakeKeyPoster.h"
#include "Fakes/FakeLogSink.h"
#include "Fakes/FakePasteboard.h"
#include "Fakes/FakeWorkspace.h"
#include "Fakes/ManualMainActor.h"
#include "Fakes/MemoryUserDefaults.h"
#include "NimbeApp/AXInserter.h"

namespace nimbe {
namespace {

using Step = FakePasteboard::Step;

const RunningApplication editor{7, 70, "Editor", "Mousepad", {}};
const RunningApplication other{8, 80, "Other", "Other", {}};
const RunningApplication terminal{9, 90, "Terminal", "Xfce4-terminal", {}};
const RunningApplication own{1, 1, "Nimbe", "nimbe", {}};

const PasteboardContents previous{
    {{"text/html", {'<', 'b', '>', 0, 0xff}, {}, 8}, {"UTF8_STRING", {'o', 'l', 'd'}, {}, 8},
        {"application/x-numbers", {1, 0, 0, 0}, "INTEGER", 32}, {"marker", {}, {}, 8}}};

Task<void> deliver(AXInserter& inserter, std::string text, std::optional<RunningApplication> target,
    std::optional<std::string>& outcome) {
    auto delivering = inserter.deliver(std::move(text), std::move(target));
    outcome = co_await delivering;
}

/// A desktop with an editor, and an inserter on it.
struct Scene {
    ManualMainActor actor;
    FakeAccessibilityTrust trust;
    FakeWorkspace workspace{actor};
    FakePasteboard pasteboard;
    FakePasteboard selection;
    FakeKeyPoster keys;
    MemoryUserDefaults defaults;
    FakeLogSink log;
    AXInserter inserter{{actor, trust, workspace, pasteboard, selection, keys, defaults, log}};
    std::optional<std::string> outcome;
    std::optional<std::string> landed; // in the window in front
    TaskHandle delivering;

    Scene() {
        pasteboard.contents = previous;
        selection.contents = PasteboardContents::plainText("selected");
        keys.onPost = [this](PasteChord chord) {
            landed = chord == PasteChord::insert ? selection.paste() : pasteboard.paste();
        };
    }
    void begin(const std::string& text, std::optional<RunningApplication> target) {
        outcome.reset();
        landed.reset();
        delivering = startTask(actor, deliver(inserter, text, std::move(target), outcome));
        actor.runPosted();
    }
    [[nodiscard]] std::string clipboardText() { return pasteboard.paste().value_or("nothing"); }
};

struct AXInserterTest : testing::Test, Scene {};

} // namespace

TEST_F(AXInserterTest, pastesAndPutsEverythingBack) {
    workspace.front = editor;
    begin("Grüße 👋🏽", editor);
    EXPECT_EQ(outcome, "Pasted");
    EXPECT_EQ(landed, "Grüße 👋🏽");
    EXPECT_TRUE(workspace.activated.empty()) << "it was in front already";
    ASSERT_EQ(pasteboard.written.size(), 1U);
    EXPECT_EQ(pasteboard.written[0], PasteboardContents::concealedText("Grüße 👋🏽"));
    actor.advance(0.79);
    EXPECT_NE(pasteboard.contents, previous) << "a slow application still has to fetch it";
    actor.advance(0.01);
    EXPECT_EQ(pasteboard.contents, previous);
    EXPECT_EQ(selection.steps.size(), 0U);
    EXPECT_TRUE(log.has(LogLevel::info, "insert: pasted via Cmd-V into pid=70 len=7")) << log.all();
    EXPECT_EQ(log.all().find("Gr"), std::string::npos) << "what was said is in the log";
}

TEST_F(AXInserterTest, theTextIsMarkedForClipboardManagers) {
    workspace.front = editor;
    begin("secret words", editor);
    std::map<std::string, std::string> forms;
    for (const auto& form : pasteboard.contents.forms)
        forms[form.type] = std::string(form.data.begin(), form.data.end());
    EXPECT_EQ(forms.at("org.nspasteboard.TransientType"), "");
    EXPECT_EQ(forms.at("org.nspasteboard.ConcealedType"), "");
    EXPECT_EQ(forms.at("x-kde-passwordManagerHint"), "secret");
    EXPECT_EQ(forms.at("text/plain;charset=utf-8"), "secret words");
}

TEST_F(AXInserterTest, anEmptyClipboardIsEmptyAgain) {
    pasteboard.contents = {};
    workspace.front = editor;
    begin("text", editor);
    actor.advance(0.8);
    EXPECT_EQ(outcome, "Pasted");
    EXPECT_TRUE(pasteboard.contents.forms.empty());
}

TEST_F(AXInserterTest, whereTextStaysOnTheClipboard) {
    struct Case {
        const char* why;
        std::optional<RunningApplication> target;
        std::function<void(Scene&)> given;
        Seconds after;
        const char* outcome;
        bool isMarked; // as a dictation; otherwise as any copied text
    };
    const Case cases[] = {
        {"not trusted", editor, [](auto& t) { t.trust.trusted = false; }, 0,
            "Copied to clipboard, grant Accessibility to auto-insert", false},
        {"trust is asked before the target", std::nullopt, [](auto& t) { t.trust.trusted = false; },
            0, "Copied to clipboard, grant Accessibility to auto-insert", false},
        {"no target", std::nullopt, [](auto&) {}, 0, "Copied to clipboard", false},
        {"the target is this program", own, [](auto& t) { t.workspace.front = own; }, 0,
            "Copied to clipboard", false},
        {"it never comes forward", editor,
            [](auto& t) { t.workspace.activationDelay = std::nullopt; }, 1.03,
            "Copied to clipboard. Editor didn't come forward.", true},
        {"nor does one without a name", RunningApplication{7, 70, {}, "x", {}},
            [](auto& t) { t.workspace.activationDelay = std::nullopt; }, 1.03,
            "Copied to clipboard. the app didn't come forward.", true},
        {"another one comes instead", editor,
            [](auto& t) {
                t.workspace.activationDelay = std::nullopt;
                t.workspace.front = other;
            },
            1.03, "Copied to clipboard. Editor didn't come forward.", true},
        {"keys cannot be sent", editor,
            [](auto& t) {
                t.workspace.front = editor;
                t.keys.works = false;
            },
            0, "Copied to clipboard", true},
    };
    for (const auto& c : cases) {
        Scene fresh;
        c.given(fresh);
        fresh.begin("words", c.target);
        fresh.actor.advance(c.after);
        EXPECT_EQ(fresh.outcome, c.outcome) << c.why;
        fresh.actor.advance(10);
        EXPECT_EQ(fresh.clipboardText(), "words") << c.why << ": it was taken back";
        EXPECT_FALSE(fresh.landed) << c.why;
        EXPECT_EQ(
            fresh.pasteboard.contents == PasteboardContents::concealedText("words"), c.isMarked)
            << c.why;
    }
}

TEST_F(AXInserterTest, waitsForTheTargetToComeForward) {
    struct Case {
        const char* why;
        Seconds delay;
        bool isTold;
        const char* outcome;
    };
    const Case cases[] = {
        {"told of at once", 0.005, true, "Pasted"},
        {"nobody tells: seen at the next look", 0.05, false, "Pasted"},
        {"just in time", 0.999, false, "Pasted"},
        {"too late", 1.2, true, "Copied to clipboard. Editor didn't come forward."},
    };
    for (const auto& c : cases) {
        Scene fresh;
        fresh.workspace.front = other;
        fresh.workspace.activationDelay = std::nullopt;
        const Token coming = fresh.actor.schedule(c.delay, [&] {
            fresh.workspace.front = editor;
            if (c.isTold) fresh.workspace.bringForward(editor);
        });
        fresh.begin("words", editor);
        EXPECT_EQ(fresh.workspace.activated.size(), 1U) << c.why;
        const Seconds look = c.isTold ? 0.001 : 0.031;
        fresh.actor.advance(std::min(c.delay + look, 1.031));
        EXPECT_EQ(fresh.outcome, c.outcome) << c.why;
        EXPECT_EQ(fresh.workspace.observerCount(), 0U) << c.why;
        fresh.actor.advance(10);
        EXPECT_EQ(fresh.actor.pendingTimers(), 0U) << c.why;
    }
}

TEST_F(AXInserterTest, neverPastesIntoAnotherWindow) {
    workspace.front = editor;
    // The clipboard's owner takes its time, and the user goes elsewhere.
    pasteboard.before = [&](Step step) {
        if (step == Step::write) workspace.front = other;
    };
    begin("words", editor);
    EXPECT_EQ(outcome, "Copied to clipboard");
    EXPECT_TRUE(keys.posted.empty());
    actor.advance(10);
    EXPECT_EQ(clipboardText(), "words");
}

TEST_F(AXInserterTest, whatIsCopiedMeanwhileStays) {
    workspace.front = editor;
    begin("words", editor);
    actor.advance(0.5);
    const auto newer = PasteboardContents::plainText("copied by hand");
    pasteboard.writeFromElsewhere(newer);
    actor.advance(10);
    EXPECT_EQ(pasteboard.contents, newer);
}

TEST_F(AXInserterTest, theSecondOfTwoQuickTextsPutsBackWhatWasThereBeforeBoth) {
    workspace.front = editor;
    begin("first", editor);
    actor.advance(0.4);
    begin("second", editor);
    EXPECT_EQ(landed, "second");
    actor.advance(0.5);
    EXPECT_EQ(clipboardText(), "second") << "the first one's delay is not the second one's";
    actor.advance(0.31);
    EXPECT_EQ(pasteboard.contents, previous);
}

TEST_F(AXInserterTest, aCopyEndsThePlanToPutBack) {
    workspace.front = editor;
    begin("first", editor);
    begin("second", std::nullopt);
    EXPECT_EQ(outcome, "Copied to clipboard");
    actor.advance(10);
    EXPECT_EQ(clipboardText(), "second");
}

TEST_F(AXInserterTest, settlesBeforeTheProgramEnds) {
    workspace.front = editor;
    begin("words", editor);
    delivering = startTask(actor, inserter.settle());
    actor.runPosted();
    EXPECT_EQ(pasteboard.contents, previous);
    EXPECT_EQ(actor.pendingTimers(), 0U);

    // An application that takes its time still has it.
    keys.onPost = {};
    begin("words", editor);
    delivering = startTask(actor, inserter.settle());
    actor.advance(0.3);
    EXPECT_EQ(clipboardText(), "words");
    actor.advance(0.05);
    EXPECT_EQ(pasteboard.contents, previous);
    begin("words", editor);
    delivering = startTask(actor, inserter.settle());
    actor.advance(0.79);
    EXPECT_NE(pasteboard.contents, previous);
    actor.advance(0.05);
    EXPECT_EQ(pasteboard.contents, previous) << "it never came";
}

TEST_F(AXInserterTest, aClipboardManagerThatFetchesTheTextIsNotThePaste) {
    workspace.front = editor;
    pasteboard.onTaken = [this] {
        (void)pasteboard.paste();
    };
    keys.onPost = {};
    begin("words", editor);
    delivering = startTask(actor, inserter.settle());
    actor.advance(0.3);
    EXPECT_NE(pasteboard.contents, previous) << "the application still has to fetch it";
    EXPECT_EQ(clipboardText(), "words");
    actor.advance(0.05);
    EXPECT_EQ(pasteboard.contents, previous);
}

TEST_F(AXInserterTest, terminalsPasteInTheirOwnWay) {
    struct Case {
        const char* why;
        const char* windowClass;
        std::vector<std::string> own;
        PasteChord chord;
        bool usesSelection;
    };
    const Case cases[] = {
        {"an editor", "Mousepad", {}, PasteChord::standard, false},
        {"a known terminal", "Xfce4-terminal", {}, PasteChord::terminal, true},
        {"one that pastes the selection only", "XTerm", {}, PasteChord::insert, true},
        {"one that the user named", "Mousepad", {"mousepad"}, PasteChord::terminal, true},
    };
    for (const auto& c : cases) {
        Scene fresh;
        (void)fresh.defaults.set(PasteRules::own, c.own);
        const RunningApplication target{9, 90, "T", c.windowClass, {}};
        fresh.workspace.front = target;
        fresh.begin("words", target);
        ASSERT_EQ(fresh.keys.posted, std::vector{c.chord}) << c.why;
        EXPECT_EQ(fresh.landed, "words") << c.why;
        EXPECT_EQ(fresh.selection.isOwn(), c.usesSelection) << c.why;
        fresh.actor.advance(0.8);
        EXPECT_EQ(fresh.pasteboard.contents, previous) << c.why;
        EXPECT_EQ(fresh.selection.contents, PasteboardContents::plainText("selected")) << c.why;
    }
}

TEST_F(AXInserterTest, aClipboardThatCannotBeTakenOver) {
    workspace.front = editor;
    pasteboard.failing = Step::write;
    for (const auto& target : {std::optional(editor), std::optional<RunningApplication>()}) {
        begin("words", target);
        EXPECT_EQ(outcome, "The clipboard can't be reached. The text is in your history.");
        EXPECT_TRUE(keys.posted.empty());
    }
    actor.advance(10);
    EXPECT_EQ(pasteboard.contents, previous);
}

} // namespace nimbe
