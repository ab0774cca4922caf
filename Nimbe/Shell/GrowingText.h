#pragma once

#include <ostream>
#include <string>
#include <string_view>

namespace nimbe {

/// As a terminal may show it: control characters but line ends and tabs become U+FFFD,
/// carriage returns nothing.
[[nodiscard]] std::string forTerminal(std::string_view utf8);

/// A text on a terminal while it is being written: what is new goes behind what stands
/// there. It begins at the left margin.
class GrowingText {
public:
    GrowingText(std::ostream& output, int columns) : output(output), columns(columns) {}

    /// The text as far as it is there. White space at its end waits for what follows. A text
    /// that does not go on from what stands there replaces it as long as that is one short
    /// line; else it waits.
    void show(std::string_view text);
    /// The whole text, and a line end; below what stands there, where that is not its
    /// beginning and cannot be taken back.
    void finish(std::string_view text);
    /// Leaves what stands there, the rest of its last line empty.
    void abandon();

    [[nodiscard]] bool isEmpty() const { return shown.empty(); }

private:
    std::ostream& output;
    int columns;
    std::string shown;

    [[nodiscard]] bool advance(const std::string& text);
};

/// One line of standard error that changes while a verb waits, where that is a terminal.
class StatusLine {
public:
    /// Of a terminal with less than twenty columns nothing is shown.
    StatusLine(std::ostream& output, int columns) : output(output), columns(columns) {}
    StatusLine(const StatusLine&) = delete;
    StatusLine& operator=(const StatusLine&) = delete;
    ~StatusLine() { clear(); }

    /// The end of the text, as far as it has room.
    void show(std::string_view text);
    void clear();

private:
    std::ostream& output;
    int columns;
    std::string shown;
};

} // namespace nimbe
