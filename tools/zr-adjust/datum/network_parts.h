#pragma once
// The structure of a network, before any number is looked at: which points an observation
// connects, and the connected parts of the point graph.

#include <cstddef>
#include <vector>

#include "tools/zr-adjust/datum/defect_motions.h"
#include "tools/zr-adjust/network/network.h"

namespace zradjust {

// The points an observation depends on: one for a coordinate observation, three for an angle
// (at, from, to), otherwise from and to. The station of a direction is its FROM.
std::vector<std::size_t> ObservationPoints(const SurveyObservation& observation);

// The connected parts of the graph whose nodes are the points that at least one observation
// touches (two points are joined when an observation depends on both), each with the direction
// sets whose station lies in it. Points in network order inside a part; parts in the order of
// their first point. Points no observation touches belong to no part.
std::vector<NetworkPart> ConnectedParts(const Network& network);

}  // namespace zradjust
