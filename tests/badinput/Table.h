// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <filesystem/DirEntry.h>

/**
 * Contracts as tables: a row for each kind of argument, a column for each operation, and the exact outcome in each
 * cell, in a short notation that the test expands before it compares.
 */
namespace badinput {

struct Cell {
    std::string row;
    std::string column;
    std::string outcome;
};

inline std::vector<std::string> fields(std::string const& line) {
    std::vector<std::string> result;
    std::istringstream stream(line);
    for (std::string field; std::getline(stream, field, '|');) {
        auto const first = field.find_first_not_of(' ');
        auto const last = field.find_last_not_of(' ');
        result.push_back(first == std::string::npos ? "" : field.substr(first, last - first + 1));
    }
    return result;
}

/** The cells of a table: "|" separates the columns, the first line names them. */
inline std::vector<Cell> cells(std::string const& table) {
    std::vector<Cell> result;
    std::vector<std::string> columns;
    std::istringstream stream(table);
    for (std::string line; std::getline(stream, line);) {
        std::vector<std::string> const row = fields(line);
        if (row.empty())
            continue;
        if (columns.empty()) {
            columns = row;
            continue;
        }
        if (row.size() != columns.size())
            throw std::logic_error("wrong number of cells: " + line);
        for (std::size_t i = 1; i < row.size(); ++i)
            result.push_back({row[0], columns[i], row[i]});
    }
    return result;
}

inline std::vector<Cell> operator+(std::vector<Cell> left, std::vector<Cell> const& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

inline std::string repeated(std::string const& text, int times) {
    std::string result;
    for (int i = 0; i < times; ++i)
        result += text;
    return result;
}

inline std::string yesNo(bool value) {
    return value ? "yes" : "no";
}

inline std::string listed(std::set<filesystem::DirEntry> const& entries) {
    std::string result = "=";
    for (filesystem::DirEntry const& entry : entries)
        (result += entry.name.toStdString()) += ',';
    return result;
}

/** Makes a text printable: escapes other bytes as "\x01", and abbreviates long runs of one or two characters. */
inline std::string readable(std::string const& text) {
    std::string result;
    for (std::size_t i = 0; i < text.size();) {
        std::size_t period = 1;
        std::size_t end = i;
        for (std::size_t const candidate : {std::size_t{1}, std::size_t{2}}) {
            end = std::min(i + candidate, text.size());
            while (end < text.size() && text[end] == text[end - candidate])
                ++end;
            period = candidate;
            if (end - i > 30)
                break;
        }
        bool const run = end - i > 30;
        for (std::size_t at = i; at < i + (run ? period : 1); ++at) {
            static char const digits[] = "0123456789abcdef";
            auto const byte = static_cast<unsigned char>(text[at]);
            if (byte < ' ' || byte > '~')
                (result += "\\x") += {digits[byte >> 4U], digits[byte & 15U]};
            else
                result += text[at];
        }
        if (run)
            result += '{' + std::to_string((end - i) / period) + '}';
        i += run ? (end - i) / period * period : 1;
    }
    return result;
}

} // namespace badinput
