#include "tools/zr-adjust/datum/minimum_trace.h"

#include <array>
#include <cmath>

#include "tools/zr-adjust/datum/s_transformation.h"

namespace zradjust {
namespace {

using Rotation = std::array<std::array<double, 3>, 3>;

// exp([ω]×): the rotation by |ω| about ω, counterclockwise; to first order the unit rotations of
// defect_motions.h.
Rotation RotationOf(double rx, double ry, double rz) {
  Rotation r = {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
  double angle = std::sqrt(rx * rx + ry * ry + rz * rz);
  if (angle == 0.0) return r;
  double k[3] = {rx / angle, ry / angle, rz / angle};
  double cross[3][3] = {{0, -k[2], k[1]}, {k[2], 0, -k[0]}, {-k[1], k[0], 0}};
  double s = std::sin(angle), c = 1.0 - std::cos(angle);
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) {
      double square = 0.0;
      for (int m = 0; m < 3; ++m)
        square += cross[i][m] * cross[m][j];
      r[i][j] += s * cross[i][j] + c * square;
    }
  }
  return r;
}

void MovePart(const Network& network, const NetworkPart& part, const PartDefect& defect,
              const std::array<double, motionKindCount>& size, NetworkValues& values) {
  auto at = [&](Motion motion) { return size[static_cast<int>(motion)]; };
  Rotation r = RotationOf(at(Motion::RotationX), at(Motion::RotationY), at(Motion::RotationZ));
  double scale = 1.0 + at(Motion::Scale);
  double shift[3] = {at(Motion::TranslationX), at(Motion::TranslationY), at(Motion::TranslationZ)};
  double centre[3] = {defect.centre.x, defect.centre.y, defect.centre.z};
  for (std::size_t p : part.points) {
    const SurveyPoint& point = network.points[p];
    std::array<double, 3>& c = values.points[p];
    std::array<double, 3> moved = c;
    if (point.kind == PointKind::Height) {
      moved[0] = c[0] + shift[2];
    } else {
      bool spatial = point.kind == PointKind::Spatial;
      double offset[3] = {c[0] - centre[0], c[1] - centre[1], spatial ? c[2] - centre[2] : 0.0};
      for (int i = 0; i < (spatial ? 3 : 2); ++i) {
        moved[i] = centre[i] + shift[i];
        for (int j = 0; j < 3; ++j)
          moved[i] += scale * r[i][j] * offset[j];
      }
    }
    for (int axis = 0; axis < point.CoordinateCount(); ++axis)
      if (!point.fixed[axis]) c[axis] = moved[axis];
  }
  // Bearings run clockwise: a counterclockwise turn lowers every orientation by its angle.
  for (std::size_t s : part.sets)
    values.orientations[s] -= at(Motion::RotationZ);
}

std::vector<double> UnknownValues(const std::vector<UnknownRef>& unknowns,
                                  const NetworkValues& values) {
  std::vector<double> x;
  for (const UnknownRef& ref : unknowns)
    x.push_back(ref.orientation ? values.orientations[ref.index]
                                : values.points[ref.index][ref.axis]);
  return x;
}

}  // namespace

double ApplyDefectMotion(const Network& network, const DatumAnalysis& analysis,
                         const std::vector<double>& sizes, NetworkValues& values) {
  double turn = 0.0;
  std::size_t first = 0;
  for (std::size_t k = 0; k < analysis.freeParts.size(); ++k) {
    const PartDefect& defect = analysis.freeDefects[k];
    std::array<double, motionKindCount> size = {};
    for (std::size_t m = 0; m < defect.motions.size(); ++m)
      for (std::size_t c = 0; c < defect.candidates.size(); ++c)
        size[static_cast<int>(defect.candidates[c])] +=
            sizes[first + m] * defect.motions[m].coefficients[c];
    MovePart(network, analysis.freeParts[k], defect, size, values);
    first += defect.motions.size();
    for (int m = static_cast<int>(Motion::RotationX); m < motionKindCount; ++m)
      turn = std::fmax(turn, std::fabs(size[m]));
  }
  return turn;
}

bool MoveIntoMinimumTrace(const Network& network, const std::vector<UnknownRef>& unknowns,
                          const DatumAnalysis& analysis, NetworkValues& values) {
  if (analysis.basis.motions.empty()) return true;
  PointCoordinates approximate = ApproximateCoordinates(network);
  for (int pass = 0; pass < 2; ++pass) {
    std::vector<double> x = UnknownValues(unknowns, values);
    std::vector<double> x0 = x;
    for (std::size_t u = 0; u < unknowns.size(); ++u)
      if (!unknowns[u].orientation) x0[u] = approximate[unknowns[u].index][unknowns[u].axis];
    STransformResult step =
        MinimumTraceTransform(x, x0, DefectMotionsAt(network, unknowns, analysis, values.points),
                              analysis.basis.datumUnknowns);
    if (step.singular) return false;
    std::vector<double> sizes = step.parameters;
    for (double& size : sizes)
      size = -size;
    if (!(ApplyDefectMotion(network, analysis, sizes, values) > negligibleTurn)) break;
  }
  return true;
}

}  // namespace zradjust
