#include "tools/zr-adjust/datum/library_conditions.h"

#include <cmath>

#include "tools/zr-adjust/datum/defect_motions.h"
#include "tools/zr-adjust/datum/symmetric_eigen.h"

namespace zradjust {
namespace {

// The smallest eigenvalue of KᵀK, K = G_lib·G with unit rows and columns, above which no motion
// escapes the conditions; an escaping motion leaves rounding only.
constexpr double heldThreshold = 1e-10;

// The 3D points whose three coordinates are unknowns, as the library picks them.
NetworkPart Qualifying(const Network& network, const UnknownMap& map) {
  NetworkPart qualifying;
  for (std::size_t p = 0; p < network.points.size(); ++p) {
    const std::array<std::size_t, 3>& u = map.pointUnknown[p];
    if (network.points[p].kind == PointKind::Spatial && u[0] != UnknownMap::none &&
        u[1] != UnknownMap::none && u[2] != UnknownMap::none)
      qualifying.points.push_back(p);
  }
  return qualifying;
}

bool SpreadOut(const NetworkPart& qualifying, const PointCoordinates& coordinates,
               const MotionCentre& centre) {
  double spread = 0.0;
  for (std::size_t p : qualifying.points) {
    spread += std::fabs(coordinates[p][0] - centre.x) + std::fabs(coordinates[p][1] - centre.y) +
              std::fabs(coordinates[p][2] - centre.z);
  }
  return spread > 0.0;
}

}  // namespace

bool LibraryConditionsFinite(const Network& network, const std::vector<UnknownRef>& unknowns) {
  NetworkPart qualifying = Qualifying(network, MapUnknowns(network, unknowns));
  PointCoordinates coordinates = ApproximateCoordinates(network);
  return SpreadOut(qualifying, coordinates, CentreOf(network, qualifying, coordinates));
}

bool LibraryConditionsHold(const Network& network, const std::vector<UnknownRef>& unknowns,
                           const std::vector<std::vector<double>>& motions) {
  std::size_t d = motions.size();
  if (d == 0) return true;
  UnknownMap map = MapUnknowns(network, unknowns);
  NetworkPart qualifying = Qualifying(network, map);
  PointCoordinates coordinates = ApproximateCoordinates(network);
  MotionCentre centre = CentreOf(network, qualifying, coordinates);
  if (!SpreadOut(qualifying, coordinates, centre)) return false;
  std::vector<std::vector<double>> k;  // rows: conditions, columns: motions
  std::vector<double> columnNorm(d, 0.0);
  for (const std::vector<double>& g : motions)
    for (double value : g)
      columnNorm[&g - motions.data()] += value * value;
  for (int m = 0; m < motionKindCount; ++m) {
    std::vector<double> condition = OverUnknowns(
        qualifying, Displacement(network, qualifying, coordinates, centre, static_cast<Motion>(m)),
        map, unknowns.size());
    double rowNorm = 0.0;
    for (double value : condition)
      rowNorm += value * value;
    if (!(rowNorm > 0.0)) continue;
    std::vector<double>& row = k.emplace_back(d, 0.0);
    for (std::size_t c = 0; c < d; ++c) {
      for (std::size_t u = 0; u < condition.size(); ++u)
        row[c] += condition[u] * motions[c][u];
      row[c] /= std::sqrt(rowNorm * columnNorm[c]);
    }
  }
  std::vector<std::vector<double>> product(d, std::vector<double>(d, 0.0));
  for (const std::vector<double>& row : k)
    for (std::size_t a = 0; a < d; ++a)
      for (std::size_t b = 0; b < d; ++b)
        product[a][b] += row[a] * row[b];
  return DecomposeSymmetric(product).values.front() > heldThreshold;
}

}  // namespace zradjust
