#pragma once
// What the datum analysis found, said in a surveyor's words: which points and coordinates, or
// which motion of which part of the network, is not determined, and what would fix it.

#include <cstddef>
#include <string>
#include <vector>

#include "tools/zr-adjust/datum/defect_motions.h"
#include "tools/zr-adjust/network/network.h"

namespace zradjust {

// "points A, B, C" (the first few names, then "and N more"), or "point A".
std::string PointList(const Network& network, const std::vector<std::size_t>& points);

// The free motions of a part that the datum does not hold, e.g. "points A, B, C: rotation about
// Z is free; fix a second point, observe an azimuth, or use `datum free`".
std::string FreeMotionMessage(const Network& network, const NetworkPart& part,
                              const std::vector<Motion>& motions);

// Why an unknown is not determined.
enum class UndeterminedCause {
  Unobserved,  // no observation depends on it
  Geometry,    // observations touch it but their geometry does not fix it
};

// Undetermined coordinates grouped by point, e.g. "point P7: Z is not determined: no observation
// depends on it; observe it (level, zenith, vector, coord) or fix it". unknowns are host unknowns
// with refs as in UnknownRefs().
std::vector<std::string> UndeterminedMessages(const Network& network,
                                              const std::vector<UnknownRef>& refs,
                                              const std::vector<std::size_t>& unknowns,
                                              UndeterminedCause cause);

// An observation whose partial derivatives are not finite at the approximate coordinates (a
// distance between points that coincide there).
std::string NotFiniteMessage(const Network& network, std::size_t observation);

// A free network in several unconnected parts.
std::string SeveralPartsMessage(const Network& network, const std::vector<NetworkPart>& parts);

// Datum points that cannot hold the defect (all in a line, a single point, ...).
std::string DatumPointsMessage(const Network& network, const std::vector<std::size_t>& datumPoints,
                               const std::vector<Motion>& parameters);

}  // namespace zradjust
