#include "tools/zr-adjust/network/field_parsing.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace zradjust {
namespace {

constexpr std::size_t maxNameLength = 64;
// Quoted text in a message is cut here so that one absurd line cannot flood the terminal.
constexpr std::size_t maxQuotedLength = 40;
constexpr double partsPerMillion = 1e-6;

bool IsNameCharacter(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_' ||
         c == '.' || c == '-';
}

double UnitsPerFullCircle(AngleUnit unit) {
  switch (unit) {
    case AngleUnit::Gon:
      return 400.0;
    case AngleUnit::Degree:
      return 360.0;
    case AngleUnit::Radian:
      break;
  }
  return 2.0 * M_PI;
}

}  // namespace

std::string Quote(std::string_view text) {
  std::string quoted = "'";
  std::size_t shown = 0;
  for (unsigned char c : text) {
    if (shown == maxQuotedLength) {
      quoted += "...";
      break;
    }
    if (c >= 0x20 && c < 0x7F) {
      quoted += static_cast<char>(c);
    } else {
      char escaped[8];
      std::snprintf(escaped, sizeof escaped, "\\x%02X", c);
      quoted += escaped;
    }
    ++shown;
  }
  return quoted + "'";
}

bool IsValidName(std::string_view name) {
  if (name.empty() || name.size() > maxNameLength) return false;
  for (char c : name) {
    if (!IsNameCharacter(c)) return false;
  }
  return true;
}

// The character check keeps out hexadecimal numbers, inf and nan, which strtod would accept.
double ParseNumber(std::string_view field, const char* role) {
  for (char c : field) {
    bool allowed =
        (c >= '0' && c <= '9') || c == '+' || c == '-' || c == '.' || c == 'e' || c == 'E';
    if (!allowed) {
      throw LineError{"malformed number " + Quote(field) + " for " + role +
                      " (a finite decimal number is expected)"};
    }
  }
  std::string text(field);
  char* end = nullptr;
  errno = 0;
  double value = std::strtod(text.c_str(), &end);
  if (end != text.c_str() + text.size() || text.empty()) {
    throw LineError{"malformed number " + Quote(field) + " for " + role +
                    " (a finite decimal number is expected)"};
  }
  if (!std::isfinite(value)) {
    throw LineError{"number " + Quote(field) + " for " + role + " is out of range"};
  }
  return value;
}

double ParseSigma(std::string_view field) {
  double sigma = ParseNumber(field, "SIGMA");
  if (!(sigma > 0.0)) {
    throw LineError{"SIGMA must be greater than zero, found " + Quote(field)};
  }
  return sigma;
}

double ParseDistanceSigma(std::string_view field, double distance) {
  std::size_t plus = field.find('+', 1);
  bool proportional = field.size() > 3 && field.substr(field.size() - 3) == "ppm";
  if (!proportional) return ParseSigma(field);
  if (plus == std::string_view::npos || plus + 3 >= field.size()) {
    throw LineError{"malformed SIGMA " + Quote(field) + " (metres, or A+Bppm as 0.001+1.5ppm)"};
  }
  double constant = ParseNumber(field.substr(0, plus), "SIGMA");
  double ppm = ParseNumber(field.substr(plus + 1, field.size() - 3 - plus - 1), "SIGMA");
  double sigma = constant + ppm * partsPerMillion * distance;
  if (!(constant >= 0.0) || !(ppm >= 0.0) || !(sigma > 0.0)) {
    throw LineError{"SIGMA must be greater than zero with both parts not negative, found " +
                    Quote(field)};
  }
  return sigma;
}

double ParseAngle(std::string_view field, const char* role, AngleUnit unit, bool halfCircle) {
  double value = ParseNumber(field, role);
  double full = UnitsPerFullCircle(unit);
  bool inside = halfCircle ? value >= 0.0 && value <= full / 2.0 : value >= 0.0 && value < full;
  if (!inside) {
    char range[64];
    std::snprintf(range, sizeof range, halfCircle ? "0 to %g %s" : "0 to below %g %s",
                  halfCircle ? full / 2.0 : full, UnitName(unit));
    throw LineError{std::string(role) + " " + Quote(field) +
                    (halfCircle ? " is not a zenith angle (" : " is outside one full circle (") +
                    range + ")"};
  }
  return value * RadiansPerUnit(unit);
}

double ParseAngularSigma(std::string_view field, AngleUnit unit) {
  return ParseSigma(field) * RadiansPerUnit(unit);
}

}  // namespace zradjust
