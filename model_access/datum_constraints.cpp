#include "model_access/datum_constraints.h"

#include <cmath>
#include <cstdint>

#include "framework/vobject.h"
#include "model_access/value_handle.h"
#include "model_access/value_resolution.h"
#include "sparse/normal_products.h"
#include "sparse/sparse_matrix_writers.h"

namespace {

// Translation rows, rotation rows and the scale row of G.
constexpr std::uint32_t translationX = 0;
constexpr std::uint32_t translationY = 1;
constexpr std::uint32_t translationZ = 2;
constexpr std::uint32_t rotationX = 3;
constexpr std::uint32_t rotationY = 4;
constexpr std::uint32_t rotationZ = 5;
constexpr std::uint32_t scale = 6;
constexpr std::uint32_t datumConditionCount = 7;

struct PointColumns {
  std::uint32_t x;
  std::uint32_t y;
  std::uint32_t z;
};

// Whether all three coordinates of point are unknowns; fills columns when they are. The
// lookups go x, y, z and stop at the first coordinate that is not an unknown.
bool FindColumns(const NetworkPoint& point, const UnknownIndex& unknowns, PointColumns& columns) {
  const auto x = unknowns.find(point.x);
  if (x == unknowns.end()) {
    return false;
  }
  const auto y = unknowns.find(point.y);
  if (y == unknowns.end()) {
    return false;
  }
  const auto z = unknowns.find(point.z);
  if (z == unknowns.end()) {
    return false;
  }
  columns = {x->second, y->second, z->second};
  return true;
}

}  // namespace

void BuildDatumConstraints(SparseMatrix& result, const std::set<NetworkPoint>& points,
                           const UnknownIndex& unknowns) {
  SparseMatrix G(datumConditionCount, static_cast<std::uint32_t>(unknowns.size()));
  PointColumns columns;

  // Centroid of the qualifying points.
  std::uint32_t pointCount = 0;
  double sumX = 0.0;
  double sumY = 0.0;
  double sumZ = 0.0;
  for (const NetworkPoint& point : points) {
    if (!FindColumns(point, unknowns, columns)) {
      continue;
    }
    ++pointCount;
    sumX += Resolve(point.x)->Value;
    sumY += Resolve(point.y)->Value;
    sumZ += Resolve(point.z)->Value;
  }
  const double count = static_cast<double>(pointCount);
  const double meanX = sumX / count;
  const double meanY = sumY / count;
  const double meanZ = sumZ / count;

  // Spread: one running sum over all three axes, X then Y then Z per point.
  double sumSquares = 0.0;
  for (const NetworkPoint& point : points) {
    if (!FindColumns(point, unknowns, columns)) {
      continue;
    }
    const double dx = Resolve(point.x)->Value - meanX;
    sumSquares += dx * dx;
    const double dy = Resolve(point.y)->Value - meanY;
    sumSquares += dy * dy;
    const double dz = Resolve(point.z)->Value - meanZ;
    sumSquares += dz * dz;
  }
  const double spread = std::sqrt(sumSquares);
  const double translation = 1.0 / std::sqrt(count);

  // G, one point at a time. The rotation rows share the scale row's spread rather than being
  // normalised one by one; that scaling is deliberate and kept.
  for (const NetworkPoint& point : points) {
    if (!FindColumns(point, unknowns, columns)) {
      continue;
    }
    const double x = (Resolve(point.x)->Value - meanX) / spread;
    const double y = (Resolve(point.y)->Value - meanY) / spread;
    const double z = (Resolve(point.z)->Value - meanZ) / spread;
    SetElement(G, translationX, columns.x, translation);
    SetElement(G, translationY, columns.y, translation);
    SetElement(G, translationZ, columns.z, translation);
    SetElement(G, rotationX, columns.y, -z);
    SetElement(G, rotationX, columns.z, y);
    SetElement(G, rotationY, columns.x, z);
    SetElement(G, rotationY, columns.z, -x);
    SetElement(G, rotationZ, columns.x, -y);
    SetElement(G, rotationZ, columns.y, x);
    SetElement(G, scale, columns.x, x);
    SetElement(G, scale, columns.y, y);
    SetElement(G, scale, columns.z, z);
  }

  MultiplyTransposed(G, G, result);
}
