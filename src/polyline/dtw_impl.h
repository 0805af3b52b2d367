// The warping cost matrix. Inline so the tests can reach its bounds check,
// which consistent sizes never trigger.
#pragma once

#include <cstddef>
#include <memory>
#include <stdexcept>

namespace Math::dtw_detail {

// rows x cols doubles in one contiguous block, row by row: the matrix of two
// 3,000-point sections is 9 million cells, and one block keeps the row
// sweep streaming through memory instead of chasing a pointer per row. The
// cells start uninitialised: the sweep writes every inner cell before it
// reads it, so only the border needs setting, and a 72 MB fill would cost
// as much as a fifth of the sweep.
class CCostMatrix {
 public:
  CCostMatrix(std::size_t rows, std::size_t cols) : m_rows(rows), m_cols(cols), m_cells(new double[rows * cols]) {}

  std::size_t Rows() const { return m_rows; }
  std::size_t Cols() const { return m_cols; }

  // Checked cell access; the error text is part of the interface.
  double& at(std::size_t row, std::size_t col) {
    Check(row, col);
    return m_cells[row * m_cols + col];
  }
  double at(std::size_t row, std::size_t col) const {
    Check(row, col);
    return m_cells[row * m_cols + col];
  }
  // The first cell of a row (checked), for sweeps that stay inside it.
  double* Row(std::size_t row) {
    Check(row, 0);
    return m_cells.get() + row * m_cols;
  }

 private:
  void Check(std::size_t row, std::size_t col) const {
    if (row >= m_rows || col >= m_cols) throw std::out_of_range("invalid vector<T> subscript");
  }

  std::size_t m_rows;
  std::size_t m_cols;
  std::unique_ptr<double[]> m_cells;
};

}  // namespace Math::dtw_detail
