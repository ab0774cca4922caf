#pragma once

#include <QtCore/QString>
#include <string>
#include <string_view>

namespace nimbe {

/// UTF-8 to the toolkit's text; what is not UTF-8 becomes U+FFFD.
[[nodiscard]] inline QString qtText(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

[[nodiscard]] inline std::string utf8(const QString& text) {
    const QByteArray bytes = text.toUtf8();
    return {bytes.constData(), static_cast<std::size_t>(bytes.size())};
}

} // namespace nimbe
