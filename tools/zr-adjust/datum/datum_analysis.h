#pragma once
// The datum of a network, decided before it is adjusted: the defect d (translations, rotations,
// scale; per connected part) and every unknown that nothing determines.
//
// Three looks, each catching what the one before cannot:
// - structure: an unknown no observation depends on (a point observed by nothing, the Z of a
//   3D point that only plan observations touch); the connected parts of the point graph;
// - motions: per part, the combinations of translations, rotations and scale that change no
//   observation and no fixed coordinate (part_defect.h);
// - rank: with a minimal datum held (d unknowns on which the motions are well conditioned) the
//   host's normal equations at the approximate coordinates are factorised, and every unknown
//   whose pivot vanishes is not determined either (collinear points, a point held by one
//   distance).
//
// Without `datum free` the network must have d = 0 and nothing undetermined; with it, one
// connected part and nothing undetermined. Otherwise the datum is refused (exit status 2 before
// iterating), unless the damping holds what is missing: then the analysis only warns, and the
// unknowns that only the damping holds are in basis.undetermined.

#include <cstddef>
#include <string>
#include <vector>

#include "tools/zr-adjust/datum/defect_motions.h"
#include "tools/zr-adjust/datum/part_defect.h"
#include "tools/zr-adjust/model/model_builder.h"
#include "tools/zr-adjust/network/network.h"
#include "tools/zr-adjust/statistics/datum_basis.h"
#include "tools/zr-adjust/statistics/linear_model.h"
#include "tools/zr-adjust/statistics/normal_factor.h"

namespace zradjust {

struct DatumAnalysis {
  // G (the motions of a free network), the datum unknowns of the minimum-trace datum, the held
  // minimal datum and the undetermined unknowns; host numbering of `unknowns`.
  DatumBasis basis;
  // d: the size of basis.motions (0 without `datum free`).
  int defect = 0;
  // The defect's parameters in the order tx, ty, tz, rx, ry, rz, scale.
  std::vector<Motion> parameters;
  // The datum points of a free network (indices into Network::points).
  std::vector<std::size_t> datumPoints;
  // What is not determined, in a surveyor's words, one message each.
  std::vector<std::string> problems;
  // The datum is not defined and the damping does not hold it: do not iterate.
  bool refused = false;
  // The free network's part and its defect, to re-evaluate the motions at other coordinates.
  std::vector<NetworkPart> freeParts;
  std::vector<PartDefect> freeDefects;
};

// unknowns as ModelObjects::UnknownRefs(); linear as ModelObjects::Linearise() at the
// approximate coordinates, taken by value (pass a temporary to spare the copy). dampingHolds:
// the normal equations get a positive damping.
DatumAnalysis AnalyseDatum(const Network& network, const std::vector<UnknownRef>& unknowns,
                           LinearModel linear, bool dampingHolds);

// The defect's motions (basis.motions) evaluated at other coordinates of the points, e.g. the
// adjusted ones; zero at undetermined unknowns.
std::vector<std::vector<double>> DefectMotionsAt(const Network& network,
                                                 const std::vector<UnknownRef>& unknowns,
                                                 const DatumAnalysis& analysis,
                                                 const PointCoordinates& coordinates);

// d unknowns on which the motions are well conditioned, by elimination on G's rows with the
// largest remaining entry as pivot; unknowns marked in excluded are never chosen. Ascending.
std::vector<std::size_t> MinimalDatum(const std::vector<std::vector<double>>& motions,
                                      const std::vector<bool>& excluded);

}  // namespace zradjust
