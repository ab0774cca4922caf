#pragma once

#include <iosfwd>
#include <string>

namespace nimbe {

/// How far something that takes long is: on a terminal a bar that is drawn again and
/// again, elsewhere a line for each tenth, or nothing.
class ProgressBar {
public:
    enum class Form { bar, lines, none };

    /// The bar stands on one line of so many columns: it shrinks, then is left out, then
    /// the name is cut.
    ProgressBar(std::ostream& output, std::string name, Form form, int columns)
        : output(output), name(std::move(name)), form(form), columns(columns) {}
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    /// `part` from 0 to 1; `amount` is that in the user's units.
    void show(double part, const std::string& amount);

private:
    std::ostream& output;
    std::string name;
    Form form;
    int columns;
    int lastPercent = -1;
    int lastTenth = -1;

    [[nodiscard]] std::string line(int percent, const std::string& amount) const;
};

} // namespace nimbe
