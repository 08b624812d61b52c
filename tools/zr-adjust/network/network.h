#pragma once
// The network as the file describes it: points, fixes, datum, direction sets and observations,
// in file order. Plain data, shared by the reader, the model, the datum analysis and the
// writers; nothing here knows the framework.
//
// Units inside the program: lengths in metres, angles in radians (values, SIGMAs, bearings).
// Each observation remembers the angle unit in force at its record, for the reports only.

#include <cstddef>
#include <string>
#include <vector>

namespace zradjust {

enum class PointKind {
  Spatial,  // a 3D point: X, Y, Z
  Plan,     // a plan point: X, Y
  Height,   // a levelling point: H only
};

struct SurveyPoint {
  std::string name;
  PointKind kind = PointKind::Spatial;
  // X, Y, Z of a 3D point, X, Y of a plan point, or H in element 0 of a height point.
  double approximate[3] = {0.0, 0.0, 0.0};
  // Per coordinate, in the order of approximate.
  bool fixed[3] = {false, false, false};
  int line = 0;

  int CoordinateCount() const {
    return kind == PointKind::Spatial ? 3 : kind == PointKind::Plan ? 2 : 1;
  }
};

// The unit in which angles are written in the file and shown in the reports.
enum class AngleUnit {
  Gon,
  Degree,
  Radian,
};

// One scalar observation: a `vector` record becomes three of them, DX, DY and DZ.
enum class ObservationType {
  Distance,            // slope distance between two 3D points (with instrument/target heights)
  HorizontalDistance,  // horizontal distance between two 3D or plan points
  Direction,           // circle reading from FROM to TO in a direction set
  Angle,               // horizontal angle at AT from FROM (backsight) to TO (foresight)
  Azimuth,             // bearing of TO from FROM
  Zenith,              // zenith angle from FROM to TO (with instrument/target heights)
  VectorX,             // GNSS baseline component Xt - Xf
  VectorY,             // Yt - Yf
  VectorZ,             // Zt - Zf
  Levelling,           // height of TO minus height of FROM (Z for a 3D point)
  Coordinate,          // one coordinate of one point
};

struct SurveyObservation {
  ObservationType type = ObservationType::Distance;
  // Indices into Network::points. A coordinate observation uses from only; an angle is
  // measured at `at` from `from` to `to`.
  std::size_t from = 0;
  std::size_t to = 0;
  std::size_t at = 0;
  // The observed coordinate of a Coordinate observation (0 = x or h, 1 = y, 2 = z).
  int axis = 0;
  // Metres, or radians for Direction, Angle, Azimuth and Zenith.
  double observed = 0.0;
  // The a-priori standard deviation in the unit of observed; for a distance written
  // `A+Bppm` already A + B·1e-6·S. For a vector with a covariance, the square root of the
  // component's variance (the covariance itself is in Network::baselineCovariances).
  double sigma = 0.0;
  // Distance and Zenith: instrument height at FROM and target height at TO (metres).
  double instrumentHeight = 0.0;
  double targetHeight = 0.0;
  // Direction: index into Network::directionSets.
  std::size_t set = 0;
  // VectorX/Y/Z with a full covariance: index into Network::baselineCovariances; -1 without.
  long covariance = -1;
  // The angle unit in force at the record, for showing angular values.
  AngleUnit unit = AngleUnit::Gon;
  int line = 0;
};

// The directions of one set share one orientation unknown.
struct DirectionSet {
  std::string name;
  // Index into Network::points: the station every direction of the set is read from.
  std::size_t station = 0;
  // The line of the set's first record.
  int line = 0;
};

// The covariance of one GNSS baseline (m²), upper triangle: XX, XY, XZ, YY, YZ, ZZ. The reader
// has checked that it is positive definite.
struct BaselineCovariance {
  double upper[6] = {0.0, 0.0, 0.0, 0.0, 0.0, 0.0};
};

struct Network {
  std::vector<SurveyPoint> points;
  std::vector<SurveyObservation> observations;
  std::vector<DirectionSet> directionSets;
  std::vector<BaselineCovariance> baselineCovariances;
  // `datum free`: the network's datum defect is held by conditions instead of fixed points.
  bool datumFree = false;
  // The datum points named in `datum free NAMES` (indices into points); empty means every
  // point that has no fixed coordinate.
  std::vector<std::size_t> datumPoints;
  // The angle unit in force at the end of the file (bearings of ellipses, orientations).
  AngleUnit finalUnit = AngleUnit::Gon;
};

// The index of the coordinate that an observation of the given type reads on a point of the
// given kind: Z (index 2) for a levelling observation on a 3D point, H (index 0) on a height
// point, the component for a vector observation.
int ObservedCoordinate(const SurveyObservation& observation, PointKind kind);

// Short type names as the reports use them: dist, hdist, dir, angle, azimuth, zenith, dx, dy,
// dz, level, coord.
const char* TypeName(ObservationType type);

// True for the types whose values are angles (held in radians).
bool IsAngular(ObservationType type);

// Axis letter of coordinate index on a point of the given kind: x, y, z or h.
char AxisName(PointKind kind, int axis);

// Radians per unit, and the unit's name as the file writes it (gon, deg, rad).
double RadiansPerUnit(AngleUnit unit);
const char* UnitName(AngleUnit unit);

}  // namespace zradjust
