#pragma once
// The network drawn as SVG.
//
// In plan (X to the right, Y up): observation lines by kind, points (fixed ones as triangles)
// and each point's 95 % confidence ellipse in X and Y, enlarged by a common round factor, with
// a legend that names the ellipse, its confidence factor and its enlargement, one scale bar
// for the map and one for the ellipses. Plan and 3D points are drawn; height points have no
// plan position. A network without any plan position (a levelling network) is drawn as a
// height profile instead: its points in file order across, heights up, the levelled lines and
// each height's standard deviation as an enlarged bar.

#include <ostream>

#include "tools/zr-adjust/report/adjustment_report.h"
#include "tools/zr-adjust/report/svg_support.h"

namespace zradjust {

// The standard error ellipse of a 2x2 covariance matrix [xx xy; xy yy].
struct ErrorEllipse {
  double semiMajor = 0.0;
  double semiMinor = 0.0;
  // Angle of the major axis from the X axis towards the Y axis, in radians.
  double angle = 0.0;
};

ErrorEllipse ComputeErrorEllipse(double xx, double xy, double yy);

void WriteSvgPlot(std::ostream& out, const AdjustmentReport& report);

// The height profile of a network without plan positions (part of WriteSvgPlot).
void WriteHeightProfile(std::ostream& out, const AdjustmentReport& report);

}  // namespace zradjust
