#pragma once

#include <iosfwd>
#include <string>
#include <utility>

#include "NimbeEngine/Speech/SpeechModels.h"

namespace nimbe {

/// How far a download is: on a terminal a bar that is drawn again and again, elsewhere
/// a line for each tenth.
class DownloadProgress {
public:
    enum class Form { bar, lines };

    DownloadProgress(std::ostream& output, std::string name, Form form)
        : output(output), name(std::move(name)), form(form) {}

    void show(SpeechModels::Progress progress);

private:
    std::ostream& output;
    std::string name;
    Form form;
    int lastTenth = -1;
    bool hasDrawn = false;
};

/// "66 MB"; decimal, as shops and file managers count.
[[nodiscard]] std::string sizeText(std::uint64_t bytes);

} // namespace nimbe
