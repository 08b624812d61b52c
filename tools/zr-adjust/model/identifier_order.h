#pragma once
// Which object identifiers the coordinates of the points get.
//
// The library numbers its unknowns in ascending identifier order, so the identifiers decide
// the profile of the normal matrix and with it the cost of the compact solver. A point's
// coordinates always take consecutive identifiers (X, Y, Z; X, Y of a plan point; or the one H
// of a height point); the order decides only which point comes first. The orientation unknown
// of a direction set takes one identifier: after all points in input order (sets in order of
// first appearance), right after its station's coordinates in reverse Cuthill-McKee order.
// Identifiers start at 1.

#include <cstddef>
#include <cstdint>
#include <vector>

#include "tools/zr-adjust/network/network.h"

namespace zradjust {

enum class IdentifierOrder {
  ReverseCuthillMcKee,  // points in reverse Cuthill-McKee order of the point graph
  Input,                // points in file order
};

// The points (indices into network.points) in reverse Cuthill-McKee order of the graph whose
// edges are the observations between two points (an angle joins all three of its points). Each
// connected part starts from a pseudo-peripheral point; ties go to the point declared first, so the
// order is reproducible.
std::vector<std::size_t> ReverseCuthillMcKee(const Network& network);

// The first identifier of every point, indexed like network.points, followed by the
// identifier of every direction set's orientation, indexed like network.directionSets.
std::vector<std::uint64_t> AssignIdentifiers(const Network& network, IdentifierOrder order);

// The profile of the normal matrix that these identifiers give: with the unknowns (the
// coordinates not fixed) numbered in ascending identifier order, the sum over the rows i of
// i - first(i) + 1, where first(i) is the smallest column that an observation couples to i
// (the orientation of a direction set is an unknown of its directions; the three components
// of a baseline with a covariance are coupled to one another).
// With pointDatum, the library's datum conditions of a free network are in N as well: they
// couple every coordinate of every 3D point to every other one.
std::uint64_t NormalProfile(const Network& network, const std::vector<std::uint64_t>& firstIds,
                            bool pointDatum = false);

}  // namespace zradjust
