#pragma once
// The motions a datum defect is made of: translations, rotations about the part's centroid and
// a scale change about it, as vectors over the host's unknowns (the numbering of LinearModel).
//
// A motion of unit size moves a coordinate by:
//   tx, ty, tz: 1 along X, Y, Z (tz moves the H of a height point too);
//   rz:  dX = -(Y - Yc), dY = X - Xc (counterclockwise seen from above); a direction set's
//        orientation turns with the points, by -1, since bearings run clockwise;
//   rx:  dY = -(Z - Zc), dZ = Y - Yc;   ry: dZ = -(X - Xc), dX = Z - Zc;
//   scale: the coordinates' offsets from the centroid (X, Y of plan points, X, Y, Z of 3D
//        points; heights do not scale).
// Which motions a part can have depends on its points: plan points allow tx, ty, rz, scale;
// height points tz; 3D points all seven; rx and ry only when every point of the part is 3D.

#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include "tools/zr-adjust/model/model_builder.h"
#include "tools/zr-adjust/network/network.h"

namespace zradjust {

// In the order in which the report lists the parameters of a defect.
enum class Motion {
  TranslationX,
  TranslationY,
  TranslationZ,
  RotationX,
  RotationY,
  RotationZ,
  Scale,
};
inline constexpr int motionKindCount = 7;

// tx, ty, tz, rx, ry, rz, scale.
const char* MotionParameter(Motion motion);
// In words: "translation in X", "rotation about Z", "scale", ...
const char* MotionWords(Motion motion);

// The points of one connected part of the network and its direction sets.
struct NetworkPart {
  std::vector<std::size_t> points;
  std::vector<std::size_t> sets;
};

// The current coordinates of every point (network order; H of a height point in element 0).
using PointCoordinates = std::vector<std::array<double, 3>>;

// The approximate coordinates of the network's points.
PointCoordinates ApproximateCoordinates(const Network& network);

// The motions that the part's point kinds allow, in the order of Motion.
std::vector<Motion> CandidateMotions(const Network& network, const NetworkPart& part);

// The centre about which a part rotates and scales: X and Y over its points with a plan
// position, Z over its 3D points.
struct MotionCentre {
  double x = 0.0;
  double y = 0.0;
  double z = 0.0;
};
MotionCentre CentreOf(const Network& network, const NetworkPart& part,
                      const PointCoordinates& coordinates);

// The displacement of every coordinate of the part's points under one unit motion about centre:
// element [point][axis] for the part's points in part order; orientation changes for its sets
// follow in `orientations`.
struct PartDisplacement {
  std::vector<std::array<double, 3>> points;
  std::vector<double> orientations;
};
PartDisplacement Displacement(const Network& network, const NetworkPart& part,
                              const PointCoordinates& coordinates, const MotionCentre& centre,
                              Motion motion);

// Where a host unknown sits: pointUnknown[point][axis] and setUnknown[set], npos for a fixed
// coordinate (or none).
struct UnknownMap {
  static constexpr std::size_t none = static_cast<std::size_t>(-1);
  std::vector<std::array<std::size_t, 3>> pointUnknown;
  std::vector<std::size_t> setUnknown;
};
UnknownMap MapUnknowns(const Network& network, const std::vector<UnknownRef>& unknowns);

// The part's unknowns in host numbering, ascending: its points' coordinates that are not fixed
// and its sets' orientations.
std::vector<std::size_t> PartUnknowns(const Network& network, const NetworkPart& part,
                                      const UnknownMap& map);

// The motion as a vector over the host unknowns listed in partUnknowns (PartUnknowns).
std::vector<double> OverPartUnknowns(const NetworkPart& part, const PartDisplacement& displacement,
                                     const UnknownMap& map,
                                     const std::vector<std::size_t>& partUnknowns);

// The motion as a vector over unknownCount host unknowns (zero outside the part and at fixed
// coordinates).
std::vector<double> OverUnknowns(const NetworkPart& part, const PartDisplacement& displacement,
                                 const UnknownMap& map, std::size_t unknownCount);

}  // namespace zradjust
