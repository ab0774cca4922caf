#include <gtest/gtest.h>

#include "Foundation/ISO8601.h"
#include "NimbeKitCore/History/MarkdownExporter.h"

namespace nimbe {

TEST(MarkdownExporter, namesAndBodies) {
    const auto id = UUID::parse("4f1c09ab-0000-4000-8000-0123456789ab").value();
    struct Case {
        const char* time;
        Seconds fraction;
        std::string text;
        std::optional<std::string> original;
        const char* name;
        const char* body;
    };
    const Case cases[] = {
        {"2026-03-07T21:48:30Z", 0.999, "Hello\nthere", {}, "Nimbe 2026-03-07 4F1C09AB.md",
            "---\ncreated: 2026-03-07T21:48:30Z\nsource: nimbe\n---\n\nHello\nthere"},
        {"2026-03-07T23:30:00-05:00", 0, "late in the evening", "as spoken",
            "Nimbe 2026-03-08 4F1C09AB.md",
            "---\ncreated: 2026-03-08T04:30:00Z\nsource: nimbe\nedited: true\n---\n\n"
            "late in the evening"},
        {"2026-03-07T21:48:30Z", 0, "---\n", "---\n", "Nimbe 2026-03-07 4F1C09AB.md",
            "---\ncreated: 2026-03-07T21:48:30Z\nsource: nimbe\n---\n\n---\n"},
    };
    for (const auto& c : cases) {
        const DictationEntry entry{id, c.text, iso8601::parse(c.time).value() + c.fraction,
            DictationMode::notes, c.original};
        EXPECT_EQ(MarkdownExporter::fileName(entry), c.name);
        EXPECT_EQ(MarkdownExporter::fileBody(entry), c.body);
    }
}

} // namespace nimbe
