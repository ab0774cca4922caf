#include <QtCore/QTextBoundaryFinder>
#include <QtGui/QFont>
#include <QtGui/QFontMetrics>
#include <QtGui/QTextLayout>

#include <gtest/gtest.h>

#include "NimbeUI/QtText.h"
#include "NimbeUI/TranscriptTail.h"

namespace nimbe {
namespace {

QFont face() {
    QFont font("Newsreader");
    font.setPixelSize(19);
    return font;
}

int lines(const QString& text, qreal width) {
    return QFontMetrics(face())
               .boundingRect(QRect(0, 0, static_cast<int>(width), 10000),
                   Qt::TextWordWrap | Qt::TextWrapAnywhere, text)
               .height() /
           QFontMetrics(face()).lineSpacing();
}

QString tail(const std::string& text) {
    return transcriptTail(qtText(text), face(), 430, 3);
}

std::string repeated(const std::string& part, int times) {
    std::string text;
    for (int i = 0; i < times; ++i) text += part;
    return text;
}

} // namespace

TEST(TranscriptTail, whatFitsIsWholeAndOnOneParagraph) {
    EXPECT_EQ(tail(""), "");
    EXPECT_EQ(tail("One\n\ntwo\u2028three "), "One two three");
}

TEST(TranscriptTail, theEndOfALongTextAfterAWholeWord) {
    const auto text = repeated("swallows sat on the wire and ", 400) + "then they flew.";
    const auto end = tail(text);
    EXPECT_TRUE(end.startsWith("… ")) << utf8(end);
    EXPECT_TRUE(end.endsWith("then they flew."));
    EXPECT_LE(lines(end, 430), 3);
    EXPECT_GE(lines(end, 430), 3) << "the room is used";
    EXPECT_TRUE(qtText(text).contains(" " + end.mid(2))) << "cut between words: " << utf8(end);
}

TEST(TranscriptTail, anythingSaidKeepsItsCharactersAndItsSize) {
    struct Case {
        const char* why;
        std::string text;
        std::string end;
    };
    const Case cases[] = {
        {"one endless word", repeated("x", 5000), "xxx"},
        {"families, which are one character of many parts",
            repeated("👩‍👩‍👧‍👦", 600), "👩‍👩‍👧‍👦"},
        {"right to left", repeated("שלום עולם ", 300) + "סוף", "סוף"},
        {"accents as marks of their own", repeated("e\u0301", 3000), "e\u0301"},
    };
    for (const auto& c : cases) {
        const auto end = tail(c.text);
        EXPECT_TRUE(end.startsWith("… ")) << c.why;
        EXPECT_TRUE(end.endsWith(qtText(c.end))) << c.why;
        EXPECT_LE(lines(end, 430), 3) << c.why << ": " << end.size();
        EXPECT_GT(end.size(), 12) << c.why;
        QTextBoundaryFinder characters(QTextBoundaryFinder::Grapheme, qtText(c.text));
        characters.setPosition(qtText(c.text).size() - end.mid(2).size());
        EXPECT_TRUE(characters.isAtBoundary()) << c.why << ": a character was cut";
    }
}

} // namespace nimbe
