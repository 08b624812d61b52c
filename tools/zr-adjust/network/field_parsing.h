#pragma once
// The fields of a network record: names, numbers, standard deviations and angles, each checked
// as the file format defines it. Every routine throws LineError with the message that the
// reader prints after "FILE:LINE: "; the reader catches it per line.

#include <string>
#include <string_view>

#include "tools/zr-adjust/network/network.h"

namespace zradjust {

// Thrown inside one line's parse and caught by the line loop: the line is then skipped.
struct LineError {
  std::string message;
};

// The text of a field as it can be shown on a terminal, in single quotes: control and
// non-ASCII bytes are written as \xNN, overlong text is cut.
std::string Quote(std::string_view text);

// 1 to 64 characters of A-Z a-z 0-9 _ . -
bool IsValidName(std::string_view name);

// A finite decimal number as strtod reads it (no hexadecimal, inf or nan). role names the
// field in the message ("X", "SIGMA").
double ParseNumber(std::string_view field, const char* role);

// A SIGMA in the field's own unit, greater than zero.
double ParseSigma(std::string_view field);

// The SIGMA of a distance: metres, or `A+Bppm` (no blanks), which is A + B·1e-6·distance.
double ParseDistanceSigma(std::string_view field, double distance);

// An angular value in unit, returned in radians. It must lie in [0, full circle), or in
// [0, half circle] when halfCircle is set (a zenith angle).
double ParseAngle(std::string_view field, const char* role, AngleUnit unit, bool halfCircle);

// An angular SIGMA in unit, greater than zero, returned in radians.
double ParseAngularSigma(std::string_view field, AngleUnit unit);

}  // namespace zradjust
