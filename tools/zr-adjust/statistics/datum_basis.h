#pragma once
// How the datum of the normal equations is held, and in which datum cofactors are reported.
// Made by the datum analysis, read by the statistics; plain data over the host's unknowns
// (the numbering of LinearModel).

#include <cstddef>
#include <vector>

namespace zradjust {

struct DatumBasis {
  // G: d columns of length unknownCount that span the motions changing no observation and no
  // fixed coordinate (A·g = 0); empty for a network without defect.
  std::vector<std::vector<double>> motions;
  // The minimum-trace datum minimises the sum of squared changes of these unknowns (the
  // coordinates of the datum points); unknownCount entries, or empty without defect.
  std::vector<bool> datumUnknowns;
  // d unknowns whose holding removes the defect (G restricted to them is regular): left out
  // of the normal equations that are factorised, then S-transformed into the datum above.
  std::vector<std::size_t> held;
  // Unknowns that nothing determines (only damping holds them): left out as well, and their
  // cofactors reported as not determined.
  std::vector<std::size_t> undetermined;
  // All host unknowns in a fill-reducing order for N (EliminationOrder), or empty. The datum
  // check and the statistics both factorise N of these observations and take this order
  // instead of computing one each, which on large networks would cost more than the numeric
  // factorisation itself.
  std::vector<std::size_t> eliminationOrder;
};

}  // namespace zradjust
