#pragma once
// The orientation unknowns of the direction sets: their approximate values and the length
// that turns an orientation correction into a correction at the far end of a sight.

#include <vector>

#include "tools/zr-adjust/network/network.h"

namespace zradjust {

// For every direction set (indexed like network.directionSets), the orientation ω in radians
// in [0, 2π) that best fits its readings R at the approximate coordinates: the mean of
// bearing(station→target) − R over the set, each term taken within half a circle of the
// first, so that readings on both sides of the zero of the circle average correctly.
std::vector<double> ApproximateOrientations(const Network& network);

// For every direction set, the longest horizontal sight of its directions at the approximate
// coordinates (metres); 1.0 for a set whose sights are all of zero length.
std::vector<double> LongestSights(const Network& network);

}  // namespace zradjust
