#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace Reports {

/// A two-dimensional histogram. The last column and the last row also count everything beyond them.
class CountGrid {
public:
    CountGrid(std::size_t columns, std::size_t rows) : columns(columns), rows(rows), cells(columns * rows) {}

    void Add(std::size_t column, std::size_t row, std::uint64_t count = 1) {
        cells[std::min(column, columns - 1) + columns * std::min(row, rows - 1)] += count;
    }

    std::size_t Columns() const { return columns; }
    std::size_t Rows() const { return rows; }
    std::uint64_t At(std::size_t column, std::size_t row) const { return cells[column + columns * row]; }

private:
    std::size_t columns;
    std::size_t rows;
    std::vector<std::uint64_t> cells;
};

}  // namespace Reports
