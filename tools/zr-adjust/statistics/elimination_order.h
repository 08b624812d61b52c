#pragma once
// A fill-reducing elimination order for the host's normal equations, found on the graph of the
// unknowns' owners (the points and the orientations) rather than on the unknowns themselves.
//
// The graph of owners is a third of the size of that of the unknowns of a 3D network and holds
// a ninth of its edges, so the ordering costs a fraction; and an order that keeps each owner's
// unknowns together suits every N formed from the same observations, whatever entries it holds
// beyond A's (the statistics put a point's coordinates and those of two observed points into
// N's pattern; the datum check does not). Both factorisations of a run take this one order.

#include <cstddef>
#include <vector>

#include "tools/zr-adjust/statistics/linear_model.h"

namespace zradjust {

// All host unknowns of model, owner by owner in a fill-reducing order of the owners' graph
// (two owners are joined when one observation group depends on unknowns of both), each owner's
// unknowns ascending. ownerOf[u] < ownerCount for every unknown u (not checked). Throws
// std::runtime_error when the ordering fails (out of memory).
std::vector<std::size_t> EliminationOrder(const LinearModel& model,
                                          const std::vector<std::size_t>& ownerOf,
                                          std::size_t ownerCount);

}  // namespace zradjust
