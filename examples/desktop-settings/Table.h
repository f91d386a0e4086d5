// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace desktop {

/** Rows of cells, printed as aligned columns under a heading. Cells are UTF-8; long ones are truncated. */
class Table {
public:
    explicit Table(std::vector<std::string> heading);

    /** Adds a row with as many cells as the heading. */
    void add(std::vector<std::string> const& cells);

    void print(std::ostream& out) const;

private:
    std::vector<std::vector<std::string>> _lines;
};

} // namespace desktop
