#include "NimbeKitCore/History/MarkdownExporter.h"

#include "Foundation/ISO8601.h"

namespace nimbe {

std::string MarkdownExporter::fileName(const DictationEntry& entry) {
    constexpr std::size_t dayLength = 10; // of "2026-03-07T21:48:30Z"
    constexpr std::size_t idLength = 8;
    return "Nimbe " + iso8601::format(entry.timestamp).substr(0, dayLength) + " " +
           entry.id.text().substr(0, idLength) + ".md";
}

std::string MarkdownExporter::fileBody(const DictationEntry& entry) {
    std::string body = "---\ncreated: " + iso8601::format(entry.timestamp) + "\nsource: nimbe\n";
    if (entry.originalText && *entry.originalText != entry.text) body += "edited: true\n";
    return body + "---\n\n" + entry.text;
}

} // namespace nimbe
