#pragma once

#include <iosfwd>
#include <string>

namespace nimbe {

/// How far something that takes long is: on a terminal a bar that is drawn again and
/// again, elsewhere a line for each tenth, or nothing.
class ProgressBar {
public:
    enum class Form { bar, lines, none };

    /// `name` is short: the bar stands on one line.
    ProgressBar(std::ostream& output, std::string name, Form form)
        : output(output), name(std::move(name)), form(form) {}
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    /// `part` from 0 to 1; `amount` is that in the user's units.
    void show(double part, const std::string& amount);

private:
    std::ostream& output;
    std::string name;
    Form form;
    int lastPercent = -1;
    int lastTenth = -1;
};

} // namespace nimbe
