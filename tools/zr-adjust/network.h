#pragma once
// The network as the file describes it: points, fixes, datum and observations, in file order.
// Plain data, shared by the reader, the identifier order, the model builder and the writers;
// nothing here knows the framework.

#include <cstddef>
#include <string>
#include <vector>

namespace zradjust {

enum class PointKind {
  Spatial,  // a 3D point: X, Y, Z
  Height,   // a levelling point: H only
};

struct SurveyPoint {
  std::string name;
  PointKind kind = PointKind::Spatial;
  // X, Y, Z of a 3D point, or H in element 0 of a height point.
  double approximate[3] = {0.0, 0.0, 0.0};
  // Per coordinate, in the order of approximate.
  bool fixed[3] = {false, false, false};
  int line = 0;

  int CoordinateCount() const { return kind == PointKind::Spatial ? 3 : 1; }
};

// One scalar observation: a `vector` record becomes three of them, DX, DY and DZ.
enum class ObservationType {
  Distance,    // slope distance between two 3D points
  VectorX,     // GNSS baseline component Xt - Xf
  VectorY,     // Yt - Yf
  VectorZ,     // Zt - Zf
  Levelling,   // height of TO minus height of FROM (Z for a 3D point)
  Coordinate,  // one coordinate of one point
};

struct SurveyObservation {
  ObservationType type = ObservationType::Distance;
  // Indices into Network::points. A coordinate observation uses from only.
  std::size_t from = 0;
  std::size_t to = 0;
  // The observed coordinate of a Coordinate observation (0 = x or h, 1 = y, 2 = z).
  int axis = 0;
  double observed = 0.0;
  double sigma = 0.0;
  int line = 0;
};

struct Network {
  std::vector<SurveyPoint> points;
  std::vector<SurveyObservation> observations;
  // `datum free`: every 3D point takes part in the datum conditions.
  bool datumFree = false;
};

// The index of the coordinate that an observation of the given type reads on a point of the
// given kind: Z (index 2) for a levelling observation on a 3D point, H (index 0) on a height
// point, the component for a vector observation.
int ObservedCoordinate(const SurveyObservation& observation, PointKind kind);

// Short type names as the reports use them: dist, dx, dy, dz, level, coord.
const char* TypeName(ObservationType type);

// Axis letter of coordinate index on a point of the given kind: x, y, z or h.
char AxisName(PointKind kind, int axis);

}  // namespace zradjust
