#include "tools/zr-adjust/network/record_parser.h"

#include <cmath>

namespace zradjust {
namespace {

const char* KindName(PointKind kind) {
  switch (kind) {
    case PointKind::Spatial:
      return "3D point";
    case PointKind::Plan:
      return "plan point";
    case PointKind::Height:
      break;
  }
  return "height point";
}

void ExpectFields(const RecordParser::Fields& fields, std::size_t minimum, std::size_t maximum,
                  const char* usage) {
  std::size_t count = fields.size() - 1;
  if (count < minimum || count > maximum) {
    throw LineError{"wrong number of fields for " + Quote(fields[0]) + ": expected '" + usage +
                    "', found " + std::to_string(count) + " after the keyword"};
  }
}

// Axis letters of a point kind (a combination of x, y, z on a 3D point, of x, y on a plan
// point, or the h of a height point); returns the coordinate indices. single asks for exactly
// one axis.
std::vector<int> ParseAxes(std::string_view text, const SurveyPoint& point, bool single) {
  std::vector<int> axes;
  int count = point.CoordinateCount();
  for (char c : text) {
    int axis = -1;
    if (point.kind != PointKind::Height && c >= 'x' && c < 'x' + count) axis = c - 'x';
    if (point.kind == PointKind::Height && c == 'h') axis = 0;
    bool repeated = false;
    for (int seen : axes)
      repeated = repeated || seen == axis;
    if (axis < 0 || repeated) {
      axes.clear();
      break;
    }
    axes.push_back(axis);
  }
  if (axes.empty() || (single && axes.size() != 1)) {
    std::string expected;
    if (point.kind == PointKind::Spatial) {
      expected = single ? "x, y or z" : "a combination of x, y and z";
    } else if (point.kind == PointKind::Plan) {
      expected = single ? "x or y" : "a combination of x and y";
    } else {
      expected = "the only axis of a height point is h";
    }
    throw LineError{"invalid " + std::string(single ? "axis " : "axes ") + Quote(text) + " for " +
                    KindName(point.kind) + " " + Quote(point.name) + " (" + expected + ")"};
  }
  return axes;
}

// Whether the upper triangle XX, XY, XZ, YY, YZ, ZZ is a positive definite matrix: every
// pivot of its Cholesky factorisation is positive.
bool IsPositiveDefinite(const double (&upper)[6]) {
  double l00 = upper[0];
  if (!(l00 > 0.0)) return false;
  l00 = std::sqrt(l00);
  double l10 = upper[1] / l00, l20 = upper[2] / l00;
  double d1 = upper[3] - l10 * l10;
  if (!(d1 > 0.0)) return false;
  double l11 = std::sqrt(d1);
  double l21 = (upper[4] - l20 * l10) / l11;
  double d2 = upper[5] - l20 * l20 - l21 * l21;
  return d2 > 0.0 && std::isfinite(d2);
}

}  // namespace

void RecordParser::Parse(const Fields& fields, int line) {
  currentLine = line;
  std::string_view keyword = fields[0];
  if (keyword == "point") {
    ParsePoint(fields, fields.size() == 4 ? PointKind::Plan : PointKind::Spatial);
  } else if (keyword == "height") {
    ParsePoint(fields, PointKind::Height);
  } else if (keyword == "fix") {
    ParseFix(fields);
  } else if (keyword == "datum") {
    ParseDatum(fields);
  } else if (keyword == "angles") {
    ParseAngleUnit(fields);
  } else if (keyword == "dist" || keyword == "hdist") {
    ParseDistance(fields, keyword == "hdist");
  } else if (keyword == "dir") {
    ParseDirection(fields);
  } else if (keyword == "angle") {
    ParseAngle(fields);
  } else if (keyword == "azimuth") {
    ParseAzimuth(fields);
  } else if (keyword == "zenith") {
    ParseZenith(fields);
  } else if (keyword == "vector") {
    ParseVector(fields);
  } else if (keyword == "level") {
    ParseLevelling(fields);
  } else if (keyword == "coord") {
    ParseCoordinate(fields);
  } else {
    throw LineError{"unknown keyword " + Quote(keyword) +
                    " (expected point, height, fix, datum, angles, dist, hdist, dir, angle, "
                    "azimuth, zenith, vector, level or coord)"};
  }
}

std::size_t RecordParser::FindPoint(std::string_view name) const {
  if (!IsValidName(name)) {
    throw LineError{"invalid point name " + Quote(name) +
                    " (1 to 64 characters of A-Z a-z 0-9 _ . -)"};
  }
  auto found = pointIndex.find(std::string(name));
  if (found == pointIndex.end()) {
    throw LineError{"unknown point " + Quote(name) +
                    " (declare it with 'point' or 'height' before this line)"};
  }
  return found->second;
}

std::size_t RecordParser::FindPointWith(std::string_view name, std::string_view keyword,
                                        bool spatial) const {
  std::size_t index = FindPoint(name);
  PointKind kind = network.points[index].kind;
  if (kind == PointKind::Height || (spatial && kind == PointKind::Plan)) {
    throw LineError{Quote(keyword) +
                    (spatial ? " needs 3D points, but " : " needs plan coordinates, but ") +
                    Quote(name) + " is a " + KindName(kind)};
  }
  return index;
}

std::pair<std::size_t, std::size_t> RecordParser::FindEnds(const Fields& fields,
                                                           bool spatial) const {
  std::size_t from = FindPointWith(fields[1], fields[0], spatial);
  std::size_t to = FindPointWith(fields[2], fields[0], spatial);
  if (from == to) {
    throw LineError{Quote(fields[0]) + " names " + Quote(fields[1]) + " as both FROM and TO"};
  }
  return {from, to};
}

void RecordParser::ParsePoint(const Fields& fields, PointKind kind) {
  bool height = kind == PointKind::Height;
  ExpectFields(fields, height ? 2 : 3, height ? 2 : 4,
               height ? "height NAME H" : "point NAME X Y [Z]");
  std::string_view name = fields[1];
  if (!IsValidName(name)) {
    throw LineError{"invalid point name " + Quote(name) +
                    " (1 to 64 characters of A-Z a-z 0-9 _ . -)"};
  }
  auto [existing, inserted] = pointIndex.emplace(std::string(name), network.points.size());
  if (!inserted) {
    throw LineError{"duplicate point name " + Quote(name) + " (first declared on line " +
                    std::to_string(network.points[existing->second].line) + ")"};
  }
  // The point is declared before its numbers are checked, so that a bad coordinate gives one
  // message and not one more for every later line that names the point.
  SurveyPoint& point = network.points.emplace_back();
  point.name = std::string(name);
  point.kind = kind;
  point.line = currentLine;
  static const char* const roles[3] = {"X", "Y", "Z"};
  for (int axis = 0; axis < point.CoordinateCount(); ++axis) {
    point.approximate[axis] = ParseNumber(fields[2 + axis], height ? "H" : roles[axis]);
  }
}

void RecordParser::ParseFix(const Fields& fields) {
  ExpectFields(fields, 1, 2, "fix NAME [AXES]");
  SurveyPoint& point = network.points[FindPoint(fields[1])];
  if (fields.size() == 2) {
    for (int axis = 0; axis < point.CoordinateCount(); ++axis)
      point.fixed[axis] = true;
    return;
  }
  for (int axis : ParseAxes(fields[2], point, false))
    point.fixed[axis] = true;
}

void RecordParser::ParseDatum(const Fields& fields) {
  ExpectFields(fields, 1, fields.size(), "datum free [NAME ...]");
  if (fields[1] != "free") {
    throw LineError{"unknown datum " + Quote(fields[1]) +
                    " (the only datum record is 'datum free [NAME ...]')"};
  }
  std::vector<std::size_t> named;
  for (std::size_t f = 2; f < fields.size(); ++f) {
    std::size_t point = FindPoint(fields[f]);
    bool repeated = false;
    for (std::size_t seen : network.datumPoints)
      repeated = repeated || seen == point;
    for (std::size_t seen : named)
      repeated = repeated || seen == point;
    if (!repeated) named.push_back(point);
  }
  network.datumFree = true;
  network.datumPoints.insert(network.datumPoints.end(), named.begin(), named.end());
}

void RecordParser::ParseAngleUnit(const Fields& fields) {
  ExpectFields(fields, 1, 1, "angles gon|deg|rad");
  if (fields[1] == "gon") {
    unit = AngleUnit::Gon;
  } else if (fields[1] == "deg") {
    unit = AngleUnit::Degree;
  } else if (fields[1] == "rad") {
    unit = AngleUnit::Radian;
  } else {
    throw LineError{"unknown angle unit " + Quote(fields[1]) + " (gon, deg or rad)"};
  }
  network.finalUnit = unit;
}

void RecordParser::ParseHeights(const Fields& fields, std::size_t first,
                                SurveyObservation& observation) {
  if (fields.size() <= first) return;
  observation.instrumentHeight = ParseNumber(fields[first], "IH");
  observation.targetHeight = ParseNumber(fields[first + 1], "TH");
}

SurveyObservation& RecordParser::Add(ObservationType type, std::size_t from, std::size_t to,
                                     double observed, double sigma) {
  SurveyObservation& observation = network.observations.emplace_back();
  observation.type = type;
  observation.from = from;
  observation.to = to;
  observation.observed = observed;
  observation.sigma = sigma;
  observation.unit = unit;
  observation.line = currentLine;
  return observation;
}

void RecordParser::ParseDistance(const Fields& fields, bool horizontal) {
  if (horizontal) {
    ExpectFields(fields, 4, 4, "hdist FROM TO S SIGMA");
  } else if (fields.size() != 5) {
    ExpectFields(fields, 6, 6, "dist FROM TO S SIGMA [IH TH]");
  }
  auto [from, to] = FindEnds(fields, !horizontal);
  double distance = ParseNumber(fields[3], "S");
  if (!(distance > 0.0)) {
    throw LineError{"distance S must be greater than zero, found " + Quote(fields[3])};
  }
  SurveyObservation candidate;
  ParseHeights(fields, 5, candidate);
  double sigma = ParseDistanceSigma(fields[4], distance);
  SurveyObservation& observation =
      Add(horizontal ? ObservationType::HorizontalDistance : ObservationType::Distance, from, to,
          distance, sigma);
  observation.instrumentHeight = candidate.instrumentHeight;
  observation.targetHeight = candidate.targetHeight;
}

void RecordParser::ParseDirection(const Fields& fields) {
  ExpectFields(fields, 5, 5, "dir SET FROM TO R SIGMA");
  std::string_view setName = fields[1];
  if (!IsValidName(setName)) {
    throw LineError{"invalid set name " + Quote(setName) +
                    " (1 to 64 characters of A-Z a-z 0-9 _ . -)"};
  }
  Fields ends = {fields[0], fields[2], fields[3]};
  auto [from, to] = FindEnds(ends, false);
  double reading = zradjust::ParseAngle(fields[4], "R", unit, false);
  double sigma = ParseAngularSigma(fields[5], unit);
  auto found = setIndex.find(std::string(setName));
  if (found != setIndex.end()) {
    const DirectionSet& set = network.directionSets[found->second];
    if (set.station != from) {
      throw LineError{"direction set " + Quote(setName) + " is read from " +
                      Quote(network.points[set.station].name) + " (line " +
                      std::to_string(set.line) + "), not from " + Quote(fields[2])};
    }
  } else {
    found = setIndex.emplace(std::string(setName), network.directionSets.size()).first;
    network.directionSets.push_back(DirectionSet{std::string(setName), from, currentLine});
  }
  Add(ObservationType::Direction, from, to, reading, sigma).set = found->second;
}

void RecordParser::ParseAngle(const Fields& fields) {
  ExpectFields(fields, 5, 5, "angle AT FROM TO A SIGMA");
  std::size_t at = FindPointWith(fields[1], fields[0], false);
  std::size_t from = FindPointWith(fields[2], fields[0], false);
  std::size_t to = FindPointWith(fields[3], fields[0], false);
  if (at == from || at == to || from == to) {
    throw LineError{"'angle' needs three different points, found " + Quote(fields[1]) + ", " +
                    Quote(fields[2]) + ", " + Quote(fields[3])};
  }
  double angle = zradjust::ParseAngle(fields[4], "A", unit, false);
  double sigma = ParseAngularSigma(fields[5], unit);
  Add(ObservationType::Angle, from, to, angle, sigma).at = at;
}

void RecordParser::ParseAzimuth(const Fields& fields) {
  ExpectFields(fields, 4, 4, "azimuth FROM TO A SIGMA");
  auto [from, to] = FindEnds(fields, false);
  double azimuth = zradjust::ParseAngle(fields[3], "A", unit, false);
  Add(ObservationType::Azimuth, from, to, azimuth, ParseAngularSigma(fields[4], unit));
}

void RecordParser::ParseZenith(const Fields& fields) {
  if (fields.size() != 5) ExpectFields(fields, 6, 6, "zenith FROM TO Z SIGMA [IH TH]");
  auto [from, to] = FindEnds(fields, true);
  double zenith = zradjust::ParseAngle(fields[3], "Z", unit, true);
  double sigma = ParseAngularSigma(fields[4], unit);
  SurveyObservation candidate;
  ParseHeights(fields, 5, candidate);
  SurveyObservation& observation = Add(ObservationType::Zenith, from, to, zenith, sigma);
  observation.instrumentHeight = candidate.instrumentHeight;
  observation.targetHeight = candidate.targetHeight;
}

void RecordParser::ParseVector(const Fields& fields) {
  bool correlated = fields.size() > 6 && fields[6] == "cov";
  if (correlated) {
    ExpectFields(fields, 12, 12, "vector FROM TO DX DY DZ cov CXX CXY CXZ CYY CYZ CZZ");
  } else {
    ExpectFields(fields, 6, 6, "vector FROM TO DX DY DZ SIGMA");
  }
  auto [from, to] = FindEnds(fields, true);
  double components[3] = {ParseNumber(fields[3], "DX"), ParseNumber(fields[4], "DY"),
                          ParseNumber(fields[5], "DZ")};
  double sigma[3];
  long covariance = -1;
  if (correlated) {
    static const char* const roles[6] = {"CXX", "CXY", "CXZ", "CYY", "CYZ", "CZZ"};
    BaselineCovariance matrix;
    for (int k = 0; k < 6; ++k)
      matrix.upper[k] = ParseNumber(fields[7 + k], roles[k]);
    if (!IsPositiveDefinite(matrix.upper)) {
      throw LineError{"the covariance of 'vector' " + Quote(fields[1]) + " " + Quote(fields[2]) +
                      " is not positive definite"};
    }
    sigma[0] = std::sqrt(matrix.upper[0]);
    sigma[1] = std::sqrt(matrix.upper[3]);
    sigma[2] = std::sqrt(matrix.upper[5]);
    covariance = static_cast<long>(network.baselineCovariances.size());
    network.baselineCovariances.push_back(matrix);
  } else {
    sigma[0] = sigma[1] = sigma[2] = ParseSigma(fields[6]);
  }
  static const ObservationType types[3] = {ObservationType::VectorX, ObservationType::VectorY,
                                           ObservationType::VectorZ};
  for (int axis = 0; axis < 3; ++axis) {
    SurveyObservation& observation = Add(types[axis], from, to, components[axis], sigma[axis]);
    observation.axis = axis;
    observation.covariance = covariance;
  }
}

void RecordParser::ParseLevelling(const Fields& fields) {
  ExpectFields(fields, 4, 4, "level FROM TO DH SIGMA");
  std::size_t ends[2];
  for (int end = 0; end < 2; ++end) {
    ends[end] = FindPoint(fields[1 + end]);
    if (network.points[ends[end]].kind == PointKind::Plan) {
      throw LineError{"'level' needs heights, but " + Quote(fields[1 + end]) + " is a plan point"};
    }
  }
  if (ends[0] == ends[1]) {
    throw LineError{"'level' names " + Quote(fields[1]) + " as both FROM and TO"};
  }
  double difference = ParseNumber(fields[3], "DH");
  Add(ObservationType::Levelling, ends[0], ends[1], difference, ParseSigma(fields[4]));
}

void RecordParser::ParseCoordinate(const Fields& fields) {
  ExpectFields(fields, 4, 4, "coord NAME AXIS VALUE SIGMA");
  std::size_t at = FindPoint(fields[1]);
  int axis = ParseAxes(fields[2], network.points[at], true)[0];
  double value = ParseNumber(fields[3], "VALUE");
  Add(ObservationType::Coordinate, at, at, value, ParseSigma(fields[4])).axis = axis;
}

}  // namespace zradjust
