#pragma once
// A plain-text table whose columns are as wide as their widest cell, and the number formats
// the text report uses.
//
// Columns are always separated by two blanks and sized after all rows are known, so that no
// value, however long, runs into its neighbour. Cells are UTF-8; widths count code points, so
// that "σ" or "µ" take one column like any letter.

#include <ostream>
#include <string>
#include <vector>

namespace zradjust {

enum class Align { Left, Right };

class TextTable {
 public:
  struct Column {
    std::string heading;
    Align align = Align::Right;
  };
  explicit TextTable(std::vector<Column> columns);

  // One row; cells past the column count are ignored, missing ones are blank.
  void AddRow(std::vector<std::string> row);
  bool Empty() const { return rowCount == 0; }
  // Writes the heading and the rows, each line indented by indent blanks and without trailing
  // blanks.
  void Write(std::ostream& out, int indent = 2) const;

 private:
  std::vector<Column> columns;
  // The rows one after the other, columns.size() cells each, with the width of every cell
  // beside it: a report of a large network has millions of cells, each measured once.
  std::vector<std::string> cells;
  std::vector<std::size_t> cellWidths;
  std::size_t rowCount = 0;
  // Per column, the widest of its heading and its cells so far.
  std::vector<std::size_t> columnWidths;
};

// The number of code points of a UTF-8 text (the columns it takes on a terminal).
std::size_t DisplayWidth(const std::string& text);

// value with `decimals` digits after the point; a value whose magnitude reaches
// exponentThreshold is written in exponent form with `decimals` (at least 3) decimals of
// mantissa instead,
// so that a huge figure never becomes a 300-digit number. A value that rounds to zero is
// written without a minus sign. Not finite values are written "nan", "inf" or "-inf".
std::string FixedOrExponent(double value, int decimals);

// printf into a string (up to 1 KiB).
std::string Formatted(const char* format, ...) __attribute__((format(printf, 1, 2)));

// The magnitude from which FixedOrExponent switches to exponent form.
inline constexpr double exponentThreshold = 1e10;

}  // namespace zradjust
