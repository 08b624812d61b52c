#pragma once
// The network drawn in plan as SVG: X to the right, Y up; observation lines, points (fixed ones
// as triangles), and each point's standard error ellipse in X and Y, enlarged by a common
// factor, with one scale bar for the map and one for the ellipses. Height points have no plan
// position and are not drawn.

#include <ostream>

#include "tools/zr-adjust/report/adjustment_report.h"

namespace zradjust {

// The standard error ellipse of a 2x2 covariance matrix [xx xy; xy yy].
struct ErrorEllipse {
  double semiMajor = 0.0;
  double semiMinor = 0.0;
  // Angle of the major axis from the X axis towards the Y axis, in radians.
  double angle = 0.0;
};

ErrorEllipse ComputeErrorEllipse(double xx, double xy, double yy);

// The largest of 1, 2 and 5 times a power of ten that does not exceed limit (limit > 0).
double RoundScaleLength(double limit);

void WriteSvgPlot(std::ostream& out, const AdjustmentReport& report);

}  // namespace zradjust
