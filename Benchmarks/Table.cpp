#include "Table.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

namespace nimbe {

Table::Table(std::vector<std::string> header) {
    rows.push_back(std::move(header));
}

void Table::add(std::vector<std::string> row) {
    rows.push_back(std::move(row));
}

void Table::print() const {
    std::vector<std::size_t> widths(rows.front().size(), 0);
    for (const auto& row : rows)
        for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
    for (std::size_t line = 0; line < rows.size(); ++line) {
        for (std::size_t i = 0; i < widths.size(); ++i) {
            // The first column is words, the others are figures.
            const int width = static_cast<int>(widths[i]);
            std::printf(i == 0 ? "| %-*s " : "| %*s ", width, rows[line][i].c_str());
        }
        std::printf("|\n");
        if (line > 0) continue;
        for (std::size_t i = 0; i < widths.size(); ++i)
            std::printf("|%s%s", std::string(widths[i] + 1, '-').c_str(), i == 0 ? "-" : ":");
        std::printf("|\n");
    }
    std::printf("\n");
}

std::string figure(double number) {
    std::array<char, 32> buffer{};
    const int decimals =
        number <= 0 ? 0 : std::clamp(2 - static_cast<int>(std::floor(std::log10(number))), 0, 4);
    std::snprintf(buffer.data(), buffer.size(), "%.*f", decimals, number);
    return buffer.data();
}

} // namespace nimbe
