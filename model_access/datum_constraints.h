#pragma once
// The datum conditions of a free three-dimensional point network.
//
// Without a fixed point, the normal matrix of a point network is singular: the network can be
// shifted, rotated and scaled as a whole. The seven rows of G (translations in X, Y, Z,
// rotations about X, Y, Z, scale) remove that defect once GᵀG is added to N.

#include <set>

#include "model_access/network_point.h"
#include "model_access/unknown_index.h"
#include "sparse/sparse_matrix.h"

// result = GᵀG (u × u, u = unknowns.size()), G being 7 × u and built from the current Values
// of the qualifying points: those whose X, Y and Z all have a column in unknowns. With
// n qualifying points, centroid (x̄, ȳ, z̄), spread s = sqrt(Σ (X−x̄)² + (Y−ȳ)² + (Z−z̄)²),
// t = 1/sqrt(n) and the centred, scaled coordinates x̃ = (X−x̄)/s (likewise ỹ, z̃), each point
// writes into its columns cx, cy, cz:
//   row 0: cx t      row 3: cy −z̃, cz ỹ      row 5: cx −ỹ, cy x̃
//   row 1: cy t      row 4: cx z̃, cz −x̃      row 6: cx x̃, cy ỹ, cz z̃
//   row 2: cz t
// Elements are set, not accumulated, and a zero (either sign) is not stored.
//
// result is replaced whatever it held. The handles of qualifying points are resolved and their
// caches filled in place; points that do not qualify are not resolved at all.
// Nothing is checked: no qualifying point gives a u × u matrix without elements; one point, or
// all points at their centroid, gives s = 0 and NaN or infinite elements, stored as they are.
// Exceptions from the sparse store pass through.
void BuildDatumConstraints(SparseMatrix& result, const std::set<NetworkPoint>& points,
                           const UnknownIndex& unknowns);
