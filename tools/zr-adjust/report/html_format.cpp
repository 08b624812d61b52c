#include "tools/zr-adjust/report/html_format.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "tools/zr-adjust/report/markup_text.h"

namespace zradjust {

std::string HtmlText(const std::string& text) {
  // The page escapes the apostrophe as well; the SVG drawing keeps it as written.
  return EscapeMarkup(text, true);
}

ShownQuantity ShownCoordinate() {
  return {1.0, 4, "m"};
}

ShownQuantity ShownPrecision() {
  return {1000.0, 2, "mm"};
}

ShownQuantity ShownAngle(AngleUnit unit) {
  // gon and degrees to 0.1 mgon or 0.036″, radians to 0.1 µrad: finer than any instrument.
  return {1.0 / RadiansPerUnit(unit), unit == AngleUnit::Radian ? 7 : 5, UnitName(unit)};
}

ShownQuantity ShownSmallAngle(AngleUnit unit) {
  switch (unit) {
    case AngleUnit::Gon:
      return {1000.0 / RadiansPerUnit(unit), 2, "mgon"};
    case AngleUnit::Degree:
      return {3600.0 / RadiansPerUnit(unit), 2, "\xE2\x80\xB3"};
    case AngleUnit::Radian:
      break;
  }
  return {1000.0, 3, "mrad"};
}

ShownQuantity ShownBearing(AngleUnit unit) {
  return {1.0 / RadiansPerUnit(unit), unit == AngleUnit::Radian ? 4 : 2, UnitName(unit)};
}

std::string PrintfFixed(double value, int decimals) {
  char buffer[512];
  if (decimals >= 0) {
    std::to_chars_result end =
        std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed, decimals);
    if (end.ec == std::errc()) return std::string(buffer, end.ptr);
  }
  int length = std::snprintf(nullptr, 0, "%.*f", decimals, value);
  std::string text(static_cast<std::size_t>(length), '\0');
  std::snprintf(text.data(), text.size() + 1, "%.*f", decimals, value);
  return text;
}

namespace {

// The page's figures have always been cut to what a 64-byte printf buffer holds.
constexpr std::size_t longestFixed = 63;

}  // namespace

std::string Fixed(std::optional<double> value, int decimals) {
  if (!value || !std::isfinite(*value)) return "n/a";
  std::string text = PrintfFixed(*value, decimals);
  if (text.size() > longestFixed) text.resize(longestFixed);
  // "-0.00" says nothing that "0.00" does not, and reads like a sign error.
  if (text[0] == '-' && text.find_first_not_of("-0.") == std::string::npos) text.erase(0, 1);
  return text;
}

std::string Show(std::optional<double> value, const ShownQuantity& quantity) {
  if (!value) return "n/a";
  return Fixed(*value * quantity.factor, quantity.decimals);
}

std::string PrintfTenths(const char* format, double a, double b) {
  // The figures have always been cut to what a 64-byte printf buffer holds.
  constexpr std::size_t longest = 63;
  const double arguments[2] = {a, b};
  std::size_t used = 0;
  std::string text;
  for (const char* c = format; *c != '\0'; ++c) {
    if (*c != '%') {
      text += *c;
      continue;
    }
    if (std::strncmp(c, "%.1f", 4) != 0 || used == 2) {
      char buffer[longest + 1];
      std::snprintf(buffer, sizeof buffer, format, a, b);
      return buffer;
    }
    text += PrintfFixed(arguments[used], 1);
    ++used;
    c += 3;
  }
  if (text.size() > longest) text.resize(longest);
  return text;
}

}  // namespace zradjust
