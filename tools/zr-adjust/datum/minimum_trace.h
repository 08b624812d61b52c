#pragma once
// The adjusted coordinates of a free network moved into the minimum-trace datum over its datum
// points: t = (CᵀG)⁻¹·Cᵀ·(x − x0) from MinimumTraceTransform at the current coordinates, then
// the motion −G·t applied as the motion it is (a rotation as a rotation, a scale as a scale),
// so that no observation's adjusted value changes; once more when the first step turned or
// scaled the network by more than a negligible angle, since G is the tangent of the motion
// only.

#include <cstddef>
#include <vector>

#include "tools/zr-adjust/datum/datum_analysis.h"
#include "tools/zr-adjust/datum/defect_motions.h"
#include "tools/zr-adjust/model/model_builder.h"
#include "tools/zr-adjust/network/network.h"

namespace zradjust {

// The values of a network: every point's coordinates and every direction set's orientation.
struct NetworkValues {
  PointCoordinates points;
  std::vector<double> orientations;
};

// A rotation or scale of the first step below this (radians, or relative) leaves a second-order
// error of at most its square times the network's extent: 1e-18 of it.
inline constexpr double negligibleTurn = 1e-9;

// Moves the values of the analysis' free parts (fixed coordinates stay as they are); false when
// the datum unknowns cannot hold the defect (the values are then unchanged).
bool MoveIntoMinimumTrace(const Network& network, const std::vector<UnknownRef>& unknowns,
                          const DatumAnalysis& analysis, NetworkValues& values);

// Applies the motion Σ sizes[k]·G_k of the analysis' defect motions exactly: per part the
// translations, rotations about the part's centre and scale about it that the combination of
// candidate motions amounts to. Returns the largest rotation (radians) or scale change applied.
double ApplyDefectMotion(const Network& network, const DatumAnalysis& analysis,
                         const std::vector<double>& sizes, NetworkValues& values);

}  // namespace zradjust
