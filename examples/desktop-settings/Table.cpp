// SPDX-License-Identifier: Apache-2.0
#include "Table.h"

#include <algorithm>
#include <utility>

#include <QString>

namespace desktop {

namespace {

constexpr std::size_t longestCell = 60;

std::size_t width(std::string const& cell) {
    return static_cast<std::size_t>(QString::fromStdString(cell).size());
}

std::string shortened(std::string const& cell) {
    if (width(cell) <= longestCell)
        return cell;
    return QString::fromStdString(cell).left(longestCell - 3).toStdString() + "...";
}

void printLine(std::ostream& out, std::vector<std::string> const& cells,
               std::vector<std::size_t> const& widths) {
    std::string text;
    for (std::size_t column = 0; column < cells.size(); ++column)
        text += "  " + cells[column] + std::string(widths[column] - width(cells[column]), ' ');
    out << text.erase(text.find_last_not_of(' ') + 1) << '\n';
}

} // namespace

Table::Table(std::vector<std::string> heading) {
    _lines.push_back(std::move(heading));
}

void Table::add(std::vector<std::string> const& cells) {
    _lines.emplace_back();
    for (std::string const& cell : cells)
        _lines.back().push_back(shortened(cell));
}

void Table::print(std::ostream& out) const {
    std::vector<std::size_t> widths(_lines.front().size(), 0);
    for (auto const& line : _lines)
        for (std::size_t column = 0; column < line.size(); ++column)
            widths[column] = std::max(widths[column], width(line[column]));

    std::vector<std::string> rules;
    rules.reserve(widths.size());
    for (std::size_t const columnWidth : widths)
        rules.emplace_back(columnWidth, '-');

    printLine(out, _lines.front(), widths);
    printLine(out, rules, widths);
    for (std::size_t number = 1; number < _lines.size(); ++number)
        printLine(out, _lines[number], widths);
}

} // namespace desktop
