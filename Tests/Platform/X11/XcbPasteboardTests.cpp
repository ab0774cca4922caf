#include <algorithm>

#include "PasteboardTest.h"
#include "PlatformX11/XcbPasteboard.h"
#include "Support/Process.h"

namespace nimbe {
namespace {

const std::string beyondThePlane = "Grüße, 你好 😀 𝄞\nend";

/// xclip stays behind, without our pipes, and owns what it is given.
void copyWithXclip(const std::string& target, const std::string& data) {
    const char* script = R"(file=$(mktemp) && cat >$file &&
        xclip -selection clipboard -i -t "$1" $file >/dev/null 2>&1; rm $file)";
    const auto process = Process::run({"/bin/sh", "-c", script, "sh", target}, data);
    ASSERT_EQ(process.exitCode, 0) << process.error;
}

Process pasteWithXclip(const std::string& target) {
    return Process::run({"/usr/bin/xclip", "-selection", "clipboard", "-o", "-t", target}, "");
}

/// What office programs and password stores leave: forms of every kind.
std::vector<Form> oddForms() {
    std::vector<Form> forms{
        utf8(beyondThePlane),
        {"STRING",
            bytes("Gr\xFC\xDF"
                  "e"),
            "STRING", 8},
        {"TEXT", bytes("\x1B%/1"), "COMPOUND_TEXT", 8},
        {"text/plain;charset=utf-8", bytes(beyondThePlane), "text/plain;charset=utf-8", 8},
        {"text/html",
            bytes("<b>Gr\xC3\xBC\xC3\x9F"
                  "e</b>"),
            "text/html", 8},
        {"x-kde-passwordManagerHint", bytes("secret"), "x-kde-passwordManagerHint", 8},
        {"application/x-custom;value=\"a b\"", Bytes{0, 1, 255, 0}, "x-other-type", 8},
        {"an/empty-marker", {}, "an/empty-marker", 8},
        {"LENGTH", Bytes{1, 2, 3, 4, 255, 255, 255, 255}, "INTEGER", 32},
        {"x/sixteen", Bytes{1, 2, 3, 4, 5, 6}, "x/sixteen", 16},
        {"image/png", bytes("\x89PNG"), "image/png", 8},
    };
    forms.push_back(large("image/bmp", 700'001));
    return forms;
}

TEST_F(PasteboardTest, textStandsInTheTypeThatAProgramExpects) {
    struct Case {
        const char* why;
        std::string text;
        std::string target;
        std::optional<std::string> data; // absent: refused
        std::string type;
    };
    const Case cases[] = {
        {"what toolkits ask for", beyondThePlane, "UTF8_STRING", beyondThePlane, "UTF8_STRING"},
        {"what browsers ask for", beyondThePlane, "text/plain;charset=utf-8", beyondThePlane,
            "text/plain;charset=utf-8"},
        {"Latin-1 by convention", "Grüße ÿ", "STRING",
            "Gr\xFC\xDF"
            "e \xFF",
            "STRING"},
        {"one letter beyond Latin-1", "Grüße Ā", "STRING", std::nullopt, ""},
        {"outside the BMP", "a😀", "STRING", std::nullopt, ""},
        {"cut off within a letter", "a\xC3", "STRING", std::nullopt, ""},
        {"the owner's choice: Latin-1", "Grüße", "TEXT",
            "Gr\xFC\xDF"
            "e",
            "STRING"},
        {"the owner's choice: UTF-8", "Ā", "TEXT", "Ā", "UTF8_STRING"},
        {"nothing at all is text too", "", "UTF8_STRING", "", "UTF8_STRING"},
        {"never offered", "a", "image/png", std::nullopt, ""},
    };
    for (const auto& c : cases) {
        ASSERT_GT(write(Contents::plainText(c.text)), 0);
        const auto form = other.fetch(c.target);
        ASSERT_EQ(form.has_value(), c.data.has_value()) << c.why;
        const auto targets = other.targets();
        EXPECT_EQ(std::count(targets.begin(), targets.end(), c.target), c.data ? 1 : 0) << c.why;
        if (!form) continue;
        EXPECT_EQ(form->data, bytes(*c.data)) << c.why;
        EXPECT_EQ(form->encoding, c.type) << c.why;
        EXPECT_EQ(pasteWithXclip(c.target).output, *c.data) << c.why;
    }
}

TEST_F(PasteboardTest, whatXclipCopiesIsReadAndPutBack) {
    struct Case {
        const char* target;
        std::string data;
    };
    const Case cases[] = {
        {"UTF8_STRING", beyondThePlane},
        {"text/html", "<i>x</i>"},
        {"application/x-custom;value=\"a b\"", std::string("\0\xFF\n", 3)},
        {"image/png", std::string(5'000'000, '\x89')},
    };
    for (const auto& c : cases) {
        copyWithXclip(c.target, c.data);
        while (text(c.target) != c.data) continue; // it returns before it is the owner
        const auto before = snapshot();
        ASSERT_FALSE(before.forms.empty()) << c.target;
        const auto change = write(Contents::concealedText("dictated"));
        ASSERT_TRUE(replace(change, before)) << c.target;
        EXPECT_EQ(pasteWithXclip(c.target).output, c.data) << c.target;
    }
}

TEST_F(PasteboardTest, formsOfEveryKindComeBackByteForByte) {
    const auto forms = oddForms();
    const StrangeOwner owner(forms);
    const auto before = snapshot();
    EXPECT_EQ(before.forms, forms);
    EXPECT_EQ(owner.deletions, 0);

    const auto change = write(Contents::concealedText("dictated"));
    EXPECT_EQ(text(), "dictated");
    ASSERT_TRUE(replace(change, before));

    std::vector<std::string> expected{"TARGETS", "TIMESTAMP", "MULTIPLE"};
    for (const auto& form : forms) {
        EXPECT_EQ(other.fetch(form.type), form) << form.type;
        expected.push_back(form.type);
    }
    EXPECT_EQ(other.targets(), expected);
    EXPECT_EQ(snapshot(), before) << "its own";
}

TEST_F(PasteboardTest, thirtyMegabytesGoBothWays) {
    const auto form = large("image/bmp", 30'000'001);
    const StrangeOwner owner({form, utf8("beside it")});
    const auto before = snapshot();
    ASSERT_EQ(before.forms.size(), 2U) << log.all();
    EXPECT_EQ(before.forms[0], form);
    ASSERT_TRUE(replace(write(Contents::plainText("x")), before));
    EXPECT_EQ(other.fetch("image/bmp"), form);
    EXPECT_EQ(text(), "beside it");
}

TEST_F(PasteboardTest, severalFormsComeInOneRequest) {
    ASSERT_GT(write({{utf8("together"), large("image/bmp", 1000)}}), 0);
    const auto answers = other.fetchTogether({"UTF8_STRING", "image/none", "image/bmp"});
    EXPECT_EQ(answers[0], utf8("together"));
    EXPECT_EQ(answers[1], std::nullopt);
    EXPECT_EQ(answers[2], large("image/bmp", 1000));
}

TEST_F(PasteboardTest, anotherProgramsCopyIsNeverOverwritten) {
    const auto change = write(Contents::plainText("dictated"));
    const StrangeOwner owner({utf8("copied meanwhile")});
    EXPECT_FALSE(replace(change, Contents::plainText("from before")));
    EXPECT_EQ(text(), "copied meanwhile");
    EXPECT_EQ(snapshot().forms, std::vector{utf8("copied meanwhile")}) << "not its own any more";
    EXPECT_GT(write(Contents::plainText("dictated again")), change) << "a write may";
    EXPECT_EQ(text(), "dictated again");
}

TEST_F(PasteboardTest, aCopyAtTheSameMomentStaysWhoeverIsFirst) {
    StrangeOwner owner({utf8("copied")});
    int replaced = 0;
    for (int i = 0; i < 300; ++i) {
        const auto change = write(Contents::plainText("dictated"));
        const auto written = loop.now();
        while (loop.now() - written < 0.003) (void)other.targets();
        auto replacing = board->replace(change, Contents::plainText("from before"));
        const auto called = loop.now();
        while (loop.now() - called < i * 1e-6) continue; // the moments differ
        owner.takeSelection();
        replaced += wait(std::move(replacing)) ? 1 : 0;
        ASSERT_EQ(text(), "copied") << "after " << i;
    }
    EXPECT_GT(replaced, 0);
    EXPECT_LT(replaced, 300) << "both orders are meant";
}

TEST_F(PasteboardTest, aCopyIsSeenAtOnce) {
    StrangeOwner owner({utf8("copied")});
    for (int i = 0; i < 100; ++i) {
        ASSERT_GT(write(Contents::plainText("dictated")), 0);
        owner.takeSelection();
        ASSERT_EQ(snapshot().forms, std::vector{utf8("copied")}) << "after " << i;
    }
}

TEST_F(PasteboardTest, onlyTheNewestWriteIsReplaced) {
    auto first = board->write(Contents::plainText("first"));
    auto second = board->write(Contents::plainText("second"));
    const auto newest = wait(std::move(second));
    const auto older = wait(std::move(first));
    ASSERT_TRUE(older && newest);
    EXPECT_EQ(text(), "second") << "in the order of the calls";
    EXPECT_FALSE(replace(*older, Contents::plainText("wrong")));
    EXPECT_TRUE(replace(*newest, Contents::plainText("from before")));
    EXPECT_FALSE(replace(*newest, Contents::plainText("twice")));
    EXPECT_EQ(text(), "from before");
}

TEST_F(PasteboardTest, aReplacedPasteboardHasANewTime) {
    const auto change = write(Contents::plainText("dictated"));
    const auto before = other.fetch("TIMESTAMP");
    const auto written = loop.now();
    while (loop.now() - written < 0.005) (void)other.targets(); // the server counts in ms
    ASSERT_TRUE(replace(change, Contents::plainText("from before")));
    const auto after = other.fetch("TIMESTAMP");
    ASSERT_TRUE(before && after);
    EXPECT_EQ(before->encoding, "INTEGER");
    EXPECT_NE(before->data, Bytes(4, 0)) << "a real time";
    EXPECT_NE(after->data, before->data) << "who compares them sees that it is not the same";
}

TEST_F(PasteboardTest, anEmptyPasteboardIsOwnedAndOffersNothing) {
    EXPECT_LT(timeOf([&] { EXPECT_EQ(snapshot(), Contents()); }), 0.5) << "nobody owns it";
    const auto change = write(Contents::plainText("dictated"));
    ASSERT_TRUE(replace(change, Contents()));
    EXPECT_EQ(other.targets(), (std::vector<std::string>{"TARGETS", "TIMESTAMP"}));
    EXPECT_EQ(text(), "(refused)");
    EXPECT_EQ(snapshot(), Contents());
}

TEST_F(PasteboardTest, readingTextIsCountedAndNothingElse) {
    const Contents contents{{utf8("dictated"), {"text/plain", bytes("dictated"), {}, 8},
        large("image/png", 10), {"STRING", bytes("dictated"), {}, 8}}};
    const auto change = write(contents);
    (void)other.targets();
    (void)other.fetch("TIMESTAMP");
    (void)other.fetch("image/png");
    (void)other.fetch("text/missing");
    (void)snapshot();
    EXPECT_EQ(board->timesRead(change), 0);
    (void)other.fetch("UTF8_STRING");
    EXPECT_EQ(board->timesRead(change), 1);
    (void)other.fetchTogether({"text/plain", "STRING"});
    EXPECT_EQ(board->timesRead(change), 3);
    ASSERT_TRUE(replace(change, contents));
    (void)other.fetch("UTF8_STRING");
    EXPECT_EQ(board->timesRead(change), 3) << "that was another text";
}

TEST_F(PasteboardTest, aDroppedTaskStillWrites) {
    const auto change = write(Contents::plainText("dictated"));
    { const auto dropped = board->replace(change, Contents::plainText("from before")); }
    (void)snapshot(); // comes after it
    EXPECT_EQ(text(), "from before");
}

TEST_F(PasteboardTest, theTwoSelectionsAreApart) {
    const auto primary = XcbPasteboard::create(loop, "PRIMARY", log);
    ASSERT_GT(write(Contents::plainText("copied")), 0);
    ASSERT_TRUE(wait(primary->write(Contents::plainText("marked"))));
    EXPECT_EQ(other.fetch("UTF8_STRING", "CLIPBOARD")->data, bytes("copied"));
    EXPECT_EQ(other.fetch("UTF8_STRING", "PRIMARY")->data, bytes("marked"));
}

} // namespace
} // namespace nimbe
