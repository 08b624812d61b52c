#pragma once
// A hand-made report with every kind of point, observation and statistic, for the writers'
// tests; numbers chosen so that 15 significant digits would not read back.

#include <cmath>
#include <numbers>

#include "tools/zr-adjust/report/adjustment_report.h"

namespace zradjust {

// Points: F1 3D fixed in X and Y; N1 3D free with an ellipse; BM height without deviation;
// P plan, free, with an ellipse; S plan, fixed. Observations (lines 7 to 13): dist F1-N1,
// coord BM h, dz N1-F1, dir S1 S-P (gon), angle at S from F1 to P (deg, uncontrolled),
// azimuth S-N1 (rad, an outlier), hdist S-P.
inline AdjustmentReport SampleReport() {
  AdjustmentReport report;
  report.networkFile = "a&b.net";
  report.unknownCount = 7;
  report.redundancy = 3;
  report.iterations = {{1, 12.5, 0.1 / 3.0, 0.002}, {2, 1.0 / 3.0, 1e-7, 0.0015}};
  report.converged = report.inverseComputed = true;
  report.sigma0 = 2.0 / 3.0;
  report.datum = {true, 3, {"tx", "ty", "rz"}, {1, 3}};
  report.globalTest =
      GlobalTestResult{0.05, 0.2157952826238981, 9.348403604496145, 4.0 / 3.0, true};
  report.exitStatus = 1;
  report.finalUnit = AngleUnit::Degree;
  report.points.resize(5);
  PointResult &f1 = report.points[0], &n1 = report.points[1], &bm = report.points[2];
  PointResult &p = report.points[3], &s = report.points[4];
  f1.name = "F1", n1.name = "N1", bm.name = "BM", p.name = "P", s.name = "S";
  const double f1Coordinates[3] = {1000.1, 2000.0000000000002, 99.123456789012345};
  const double n1Coordinates[3] = {1100.0 + 1.0 / 7.0, 2050.0 - 1.0 / 9.0, 1e-300};
  for (int axis = 0; axis < 3; ++axis) {
    f1.coordinate[axis] = f1Coordinates[axis];
    n1.coordinate[axis] = n1Coordinates[axis];
    n1.deviation[axis] = 0.001 * (axis + 1) / 3.0;
  }
  f1.fixed[0] = f1.fixed[1] = true, f1.deviation[2] = 0.0011;
  n1.hasCovarianceXY = true;
  n1.covarianceXX = 4e-6, n1.covarianceXY = n1.covarianceYY = 1e-6;
  // The standard ellipse of that covariance, with bearing pi/2 - angle from X.
  n1.ellipse = EllipseResult{0.0020796, 0.0009158, 1.2482, 0.0050903, 0.0022416};
  n1.datumPoint = true;
  bm.kind = PointKind::Height, bm.coordinate[0] = 100.5;
  p.kind = PointKind::Plan, p.coordinate[0] = 1050.25, p.coordinate[1] = 1990.5;
  p.deviation[0] = 0.0004, p.deviation[1] = 0.0003;
  p.ellipse = EllipseResult{0.0004, 0.0003, std::numbers::pi / 2, 0.00098, 0.00073};
  p.datumPoint = true;
  s.kind = PointKind::Plan, s.coordinate[0] = 1000.0, s.coordinate[1] = 1900.0;
  s.fixed[0] = s.fixed[1] = true;
  using T = ObservationType;
  const double gon = std::numbers::pi / 200.0, degree = std::numbers::pi / 180.0;
  report.observations = {{.type = T::Distance,
                          .from = 0,
                          .to = 1,
                          .axis = 'x',
                          .observed = 100.123,
                          .adjusted = 100.1229,
                          .residual = 0.0001,
                          .sigma = 0.002,
                          .normalized = 0.05,
                          .redundancy = 0.25,
                          .w = 0.1,
                          .mdb = 0.016,
                          .line = 7},
                         {.type = T::Coordinate,
                          .from = 2,
                          .to = 2,
                          .axis = 'h',
                          .observed = 100.5,
                          .adjusted = 100.4999,
                          .residual = 1e-4,
                          .sigma = 0.001,
                          .normalized = 0.1,
                          .redundancy = 0.5,
                          .w = 0.14142135623730953,
                          .mdb = 0.0058,
                          .line = 8},
                         {.type = T::VectorZ,
                          .from = 1,
                          .to = 0,
                          .axis = 'z',
                          .observed = -1.0 / 3.0,
                          .adjusted = -0.3333,
                          .residual = -1.0 / 30000.0,
                          .sigma = 0.003,
                          .normalized = -0.01111111111111111,
                          .redundancy = 0.75,
                          .w = -0.0128,
                          .mdb = 0.0143,
                          .line = 9},
                         {.type = T::Direction,
                          .from = 4,
                          .to = 3,
                          .set = 0,
                          .unit = AngleUnit::Gon,
                          .observed = 50.12345 * gon,
                          .adjusted = 50.12245 * gon,
                          .residual = 0.001 * gon,
                          .sigma = 0.0005 * gon,
                          .normalized = 2.0,
                          .redundancy = 0.4,
                          .w = 3.61,
                          .mdb = 0.0033 * gon,
                          .outlier = true,
                          .line = 10},
                         {.type = T::Angle,
                          .from = 0,
                          .to = 3,
                          .at = 4,
                          .unit = AngleUnit::Degree,
                          .observed = 33.5 * degree,
                          .adjusted = 33.5 * degree,
                          .residual = 0.0,
                          .sigma = 1e-5,
                          .normalized = 0.0,
                          .redundancy = 0.0002,
                          .uncontrolled = true,
                          .line = 11},
                         {.type = T::Azimuth,
                          .from = 4,
                          .to = 1,
                          .unit = AngleUnit::Radian,
                          .observed = 1.25,
                          .adjusted = 1.24998,
                          .residual = 2e-5,
                          .sigma = 4e-6,
                          .normalized = 5.0,
                          .redundancy = 0.6,
                          .w = -6.45,
                          .mdb = 2.1e-5,
                          .outlier = true,
                          .line = 12},
                         {.type = T::HorizontalDistance,
                          .from = 4,
                          .to = 3,
                          .observed = 97.2,
                          .adjusted = 97.2003,
                          .residual = -0.0003,
                          .sigma = 0.001,
                          .normalized = -0.3,
                          .redundancy = 0.6,
                          .w = -0.39,
                          .mdb = 0.0053,
                          .line = 13}};
  report.orientations = {{"S1", 4, 12.5 * degree, 0.0007 * degree}};
  report.relative = {{0, 1, EllipseResult{0.002, 0.001, 0.5, 0.0049, 0.0024}, 0.0012},
                     {4, 3, std::nullopt, std::nullopt}};
  report.flagged = {5, 3};
  return report;
}

}  // namespace zradjust
