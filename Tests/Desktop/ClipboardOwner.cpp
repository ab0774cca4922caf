#include <cstdio>
#include <cstring>
#include <string>

#include "Fakes/FakeLogSink.h"
#include "Foundation/RunLoop.h"
#include "PlatformX11/XcbPasteboard.h"

// Stands for a program that somebody copied from: "own" puts the same thing on the
// clipboard in many forms and stays, "compare" tells what there differs from it.

namespace nimbe {
namespace {

PasteboardContents richContents() {
    PasteboardContents contents = PasteboardContents::plainText("copied before");
    Bytes binary(3'000'000); // more than one request holds
    for (std::size_t i = 0; i < binary.size(); ++i)
        binary[i] = static_cast<std::uint8_t>(i * 2654435761U >> 13);
    contents.forms.push_back({"image/png", binary, {}, 8});
    const std::string html = "<p>copied <b>before</b></p>";
    contents.forms.push_back({"text/html", Bytes(html.begin(), html.end()), {}, 8});
    const std::string utf8 = "naïve 👋🏽";
    contents.forms.push_back({"text/x-note", Bytes(utf8.begin(), utf8.end()), {}, 8});
    contents.forms.push_back({"application/x-marker", {}, {}, 8});
    contents.forms.push_back({"application/x-custom;value=\"a b\"", {0, 255, 10, 13, 0}, {}, 8});
    contents.forms.push_back({"application/x-number", {1, 2, 3, 4}, "INTEGER", 32});
    return contents;
}

Task<void> put(Pasteboard& pasteboard, bool& isThere) {
    auto writing = pasteboard.write(richContents());
    const auto change = co_await writing;
    isThere = change.has_value();
}

Task<void> get(Pasteboard& pasteboard, PasteboardContents& contents) {
    auto reading = pasteboard.snapshot();
    contents = co_await reading;
}

int own(RunLoop& loop, Pasteboard& pasteboard) {
    bool isThere = false;
    loop.runUntilDone(put(pasteboard, isThere));
    if (!isThere) return 1;
    std::puts("ready");
    std::fflush(stdout);
    loop.run();
    return 0;
}

int compare(RunLoop& loop, Pasteboard& pasteboard) {
    PasteboardContents found;
    loop.runUntilDone(get(pasteboard, found));
    int differences = 0;
    const auto differs = [&](const std::string& what) {
        std::printf("%s; ", what.c_str());
        ++differences;
    };
    const auto expected = richContents();
    for (const auto& form : expected.forms) {
        const PasteboardContents::Form* other = nullptr;
        for (const auto& candidate : found.forms)
            if (candidate.type == form.type) other = &candidate;
        if (!other)
            differs("no " + form.type);
        else if (other->data != form.data)
            differs(form.type + " has " + std::to_string(other->data.size()) + " bytes, not " +
                    std::to_string(form.data.size()) + ", or others");
        else if (other->unit != form.unit ||
                 (!form.encoding.empty() && other->encoding != form.encoding))
            differs(form.type + " is " + other->encoding);
    }
    if (found.forms.size() != expected.forms.size())
        differs(std::to_string(found.forms.size()) + " forms, not " +
                std::to_string(expected.forms.size()));
    return differences == 0 ? 0 : 1;
}

int run(const std::string& what) {
    RunLoop loop;
    FakeLogSink log;
    const auto pasteboard = XcbPasteboard::create(loop, "CLIPBOARD", log);
    if (!pasteboard) return 1;
    return what == "own" ? own(loop, *pasteboard) : compare(loop, *pasteboard);
}

} // namespace
} // namespace nimbe

int main(int count, char** arguments) {
    return nimbe::run(count > 1 ? arguments[1] : "");
}
