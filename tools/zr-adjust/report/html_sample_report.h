#pragma once
// Hand-made AdjustmentReports for the HTML report's tests: every statistic filled in (ellipses,
// redundancy numbers, w, MDB, outliers, an uncontrolled observation, direction sets, relative
// precision, the global test, a free datum), so that the page is tested with the figures the
// statistics will give, independently of the adjustment. Deterministic: the same arguments
// give the same report.

#include <algorithm>
#include <cmath>
#include <string>

#include "tools/zr-adjust/report/adjustment_report.h"

namespace zradjust {

// A grid of pointCount 3D and plan points (the first two fixed) with distances, directions in
// sets, angles, an azimuth, zenith angles, GNSS components and a coordinate; names that need
// escaping ("P<1>&'x'"). Every 37th observation is an outlier, one is uncontrolled.
inline AdjustmentReport SampleNetworkReport(int pointCount) {
  AdjustmentReport report;
  report.networkFile = "sample <net> & \"co\".net";
  report.iterations = {
      {1, 3.25, 0.125, 0.01}, {2, 1.0 / 3.0, 2.5e-4, 0.01}, {3, 0.98765432109876, 3e-9, 0.01}};
  report.converged = report.inverseComputed = true;
  report.tolerance = 1e-5;
  report.datum = {.free = true, .defect = 3, .parameters = {"tx", "ty", "rz"}, .points = {2, 3}};
  report.finalUnit = AngleUnit::Gon;
  int side = int(std::ceil(std::sqrt(double(pointCount))));
  for (int i = 0; i < pointCount; ++i) {
    PointResult point;
    point.name = i == 3 ? "P<1>&'x'" : "P" + std::to_string(i);
    point.kind = i % 5 == 4 ? PointKind::Plan : PointKind::Spatial;
    point.coordinate[0] = 1000.0 + 50.0 * (i % side) + std::sin(i) * 7.0 + 1.0 / 3.0;
    point.coordinate[1] = 5000.0 + 40.0 * (i / side) + std::cos(i) * 5.0;
    point.coordinate[2] = point.kind == PointKind::Plan ? 0.0 : 100.0 + i * 0.37;
    if (i < 2) {
      point.fixed[0] = point.fixed[1] = point.fixed[2] = true;
    } else {
      for (int axis = 0; axis < (point.kind == PointKind::Plan ? 2 : 3); ++axis)
        point.deviation[axis] = 0.001 * (1.0 + 0.1 * ((i + axis) % 7)) / 3.0;
      double a = 0.0011 + 0.0001 * (i % 9), b = 0.0006 + 0.00005 * (i % 4);
      point.ellipse = EllipseResult{a, b, std::fmod(0.3 * i, M_PI), a * 2.4477, b * 2.4477};
      point.datumPoint = i == 2 || i == 3;
    }
    report.points.push_back(point);
  }
  report.orientations = {{"S1", 0, 0.123456789, 1.1e-5}, {"S<2>", 1, 6.0, std::nullopt}};
  using T = ObservationType;
  const T types[] = {T::Distance, T::Direction, T::Angle,   T::HorizontalDistance,
                     T::Zenith,   T::VectorX,   T::VectorY, T::VectorZ};
  for (int i = 0; i + 1 < pointCount; ++i) {
    for (int k = 0; k < 2; ++k) {
      ObservationResult observation;
      std::size_t index = report.observations.size();
      observation.type = types[index % 8];
      observation.from = observation.type == T::Direction ? index % 2 : std::size_t(i);
      observation.to = std::size_t(k == 0 ? i + 1 : (i + side) % pointCount);
      if (observation.to == observation.from) observation.to = (observation.to + 1) % pointCount;
      observation.at = std::size_t((i + 2) % pointCount);
      observation.set = index % 2;
      observation.unit = index % 3 == 0 ? AngleUnit::Degree : AngleUnit::Gon;
      bool angular = observation.type == T::Direction || observation.type == T::Angle ||
                     observation.type == T::Zenith;
      observation.sigma = angular ? 1.5e-5 : 0.002;
      observation.observed = angular ? 0.5 + 0.01 * i : 50.0 + i + 1.0 / 7.0;
      observation.residual = observation.sigma * std::sin(1.7 * index) * 2.0;
      observation.adjusted = observation.observed - observation.residual;
      observation.normalized = observation.residual / observation.sigma;
      observation.redundancy = 0.2 + 0.6 * std::fabs(std::cos(0.9 * index));
      observation.w = observation.normalized / std::sqrt(observation.redundancy);
      if (index % 37 == 5) observation.w = 3.5 + 0.01 * index;
      observation.mdb = 4.13 * observation.sigma / std::sqrt(observation.redundancy);
      observation.outlier = std::fabs(*observation.w) > 3.29;
      observation.line = int(10 + index);
      report.observations.push_back(observation);
    }
  }
  ObservationResult coordinate{.type = T::Coordinate,
                               .from = 2,
                               .to = 2,
                               .axis = 'z',
                               .observed = 100.74,
                               .adjusted = 100.7399,
                               .residual = 1e-4,
                               .sigma = 0.001,
                               .normalized = 0.1,
                               .redundancy = 0.0004,
                               .uncontrolled = true,
                               .line = 9};
  report.observations.push_back(coordinate);
  for (std::size_t i = 0; i < report.observations.size(); ++i)
    if (report.observations[i].outlier) report.flagged.push_back(i);
  std::sort(report.flagged.begin(), report.flagged.end(), [&](std::size_t a, std::size_t b) {
    return std::fabs(*report.observations[a].w) > std::fabs(*report.observations[b].w);
  });
  for (int i = 0; i + 1 < pointCount && i < 40; ++i) {
    report.relative.push_back({std::size_t(i), std::size_t(i + 1),
                               EllipseResult{0.0015, 0.0009, 0.25 * i, 0.0037, 0.0022},
                               0.0004 + 1e-5 * i});
  }
  report.relative.push_back({0, 1, std::nullopt, std::nullopt});
  report.redundancy = (long long)report.observations.size() / 3;
  report.unknownCount = std::size_t(report.observations.size() - report.redundancy + 3);
  report.sigma0 = 0.98765432109876;
  double r = double(report.redundancy);
  report.globalTest =
      GlobalTestResult{0.05, r * 0.7, r * 1.3, r * 0.98765432109876 * 0.98765432109876, true};
  report.confidenceFactor = 2.4494897;
  return report;
}

// A levelling line: height points only, the first fixed, one outlier; no plan positions, so
// the page draws a height profile.
inline AdjustmentReport SampleLevellingReport() {
  AdjustmentReport report;
  report.networkFile = "levelling.net";
  report.iterations = {{1, 1.2, 0.05, 0.001}, {2, 1.1, 1e-12, 0.001}};
  report.converged = true;
  for (int i = 0; i < 8; ++i) {
    PointResult point;
    point.name = "BM" + std::to_string(i);
    point.kind = PointKind::Height;
    point.coordinate[0] = 400.0 + 3.0 * std::sin(i) + 0.25 * i;
    if (i == 0)
      point.fixed[0] = true;
    else
      point.deviation[0] = 0.0002 * i;
    report.points.push_back(point);
  }
  for (int i = 0; i < 7; ++i) {
    ObservationResult observation{.type = ObservationType::Levelling,
                                  .from = std::size_t(i),
                                  .to = std::size_t(i + 1),
                                  .sigma = 0.0005,
                                  .line = 20 + i};
    observation.observed = report.points[i + 1].coordinate[0] - report.points[i].coordinate[0];
    observation.residual = (i == 4 ? 0.0021 : 0.0001 * (i - 3));
    observation.adjusted = observation.observed - observation.residual;
    observation.redundancy = 0.5;
    observation.w = observation.residual / (observation.sigma * std::sqrt(0.5));
    observation.mdb = 4.13 * observation.sigma / std::sqrt(0.5);
    observation.outlier = std::fabs(*observation.w) > 3.29;
    if (observation.outlier) report.flagged.push_back(std::size_t(i));
    report.observations.push_back(observation);
  }
  report.unknownCount = 7;
  report.redundancy = 0;
  // Nothing redundant in a line: no sigma0, no global test, the known variance factor.
  report.varianceFactor = VarianceFactor::Known;
  report.varianceFactorForced = true;
  return report;
}

}  // namespace zradjust
