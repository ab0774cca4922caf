#include "NimbeUI/TranscriptTail.h"

#include <QtCore/QTextBoundaryFinder>
#include <QtGui/QTextLayout>
#include <QtGui/QTextOption>

namespace nimbe {
namespace {

// Far more than fits on the overlay's lines, in UTF-16 units.
constexpr qsizetype mostUnits = 1200;

int lineCount(const QString& text, const QFont& font, qreal width) {
    QTextLayout layout(text, font);
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    layout.setTextOption(option);
    layout.beginLayout();
    int count = 0;
    for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
        line.setLineWidth(width);
        ++count;
    }
    layout.endLayout();
    return count;
}

/// The beginnings of words, or of characters, in order.
QList<qsizetype> cuts(const QString& text, QTextBoundaryFinder::BoundaryType type) {
    QList<qsizetype> result;
    QTextBoundaryFinder finder(type, text);
    for (qsizetype at = finder.toNextBoundary(); at > 0 && at < text.size();
         at = finder.toNextBoundary())
        if (type == QTextBoundaryFinder::Grapheme ||
            finder.boundaryReasons().testFlag(QTextBoundaryFinder::StartOfItem))
            result.append(at);
    return result;
}

/// The longest end that fits, which grows shorter with each cut.
QString longestFitting(
    const QString& text, const QList<qsizetype>& at, const QFont& font, qreal width, int lines) {
    qsizetype low = 0;
    qsizetype high = at.size();
    QString best;
    while (low < high) {
        const qsizetype middle = (low + high) / 2;
        const QString candidate = QStringLiteral("… ") + text.mid(at[middle]);
        if (lineCount(candidate, font, width) <= lines) {
            best = candidate;
            high = middle;
        } else {
            low = middle + 1;
        }
    }
    return best;
}

} // namespace

QString transcriptTail(const QString& text, const QFont& font, qreal width, int lines) {
    const QString whole = text.simplified();
    const bool isCut = whole.size() > mostUnits;
    QString end = isCut ? whole.right(mostUnits) : whole;
    if (!isCut && lineCount(end, font, width) <= lines) return end;
    QString byWords = longestFitting(end, cuts(end, QTextBoundaryFinder::Word), font, width, lines);
    // The last word alone says little when it is one that fills the lines.
    if (byWords.size() > 12) return byWords;
    const QString byCharacters =
        longestFitting(end, cuts(end, QTextBoundaryFinder::Grapheme), font, width, lines);
    return byCharacters.isEmpty() ? byWords : byCharacters;
}

} // namespace nimbe
