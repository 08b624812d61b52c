#pragma once
// The datum defect of one connected part of a network: the combinations of its candidate motions
// (defect_motions.h) that change no observation and no fixed coordinate, found as the null space
// of the small stacked matrix [A·H; F·H] at the approximate coordinates, with H the candidate
// motions as columns and F the selection of the part's fixed coordinates.

#include <cstddef>
#include <vector>

#include "tools/zr-adjust/datum/defect_motions.h"
#include "tools/zr-adjust/network/network.h"
#include "tools/zr-adjust/statistics/linear_model.h"

namespace zradjust {

// One motion of a defect, named after the parameter it carries: the combination of the part's
// candidate motions (unit motions about the part's centre) with coefficient 1 on that parameter
// and 0 on the other named parameters. A rotation about a fixed point is "rz" (the rotation
// about the centre plus the translations that keep the point in place).
struct DefectMotion {
  Motion parameter = Motion::TranslationX;
  std::vector<double> coefficients;
};

struct PartDefect {
  MotionCentre centre;
  std::vector<Motion> candidates;
  // In the order tx, ty, tz, rx, ry, rz, scale.
  std::vector<DefectMotion> motions;
};

// What the analysis of a part reads. rows are A at the approximate coordinates (row i is
// network observation i; a row holding a non-finite partial is taken as observing nothing);
// excluded marks unknowns already known to be undetermined (no observation touches them): the
// motions are looked for among the other coordinates.
struct PartInput {
  const Network* network = nullptr;
  const NetworkPart* part = nullptr;
  const PointCoordinates* coordinates = nullptr;
  const UnknownMap* map = nullptr;
  const LinearModel* linear = nullptr;
  // The rows of linear whose observations lie in the part.
  const std::vector<std::size_t>* rows = nullptr;
  const std::vector<bool>* excluded = nullptr;
};

// A candidate motion is in the defect when its eigenvalue of (B·T)ᵀ(B·T) is at most this
// fraction of the largest (or of 1, whichever is larger). B's rows (observations, scaled to unit
// length) and T's columns (orthonormal combinations of the candidates) have unit size, so a
// motion that changes any observation changes it by at least about 1/sqrt(points) and has an
// eigenvalue of about 1/points or more, while one that changes nothing leaves rounding, around
// 1e-30; 1e-10 lies safely between the two for networks of up to millions of points.
inline constexpr double nullMotionThreshold = 1e-10;

PartDefect AnalysePart(const PartInput& input);

// The defect's motions of a part at the given coordinates (the centre stays the one of the
// analysis), in the order of defect.motions, over the part's own unknowns: a network of many
// parts never holds a vector over all unknowns per motion.
struct PartMotions {
  // Host numbering, ascending (PartUnknowns).
  std::vector<std::size_t> unknowns;
  // Each over unknowns.
  std::vector<std::vector<double>> motions;
};
PartMotions PartMotionsAt(const Network& network, const NetworkPart& part, const PartDefect& defect,
                          const PointCoordinates& coordinates, const UnknownMap& map);

}  // namespace zradjust
