#include "tools/zr-adjust/datum/datum_analysis.h"

#include <algorithm>
#include <cmath>

#include "tools/zr-adjust/datum/datum_messages.h"
#include "tools/zr-adjust/datum/network_parts.h"
#include "tools/zr-adjust/datum/symmetric_eigen.h"
#include "tools/zr-adjust/statistics/elimination_order.h"
#include "tools/zr-adjust/statistics/normal_factor.h"

namespace zradjust {
namespace {

using Vectors = std::vector<std::vector<double>>;

// An unknown moves with a motion when its entry exceeds this fraction of the motion's largest.
constexpr double supportFraction = 1e-9;
// The datum points hold the defect when the smallest eigenvalue of GᵀEG, G with unit columns,
// is above this: the datum points' share of the motions is not degenerate.
constexpr double datumPointThreshold = 1e-10;

// Empties every row of A that holds a non-finite partial (coincident points of a distance):
// such an observation determines nothing at these coordinates. Returns their rows.
std::vector<std::size_t> EmptyNonFiniteRows(LinearModel& linear) {
  std::vector<std::size_t> emptied;
  for (std::size_t i = 0; i < linear.rows.size(); ++i) {
    DesignRow& row = linear.rows[i];
    bool ok = std::all_of(row.begin(), row.end(),
                          [](const DesignEntry& entry) { return std::isfinite(entry.partial); });
    if (ok) continue;
    row.clear();
    emptied.push_back(i);
  }
  return emptied;
}

std::vector<bool> Unobserved(const LinearModel& linear) {
  std::vector<bool> unobserved(linear.unknownCount, true);
  for (const DesignRow& row : linear.rows)
    for (const DesignEntry& entry : row)
      if (entry.partial != 0.0) unobserved[entry.unknown] = false;
  return unobserved;
}

std::vector<std::size_t> Indices(const std::vector<bool>& marks) {
  std::vector<std::size_t> indices;
  for (std::size_t k = 0; k < marks.size(); ++k)
    if (marks[k]) indices.push_back(k);
  return indices;
}

std::vector<std::vector<std::size_t>> RowsOfParts(const Network& network,
                                                  const std::vector<NetworkPart>& parts) {
  std::vector<std::size_t> partOf(network.points.size(), parts.size());
  for (std::size_t k = 0; k < parts.size(); ++k)
    for (std::size_t p : parts[k].points)
      partOf[p] = k;
  std::vector<std::vector<std::size_t>> rows(parts.size());
  for (std::size_t i = 0; i < network.observations.size(); ++i)
    rows[partOf[ObservationPoints(network.observations[i])[0]]].push_back(i);
  return rows;
}

bool HasUnknown(const NetworkPart& part, const UnknownMap& map) {
  for (std::size_t p : part.points)
    for (std::size_t u : map.pointUnknown[p])
      if (u != UnknownMap::none) return true;
  return !part.sets.empty();
}

// Every point without a fixed coordinate, unless `datum free` names them.
std::vector<std::size_t> DatumPointsOf(const Network& network) {
  if (!network.datumPoints.empty()) return network.datumPoints;
  std::vector<std::size_t> points;
  for (std::size_t p = 0; p < network.points.size(); ++p) {
    const SurveyPoint& point = network.points[p];
    if (std::none_of(point.fixed, point.fixed + point.CoordinateCount(), [](bool f) { return f; }))
      points.push_back(p);
  }
  return points;
}

std::vector<bool> DatumUnknownsOf(const std::vector<std::size_t>& points, const UnknownMap& map,
                                  std::size_t unknownCount) {
  std::vector<bool> datum(unknownCount, false);
  for (std::size_t p : points)
    for (std::size_t u : map.pointUnknown[p])
      if (u != UnknownMap::none) datum[u] = true;
  return datum;
}

// True when the datum unknowns see every motion: GᵀEG is regular.
bool DatumPointsHold(const Vectors& motions, const std::vector<bool>& datum) {
  std::size_t d = motions.size();
  if (d == 0) return true;
  std::vector<double> norm(d, 0.0);
  for (std::size_t a = 0; a < d; ++a) {
    for (double value : motions[a])
      norm[a] += value * value;
    norm[a] = norm[a] > 0.0 ? std::sqrt(norm[a]) : 1.0;
  }
  Vectors product(d, std::vector<double>(d, 0.0));
  for (std::size_t a = 0; a < d; ++a)
    for (std::size_t b = 0; b < d; ++b)
      for (std::size_t u = 0; u < datum.size(); ++u)
        if (datum[u]) product[a][b] += motions[a][u] * motions[b][u] / (norm[a] * norm[b]);
  return DecomposeSymmetric(product).values.front() > datumPointThreshold;
}

// A part's motions over all unknowns (for the basis of a free network).
Vectors Scatter(const PartMotions& part, std::size_t unknownCount) {
  Vectors dense;
  for (const std::vector<double>& motion : part.motions) {
    std::vector<double>& vector = dense.emplace_back(unknownCount, 0.0);
    for (std::size_t k = 0; k < part.unknowns.size(); ++k)
      vector[part.unknowns[k]] = motion[k];
  }
  return dense;
}

// What the parts' motions give the rest of the analysis: the minimal datum that holds them
// for the rank check, the unknowns they move (only the damping holds those without `datum
// free`), and a free network's G over all unknowns.
struct MotionFindings {
  std::vector<std::size_t> held;
  std::vector<bool> moved;
  Vectors freeMotions;
};

// The motions of every part, with their messages; a free network keeps its parts for later.
MotionFindings FindMotions(const Network& network, const std::vector<UnknownRef>& unknowns,
                           const LinearModel& finite, const std::vector<bool>& unobserved,
                           DatumAnalysis& analysis) {
  UnknownMap map = MapUnknowns(network, unknowns);
  std::vector<NetworkPart> parts = ConnectedParts(network);
  std::vector<std::vector<std::size_t>> rows = RowsOfParts(network, parts);
  PointCoordinates coordinates = ApproximateCoordinates(network);
  std::vector<NetworkPart> observedParts;
  MotionFindings findings;
  findings.moved.assign(unknowns.size(), false);
  for (std::size_t k = 0; k < parts.size(); ++k) {
    if (!HasUnknown(parts[k], map)) continue;
    observedParts.push_back(parts[k]);
    PartInput input{&network, &parts[k], &coordinates, &map, &finite, &rows[k], &unobserved};
    PartDefect defect = AnalysePart(input);
    if (defect.motions.empty()) continue;
    PartMotions motions = PartMotionsAt(network, parts[k], defect, coordinates, map);
    std::vector<bool> excluded;
    for (std::size_t u : motions.unknowns)
      excluded.push_back(unobserved[u]);
    for (std::vector<double>& motion : motions.motions) {
      double largest = 0.0;
      for (std::size_t i = 0; i < motion.size(); ++i) {
        if (excluded[i]) motion[i] = 0.0;
        largest = std::max(largest, std::fabs(motion[i]));
      }
      for (std::size_t i = 0; i < motion.size(); ++i)
        if (std::fabs(motion[i]) > supportFraction * largest)
          findings.moved[motions.unknowns[i]] = true;
    }
    for (std::size_t local : MinimalDatum(motions.motions, excluded))
      findings.held.push_back(motions.unknowns[local]);
    if (network.datumFree) {
      analysis.freeParts.push_back(parts[k]);
      analysis.freeDefects.push_back(defect);
      Vectors dense = Scatter(motions, unknowns.size());
      findings.freeMotions.insert(findings.freeMotions.end(), dense.begin(), dense.end());
      continue;
    }
    std::vector<Motion> names;
    for (const DefectMotion& motion : defect.motions)
      names.push_back(motion.parameter);
    analysis.problems.push_back(FreeMotionMessage(network, parts[k], names));
  }
  std::sort(findings.held.begin(), findings.held.end());
  if (network.datumFree && observedParts.size() > 1) {
    analysis.problems.push_back(SeveralPartsMessage(network, observedParts));
    analysis.refused = true;
  }
  return findings;
}

}  // namespace

std::vector<std::size_t> MinimalDatum(const std::vector<std::vector<double>>& motions,
                                      const std::vector<bool>& excluded) {
  Vectors work = motions;
  std::vector<bool> chosen(excluded);
  std::vector<std::size_t> held;
  for (std::size_t c = 0; c < work.size(); ++c) {
    std::size_t best = work[c].size();
    for (std::size_t u = 0; u < work[c].size(); ++u) {
      if (chosen[u]) continue;
      if (best == work[c].size() || std::fabs(work[c][u]) > std::fabs(work[c][best])) best = u;
    }
    if (best == work[c].size() || work[c][best] == 0.0) continue;
    chosen[best] = true;
    held.push_back(best);
    // Take the pivot's share of motion c out of the later motions.
    for (std::size_t later = c + 1; later < work.size(); ++later) {
      double factor = work[later][best] / work[c][best];
      for (std::size_t u = 0; u < work[c].size(); ++u)
        work[later][u] -= factor * work[c][u];
    }
  }
  std::sort(held.begin(), held.end());
  return held;
}

DatumAnalysis AnalyseDatum(const Network& network, const std::vector<UnknownRef>& unknowns,
                           LinearModel linear, bool dampingHolds) {
  DatumAnalysis analysis;
  // Emptied in place: the model is the caller's copy (or a temporary moved in), and a network's
  // A is hundreds of megabytes.
  LinearModel& finite = linear;
  for (std::size_t i : EmptyNonFiniteRows(finite))
    analysis.problems.push_back(NotFiniteMessage(network, i));
  std::vector<bool> unobserved = Unobserved(finite);
  MotionFindings motions = FindMotions(network, unknowns, finite, unobserved, analysis);

  std::vector<std::string> unobservedMessages =
      UndeterminedMessages(network, unknowns, Indices(unobserved), UndeterminedCause::Unobserved);
  analysis.problems.insert(analysis.problems.end(), unobservedMessages.begin(),
                           unobservedMessages.end());

  // The rank check: the motions held by a minimal datum, what nothing observes left out.
  std::vector<std::size_t> leftOut = motions.held;
  for (std::size_t u : Indices(unobserved))
    leftOut.push_back(u);
  std::sort(leftOut.begin(), leftOut.end());
  std::vector<std::size_t> ownerOf(unknowns.size());
  for (std::size_t u = 0; u < unknowns.size(); ++u)
    ownerOf[u] =
        unknowns[u].orientation ? network.points.size() + unknowns[u].index : unknowns[u].index;
  analysis.basis.eliminationOrder =
      EliminationOrder(finite, ownerOf, network.points.size() + network.directionSets.size());
  std::vector<std::size_t> weak =
      WeakUnknowns(finite, leftOut, weakPivotTolerance, analysis.basis.eliminationOrder);
  std::vector<std::string> weakMessages =
      UndeterminedMessages(network, unknowns, weak, UndeterminedCause::Geometry);
  analysis.problems.insert(analysis.problems.end(), weakMessages.begin(), weakMessages.end());

  std::vector<bool> undetermined = unobserved;
  for (std::size_t u : weak)
    undetermined[u] = true;
  if (!network.datumFree) {
    for (std::size_t u = 0; u < undetermined.size(); ++u)
      undetermined[u] = undetermined[u] || motions.moved[u];
  } else if (!analysis.refused) {
    analysis.basis.motions = motions.freeMotions;
    analysis.basis.held = motions.held;
    analysis.defect = static_cast<int>(motions.freeMotions.size());
    for (const PartDefect& defect : analysis.freeDefects)
      for (const DefectMotion& motion : defect.motions)
        analysis.parameters.push_back(motion.parameter);
    analysis.datumPoints = DatumPointsOf(network);
    analysis.basis.datumUnknowns =
        DatumUnknownsOf(analysis.datumPoints, MapUnknowns(network, unknowns), unknowns.size());
    if (!DatumPointsHold(analysis.basis.motions, analysis.basis.datumUnknowns)) {
      analysis.problems.push_back(
          DatumPointsMessage(network, analysis.datumPoints, analysis.parameters));
      analysis.refused = true;
    }
  }
  analysis.basis.undetermined = Indices(undetermined);
  // What only the damping holds takes no part in the datum transformation.
  for (std::vector<double>& motion : analysis.basis.motions)
    for (std::size_t u : analysis.basis.undetermined)
      motion[u] = 0.0;
  if (!analysis.problems.empty() && !dampingHolds) analysis.refused = true;
  return analysis;
}

std::vector<std::vector<double>> DefectMotionsAt(const Network& network,
                                                 const std::vector<UnknownRef>& unknowns,
                                                 const DatumAnalysis& analysis,
                                                 const PointCoordinates& coordinates) {
  UnknownMap map = MapUnknowns(network, unknowns);
  Vectors motions;
  for (std::size_t k = 0; k < analysis.freeParts.size(); ++k) {
    Vectors part = Scatter(
        PartMotionsAt(network, analysis.freeParts[k], analysis.freeDefects[k], coordinates, map),
        unknowns.size());
    motions.insert(motions.end(), part.begin(), part.end());
  }
  for (std::vector<double>& motion : motions)
    for (std::size_t u : analysis.basis.undetermined)
      motion[u] = 0.0;
  return motions;
}

}  // namespace zradjust
