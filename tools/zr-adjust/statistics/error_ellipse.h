#pragma once
// The standard error ellipse of a 2x2 covariance of (X east, Y north).

namespace zradjust {

struct StandardEllipse {
  // Semi-axes, a >= b >= 0 (square roots of the eigenvalues; a negative eigenvalue from
  // rounding counts as zero).
  double a = 0.0;
  double b = 0.0;
  // Bearing of the major axis, clockwise from north towards east, radians in [0, π).
  double bearing = 0.0;
};

// The variance in the direction of bearing t is (xx+yy)/2 + (yy−xx)/2·cos 2t + xy·sin 2t,
// largest at 2t = atan2(2·xy, yy − xx). A circle has bearing 0.
StandardEllipse EllipseOf(double xx, double xy, double yy);

}  // namespace zradjust
