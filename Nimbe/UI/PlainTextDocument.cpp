#include "NimbeUI/PlainTextDocument.h"

#include <QtGui/QTextBlockFormat>
#include <QtGui/QTextCursor>
#include <QtGui/QTextDocument>
#include <algorithm>

namespace nimbe {
namespace {

constexpr double lineHeight = 118; // percent of the type face's own

} // namespace

QString PlainTextDocument::text(const QTextDocument& document) {
    QString raw = document.toRawText();
    for (auto& character : raw)
        if (character == QChar::ParagraphSeparator || character == QChar::LineSeparator)
            character = QLatin1Char('\n');
    return raw;
}

void PlainTextDocument::replace(QTextDocument& document, const QString& wanted, Undo undo) {
    if (undo == Undo::none) {
        document.setUndoRedoEnabled(false); // which forgets them
        document.setPlainText(wanted);
        QTextBlockFormat block; // that of all blocks that are made of this one
        block.setLineHeight(lineHeight, QTextBlockFormat::ProportionalHeight);
        QTextCursor all(&document);
        all.select(QTextCursor::Document);
        all.mergeBlockFormat(block);
        document.setUndoRedoEnabled(true);
        return;
    }
    const QString before = text(document);
    const auto same = std::mismatch(before.begin(), before.end(), wanted.begin(), wanted.end());
    const auto kept = same.first - before.begin();
    QTextCursor cursor(&document);
    if (undo == Undo::join)
        cursor.joinPreviousEditBlock();
    else
        cursor.beginEditBlock();
    cursor.setPosition(static_cast<int>(kept));
    cursor.movePosition(QTextCursor::End, QTextCursor::KeepAnchor);
    cursor.insertText(wanted.mid(kept));
    cursor.endEditBlock();
}

} // namespace nimbe
