#include "tools/zr-adjust/statistics/error_ellipse.h"

#include <algorithm>
#include <cmath>

namespace zradjust {

StandardEllipse EllipseOf(double xx, double xy, double yy) {
  const double mean = 0.5 * (xx + yy);
  const double radius = std::hypot(0.5 * (xx - yy), xy);
  StandardEllipse ellipse;
  ellipse.a = std::sqrt(std::max(0.0, mean + radius));
  ellipse.b = std::sqrt(std::max(0.0, mean - radius));
  double bearing = radius > 0.0 ? 0.5 * std::atan2(2.0 * xy, yy - xx) : 0.0;
  if (bearing < 0.0) bearing += M_PI;
  if (bearing >= M_PI) bearing -= M_PI;
  ellipse.bearing = bearing;
  return ellipse;
}

}  // namespace zradjust
