#pragma once
// Whether the library's seven datum conditions hold a network's defect. With `datum free` the
// 3D points whose three coordinates are unknowns enter the library's conditions: translations,
// rotations about their centroid and a scale about it. They hold the defect when no motion of
// the defect escapes them, that is when G_lib·G has full column rank d. They do not where the
// defect moves only plan or height points, or the fixed coordinates of some 3D points keep
// those out of the conditions, or when fewer than two distinct 3D points qualify (the library's
// conditions are then not finite); the program then holds a minimal datum of its own.

#include <vector>

#include "tools/zr-adjust/model/model_builder.h"
#include "tools/zr-adjust/network/network.h"

namespace zradjust {

// True when the library's conditions are finite: at least two distinct 3D points have three
// unknown coordinates. A single one (or coincident ones) gives the library's spread zero, and
// its conditions, divided by it, NaN.
bool LibraryConditionsFinite(const Network& network, const std::vector<UnknownRef>& unknowns);

// motions: the defect's G over the host's unknowns (DatumBasis::motions).
bool LibraryConditionsHold(const Network& network, const std::vector<UnknownRef>& unknowns,
                           const std::vector<std::vector<double>>& motions);

}  // namespace zradjust
