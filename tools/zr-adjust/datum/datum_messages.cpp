#include "tools/zr-adjust/datum/datum_messages.h"

#include <algorithm>
#include <map>

#include "tools/zr-adjust/datum/network_parts.h"
#include "tools/zr-adjust/model/model_builder.h"

namespace zradjust {
namespace {

// A message names this many points; the rest are counted.
constexpr std::size_t namedPointLimit = 8;

std::string JoinWithAnd(const std::vector<std::string>& items) {
  std::string text;
  for (std::size_t k = 0; k < items.size(); ++k) {
    if (k > 0) text += k + 1 == items.size() ? " and " : ", ";
    text += items[k];
  }
  return text;
}

bool Has(const std::vector<Motion>& motions, Motion motion) {
  return std::find(motions.begin(), motions.end(), motion) != motions.end();
}

bool OnlyHeights(const Network& network, const NetworkPart& part) {
  return std::all_of(part.points.begin(), part.points.end(),
                     [&](std::size_t p) { return network.points[p].kind == PointKind::Height; });
}

// What holds the free motions, in the order a surveyor would try it.
std::vector<std::string> Remedies(const Network& network, const NetworkPart& part,
                                  const std::vector<Motion>& motions) {
  std::vector<std::string> remedies;
  bool translation = Has(motions, Motion::TranslationX) || Has(motions, Motion::TranslationY);
  bool height = Has(motions, Motion::TranslationZ);
  bool tilt = Has(motions, Motion::RotationX) || Has(motions, Motion::RotationY);
  bool turning = Has(motions, Motion::RotationZ);
  if (tilt) {
    remedies.push_back(translation || height
                           ? "fix three points not in a line"
                           : "fix two more points not in a line with the fixed one");
  } else {
    if (translation && turning) {
      remedies.push_back("fix two points");
      remedies.push_back("fix one and observe an azimuth");
    } else if (translation) {
      remedies.push_back("fix a point");
    } else if (turning) {
      remedies.push_back("fix a second point");
      remedies.push_back("observe an azimuth");
    }
    if (height && !translation)
      remedies.push_back(OnlyHeights(network, part) ? "fix a height" : "fix the height of a point");
  }
  if (Has(motions, Motion::Scale)) remedies.push_back("observe a distance");
  remedies.push_back("use `datum free`");
  return remedies;
}

std::string AxisList(const Network& network, std::size_t point, const std::vector<int>& axes) {
  std::vector<std::string> names;
  for (int axis : axes) {
    char name = AxisName(network.points[point].kind, axis);
    names.push_back(std::string(1, static_cast<char>(name - 'a' + 'A')));
  }
  return JoinWithAnd(names);
}

}  // namespace

std::string PointList(const Network& network, const std::vector<std::size_t>& points) {
  std::string text = points.size() == 1 ? "point " : "points ";
  for (std::size_t k = 0; k < points.size() && k < namedPointLimit; ++k) {
    if (k > 0) text += ", ";
    text += network.points[points[k]].name;
  }
  if (points.size() > namedPointLimit)
    text += " and " + std::to_string(points.size() - namedPointLimit) + " more";
  return text;
}

std::string FreeMotionMessage(const Network& network, const NetworkPart& part,
                              const std::vector<Motion>& motions) {
  std::vector<std::string> words;
  for (Motion motion : motions)
    words.push_back(MotionWords(motion));
  std::vector<std::string> remedies = Remedies(network, part, motions);
  std::string remedyText;
  for (std::size_t k = 0; k < remedies.size(); ++k) {
    if (k > 0) remedyText += k + 1 == remedies.size() ? ", or " : ", ";
    remedyText += remedies[k];
  }
  return PointList(network, part.points) + ": " + JoinWithAnd(words) +
         (motions.size() == 1 ? " is" : " are") + " free; " + remedyText;
}

std::vector<std::string> UndeterminedMessages(const Network& network,
                                              const std::vector<UnknownRef>& refs,
                                              const std::vector<std::size_t>& unknowns,
                                              UndeterminedCause cause) {
  std::map<std::size_t, std::vector<int>> axesOfPoint;
  std::vector<std::size_t> sets;
  for (std::size_t u : unknowns) {
    if (refs[u].orientation) {
      sets.push_back(refs[u].index);
    } else {
      axesOfPoint[refs[u].index].push_back(refs[u].axis);
    }
  }
  std::vector<std::string> messages;
  for (const auto& [point, axes] : axesOfPoint) {
    std::string text = "point " + network.points[point].name + ": " +
                       AxisList(network, point, axes) + (axes.size() == 1 ? " is" : " are") +
                       " not determined";
    if (cause == UndeterminedCause::Unobserved) {
      text += ": no observation depends on ";
      text += axes.size() == 1 ? "it" : "them";
      bool heightOnly = axes.size() == 1 && axes[0] == 2;
      text += heightOnly ? "; observe its height (level, vector, coord z) or fix it"
                         : "; observe the point or fix it";
    } else {
      text +=
          " by the geometry of its observations (points in a line, a point held by a "
          "single distance, ...); add observations in other directions or fix it";
    }
    messages.push_back(text);
  }
  for (std::size_t set : sets) {
    messages.push_back("direction set " + network.directionSets[set].name +
                       ": its orientation is not determined; observe directions to points "
                       "whose position is known");
  }
  return messages;
}

std::string NotFiniteMessage(const Network& network, std::size_t observation) {
  const SurveyObservation& o = network.observations[observation];
  std::string text = "line " + std::to_string(o.line) + ": " + TypeName(o.type) + " ";
  for (std::size_t p : ObservationPoints(o))
    text += network.points[p].name + " ";
  return text +
         "determines nothing at the approximate coordinates (its derivatives are not finite: "
         "do its points coincide?); give the points distinct approximate coordinates";
}

std::string SeveralPartsMessage(const Network& network, const std::vector<NetworkPart>& parts) {
  std::string text = "the network falls into " + std::to_string(parts.size()) +
                     " parts that no observation connects (";
  for (std::size_t k = 0; k < parts.size() && k < 4; ++k) {
    if (k > 0) text += "; ";
    text += PointList(network, parts[k].points);
  }
  if (parts.size() > 4) text += "; ...";
  return text +
         "); `datum free` holds one connected network: connect the parts by "
         "observations or fix points in each of them";
}

std::string DatumPointsMessage(const Network& network, const std::vector<std::size_t>& datumPoints,
                               const std::vector<Motion>& parameters) {
  std::vector<std::string> words;
  for (Motion motion : parameters)
    words.push_back(MotionWords(motion));
  return "the datum points (" + PointList(network, datumPoints) + ") cannot hold the defect (" +
         JoinWithAnd(words) + "); name more datum points, not all in a line, after `datum free`";
}

}  // namespace zradjust
