#pragma once

#include <QtCore/QString>

class QTextDocument;

namespace nimbe {

/// Plain text in a document of the toolkit, which by itself gives some of the white space
/// back changed.
struct PlainTextDocument {
    enum class Undo {
        step, // one of its own
        join, // part of the step before
        none  // the document forgets all steps
    };

    /// Lines end with "\n"; no-break spaces stay what they are.
    [[nodiscard]] static QString text(const QTextDocument& document);

    /// Only what differs at the end is written, so that a text that grows costs little.
    static void replace(QTextDocument& document, const QString& text, Undo undo);
};

} // namespace nimbe
