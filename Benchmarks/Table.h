#pragma once

#include <string>
#include <vector>

namespace nimbe {

/// Rows of text, printed as a Markdown table with even columns.
class Table {
public:
    explicit Table(std::vector<std::string> header);
    void add(std::vector<std::string> row);
    void print() const;

private:
    std::vector<std::vector<std::string>> rows;
};

/// Three significant digits: 0.123, 1.23, 123.
[[nodiscard]] std::string figure(double number);

} // namespace nimbe
