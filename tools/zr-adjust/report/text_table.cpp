#include "tools/zr-adjust/report/text_table.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <utility>

namespace zradjust {

TextTable::TextTable(std::vector<Column> columns) : columns(std::move(columns)) {}

void TextTable::AddRow(std::vector<std::string> cells) {
  cells.resize(columns.size());
  rows.push_back(std::move(cells));
}

std::size_t DisplayWidth(const std::string& text) {
  std::size_t width = 0;
  // Continuation bytes (10xxxxxx) do not start a code point.
  for (unsigned char c : text)
    width += (c & 0xC0) != 0x80;
  return width;
}

void TextTable::Write(std::ostream& out, int indent) const {
  std::vector<std::size_t> widths(columns.size());
  for (std::size_t c = 0; c < columns.size(); ++c) {
    widths[c] = DisplayWidth(columns[c].heading);
    for (const std::vector<std::string>& row : rows)
      widths[c] = std::max(widths[c], DisplayWidth(row[c]));
  }
  auto writeLine = [&](auto cellOf) {
    std::string line(indent, ' ');
    for (std::size_t c = 0; c < columns.size(); ++c) {
      const std::string& cell = cellOf(c);
      std::string padding(widths[c] - DisplayWidth(cell), ' ');
      if (c > 0) line += "  ";
      line += columns[c].align == Align::Right ? padding + cell : cell + padding;
    }
    line.erase(line.find_last_not_of(' ') + 1);
    out << line << "\n";
  };
  writeLine([&](std::size_t c) -> const std::string& { return columns[c].heading; });
  for (const std::vector<std::string>& row : rows)
    writeLine([&](std::size_t c) -> const std::string& { return row[c]; });
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
