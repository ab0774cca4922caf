#pragma once

#include <QtCore/QString>

class QFont;

namespace nimbe {

/// The end of a text as it stands, wrapped at `width` pixels, on at most `lines` lines,
/// with "…" before it when it had a beginning. Cut between words, or, in a word longer
/// than the lines, between characters as the user counts them. Its cost does not grow
/// with the text.
[[nodiscard]] QString transcriptTail(
    const QString& text, const QFont& font, qreal width, int lines);

} // namespace nimbe
