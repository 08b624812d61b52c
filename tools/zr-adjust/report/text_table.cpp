#include "tools/zr-adjust/report/text_table.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <utility>

namespace zradjust {

TextTable::TextTable(std::vector<Column> columns) : columns(std::move(columns)) {
  for (const Column& column : this->columns)
    columnWidths.push_back(DisplayWidth(column.heading));
}

void TextTable::AddRow(std::vector<std::string> row) {
  row.resize(columns.size());
  for (std::size_t c = 0; c < row.size(); ++c) {
    std::size_t width = DisplayWidth(row[c]);
    columnWidths[c] = std::max(columnWidths[c], width);
    cellWidths.push_back(width);
    cells.push_back(std::move(row[c]));
  }
  ++rowCount;
}

std::size_t DisplayWidth(const std::string& text) {
  std::size_t width = 0;
  // Continuation bytes (10xxxxxx) do not start a code point.
  for (unsigned char c : text)
    width += (c & 0xC0) != 0x80;
  return width;
}

namespace {

// Lines are gathered into blocks of about this size before they go to the stream.
constexpr std::size_t writeBlockBytes = std::size_t{1} << 20;

}  // namespace

void TextTable::Write(std::ostream& out, int indent) const {
  std::string block;
  block.reserve(writeBlockBytes + 4096);
  // Appends one line to the block: every cell padded to its column, the trailing blanks
  // dropped; a full block goes to the stream.
  auto writeLine = [&](auto cellOf, auto widthOf) {
    std::size_t lineStart = block.size();
    block.append(static_cast<std::size_t>(indent), ' ');
    for (std::size_t c = 0; c < columns.size(); ++c) {
      const std::string& cell = cellOf(c);
      std::size_t padding = columnWidths[c] - widthOf(c);
      if (c > 0) block += "  ";
      if (columns[c].align == Align::Right) block.append(padding, ' ');
      block += cell;
      if (columns[c].align == Align::Left) block.append(padding, ' ');
    }
    std::size_t end = block.find_last_not_of(' ');
    block.resize(end == std::string::npos || end < lineStart ? lineStart : end + 1);
    block += '\n';
    if (block.size() >= writeBlockBytes) {
      out << block;
      block.clear();
    }
  };
  writeLine([&](std::size_t c) -> const std::string& { return columns[c].heading; },
            [&](std::size_t c) { return DisplayWidth(columns[c].heading); });
  for (std::size_t r = 0; r < rowCount; ++r) {
    const std::size_t first = r * columns.size();
    writeLine([&](std::size_t c) -> const std::string& { return cells[first + c]; },
              [&](std::size_t c) { return cellWidths[first + c]; });
  }
  out << block;
}

std::string Formatted(const char* format, ...) {
  char buffer[1024];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(buffer, sizeof buffer, format, arguments);
  va_end(arguments);
  return buffer;
}

std::string FixedOrExponent(double value, int decimals) {
  if (std::isnan(value)) return "nan";
  if (std::isinf(value)) return value > 0 ? "inf" : "-inf";
  char buffer[64];
  std::to_chars_result end;
  if (std::fabs(value) >= exponentThreshold) {
    // At least four significant digits, even where the fixed form shows two decimals.
    end = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::scientific,
                        decimals < 3 ? 3 : decimals);
    return std::string(buffer, end.ptr);
  }
  // Below the threshold the fixed form has at most 10 + 1 + decimals characters.
  end = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed, decimals);
  std::string text(buffer, end.ptr);
  // -0.0000: a tiny negative value reads as zero, not as a sign without a figure.
  if (text[0] == '-' && text.find_first_of("123456789") == std::string::npos) text.erase(0, 1);
  return text;
}

}  // namespace zradjust
