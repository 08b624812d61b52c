#pragma once
// How the HTML report shows text and numbers: escaping, fixed decimals, and the unit each kind
// of quantity is shown in. Shared by the report's sections so that a figure looks the same in
// the summary, the tables and the plan, and so that the page's own check and the tests know
// which factor and precision turned a stored value into the shown one.

#include <optional>
#include <string>

#include "tools/zr-adjust/network/network.h"

namespace zradjust {

// Text for HTML element content and attribute values: & < > " ' escaped.
std::string HtmlText(const std::string& text);

// The shown form of a value: value·factor with a fixed number of decimals, in unit.
struct ShownQuantity {
  double factor = 1.0;
  int decimals = 4;
  const char* unit = "m";
};

// Kinds of quantity, named as the page's data-shown attributes name them.
ShownQuantity ShownCoordinate();  // metres, 0.1 mm
ShownQuantity ShownPrecision();   // millimetres, 0.01 mm: standard deviations, ellipses, MDB
// An angle held in radians, in the unit of its record: observed and adjusted values.
ShownQuantity ShownAngle(AngleUnit unit);
// A small angle: residuals, a-priori sigmas and MDBs in mgon, arc seconds or mrad.
ShownQuantity ShownSmallAngle(AngleUnit unit);
// A bearing of an ellipse's major axis or an orientation.
ShownQuantity ShownBearing(AngleUnit unit);

// value·factor with the quantity's decimals (a negative zero shown as 0); "n/a" when the value
// is missing or not finite.
std::string Show(std::optional<double> value, const ShownQuantity& quantity);
// value with the given decimals, "n/a" when missing or not finite.
std::string Fixed(std::optional<double> value, int decimals);

// Exactly what printf's "%.*f" writes for value and decimals, uncut. std::to_chars writes the
// same characters several times faster than printf's exact path, which was most of the page's
// time on a large network; printf stays for the precisions that to_chars leaves to it.
std::string PrintfFixed(double value, int decimals);

// What printf writes for format with a and b into a 64-byte buffer (at most 63 characters).
// Formats whose conversions are "%.1f" only, as the plan's paths and labels use by the million,
// go through PrintfFixed; any other goes to printf itself.
std::string PrintfTenths(const char* format, double a, double b);

}  // namespace zradjust
