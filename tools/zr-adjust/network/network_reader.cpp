#include "tools/zr-adjust/network/network_reader.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unordered_map>

namespace zradjust {

namespace {

constexpr std::size_t maxNameLength = 64;
// Quoted text in a message is cut here so that one absurd line cannot flood the terminal.
constexpr std::size_t maxQuotedLength = 40;

// Thrown inside one line's parse and caught by the line loop: the line is then skipped.
struct LineError {
  std::string message;
};

// The text of a field as it can be shown on a terminal: control and non-ASCII bytes are
// written as \xNN, overlong text is cut.
std::string Quote(std::string_view text) {
  std::string quoted = "'";
  std::size_t shown = 0;
  for (unsigned char c : text) {
    if (shown == maxQuotedLength) {
      quoted += "...";
      break;
    }
    if (c >= 0x20 && c < 0x7F) {
      quoted += static_cast<char>(c);
    } else {
      char escaped[8];
      std::snprintf(escaped, sizeof escaped, "\\x%02X", c);
      quoted += escaped;
    }
    ++shown;
  }
  return quoted + "'";
}

bool IsNameCharacter(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_' ||
         c == '.' || c == '-';
}

bool IsValidName(std::string_view name) {
  if (name.empty() || name.size() > maxNameLength) return false;
  for (char c : name) {
    if (!IsNameCharacter(c)) return false;
  }
  return true;
}

// A decimal floating-point number as strtod reads it, but only its decimal form: the
// character check keeps out hexadecimal numbers, inf and nan.
double ParseNumber(std::string_view field, const char* role) {
  for (char c : field) {
    bool allowed =
        (c >= '0' && c <= '9') || c == '+' || c == '-' || c == '.' || c == 'e' || c == 'E';
    if (!allowed) {
      throw LineError{"malformed number " + Quote(field) + " for " + role +
                      " (a finite decimal number is expected)"};
    }
  }
  std::string text(field);
  char* end = nullptr;
  errno = 0;
  double value = std::strtod(text.c_str(), &end);
  if (end != text.c_str() + text.size() || text.empty()) {
    throw LineError{"malformed number " + Quote(field) + " for " + role +
                    " (a finite decimal number is expected)"};
  }
  if (!std::isfinite(value)) {
    throw LineError{"number " + Quote(field) + " for " + role + " is out of range"};
  }
  return value;
}

double ParseSigma(std::string_view field) {
  double sigma = ParseNumber(field, "SIGMA");
  if (!(sigma > 0.0)) {
    throw LineError{"SIGMA must be greater than zero, found " + Quote(field)};
  }
  return sigma;
}

std::vector<std::string_view> SplitFields(std::string_view line) {
  std::vector<std::string_view> fields;
  std::size_t position = 0;
  while (position < line.size()) {
    while (position < line.size() && (line[position] == ' ' || line[position] == '\t')) {
      ++position;
    }
    std::size_t start = position;
    while (position < line.size() && line[position] != ' ' && line[position] != '\t') {
      ++position;
    }
    if (position > start) fields.push_back(line.substr(start, position - start));
  }
  return fields;
}

// Parses one record at a time into the network it owns.
class RecordParser {
 public:
  void Parse(const std::vector<std::string_view>& fields, int line) {
    currentLine = line;
    std::string_view keyword = fields[0];
    if (keyword == "point") {
      ParsePoint(fields, PointKind::Spatial);
    } else if (keyword == "height") {
      ParsePoint(fields, PointKind::Height);
    } else if (keyword == "fix") {
      ParseFix(fields);
    } else if (keyword == "datum") {
      ParseDatum(fields);
    } else if (keyword == "dist") {
      ParseDistance(fields);
    } else if (keyword == "vector") {
      ParseVector(fields);
    } else if (keyword == "level") {
      ParseLevelling(fields);
    } else if (keyword == "coord") {
      ParseCoordinate(fields);
    } else {
      throw LineError{"unknown keyword " + Quote(keyword) +
                      " (expected point, height, fix, datum, dist, vector, level or coord)"};
    }
  }

  Network network;

 private:
  static void ExpectFields(const std::vector<std::string_view>& fields, std::size_t minimum,
                           std::size_t maximum, const char* usage) {
    std::size_t count = fields.size() - 1;
    if (count < minimum || count > maximum) {
      throw LineError{"wrong number of fields for " + Quote(fields[0]) + ": expected '" + usage +
                      "', found " + std::to_string(count) + " after the keyword"};
    }
  }

  std::size_t FindPoint(std::string_view name) const {
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

  const SurveyPoint& Point(std::size_t index) const { return network.points[index]; }

  std::size_t FindSpatialPoint(std::string_view name, std::string_view keyword) const {
    std::size_t index = FindPoint(name);
    if (Point(index).kind != PointKind::Spatial) {
      throw LineError{Quote(keyword) + " needs 3D points, but " + Quote(name) +
                      " is a height point"};
    }
    return index;
  }

  std::pair<std::size_t, std::size_t> FindEnds(const std::vector<std::string_view>& fields,
                                               bool spatialOnly) const {
    std::size_t from = spatialOnly ? FindSpatialPoint(fields[1], fields[0]) : FindPoint(fields[1]);
    std::size_t to = spatialOnly ? FindSpatialPoint(fields[2], fields[0]) : FindPoint(fields[2]);
    if (from == to) {
      throw LineError{Quote(fields[0]) + " names " + Quote(fields[1]) + " as both FROM and TO"};
    }
    return {from, to};
  }

  void ParsePoint(const std::vector<std::string_view>& fields, PointKind kind) {
    bool spatial = kind == PointKind::Spatial;
    ExpectFields(fields, spatial ? 4 : 2, spatial ? 4 : 2,
                 spatial ? "point NAME X Y Z" : "height NAME H");
    std::string_view name = fields[1];
    if (!IsValidName(name)) {
      throw LineError{"invalid point name " + Quote(name) +
                      " (1 to 64 characters of A-Z a-z 0-9 _ . -)"};
    }
    auto [existing, inserted] = pointIndex.emplace(std::string(name), network.points.size());
    if (!inserted) {
      throw LineError{"duplicate point name " + Quote(name) + " (first declared on line " +
                      std::to_string(Point(existing->second).line) + ")"};
    }
    // The point is declared before its numbers are checked, so that a bad coordinate gives one
    // message and not one more for every later line that names the point.
    SurveyPoint& point = network.points.emplace_back();
    point.name = std::string(name);
    point.kind = kind;
    point.line = currentLine;
    static const char* const roles[3] = {"X", "Y", "Z"};
    for (int axis = 0; axis < point.CoordinateCount(); ++axis) {
      point.approximate[axis] = ParseNumber(fields[2 + axis], spatial ? roles[axis] : "H");
    }
  }

  // Axis letters of a point kind, a combination of x, y, z or the h of a height point; returns
  // the coordinate indices. single asks for exactly one axis.
  static std::vector<int> ParseAxes(std::string_view text, const SurveyPoint& point, bool single) {
    std::vector<int> axes;
    bool spatial = point.kind == PointKind::Spatial;
    for (char c : text) {
      int axis = -1;
      if (spatial && c >= 'x' && c <= 'z') axis = c - 'x';
      if (!spatial && c == 'h') axis = 0;
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
      std::string expected = spatial ? (single ? "x, y or z" : "a combination of x, y and z")
                                     : "the only axis of a height point is h";
      throw LineError{"invalid " + std::string(single ? "axis " : "axes ") + Quote(text) + " for " +
                      (spatial ? "3D point " : "height point ") + Quote(point.name) + " (" +
                      expected + ")"};
    }
    return axes;
  }

  void ParseFix(const std::vector<std::string_view>& fields) {
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

  void ParseDatum(const std::vector<std::string_view>& fields) {
    ExpectFields(fields, 1, 1, "datum free");
    if (fields[1] != "free") {
      throw LineError{"unknown datum " + Quote(fields[1]) +
                      " (the only datum record is 'datum free')"};
    }
    network.datumFree = true;
  }

  void Add(ObservationType type, std::size_t from, std::size_t to, int axis, double observed,
           double sigma) {
    SurveyObservation& observation = network.observations.emplace_back();
    observation.type = type;
    observation.from = from;
    observation.to = to;
    observation.axis = axis;
    observation.observed = observed;
    observation.sigma = sigma;
    observation.line = currentLine;
  }

  void ParseDistance(const std::vector<std::string_view>& fields) {
    ExpectFields(fields, 4, 4, "dist FROM TO S SIGMA");
    auto [from, to] = FindEnds(fields, true);
    double distance = ParseNumber(fields[3], "S");
    if (!(distance > 0.0)) {
      throw LineError{"distance S must be greater than zero, found " + Quote(fields[3])};
    }
    Add(ObservationType::Distance, from, to, 0, distance, ParseSigma(fields[4]));
  }

  void ParseVector(const std::vector<std::string_view>& fields) {
    ExpectFields(fields, 6, 6, "vector FROM TO DX DY DZ SIGMA");
    auto [from, to] = FindEnds(fields, true);
    double dx = ParseNumber(fields[3], "DX");
    double dy = ParseNumber(fields[4], "DY");
    double dz = ParseNumber(fields[5], "DZ");
    double sigma = ParseSigma(fields[6]);
    Add(ObservationType::VectorX, from, to, 0, dx, sigma);
    Add(ObservationType::VectorY, from, to, 1, dy, sigma);
    Add(ObservationType::VectorZ, from, to, 2, dz, sigma);
  }

  void ParseLevelling(const std::vector<std::string_view>& fields) {
    ExpectFields(fields, 4, 4, "level FROM TO DH SIGMA");
    auto [from, to] = FindEnds(fields, false);
    double difference = ParseNumber(fields[3], "DH");
    Add(ObservationType::Levelling, from, to, 0, difference, ParseSigma(fields[4]));
  }

  void ParseCoordinate(const std::vector<std::string_view>& fields) {
    ExpectFields(fields, 4, 4, "coord NAME AXIS VALUE SIGMA");
    std::size_t at = FindPoint(fields[1]);
    int axis = ParseAxes(fields[2], Point(at), true)[0];
    double value = ParseNumber(fields[3], "VALUE");
    Add(ObservationType::Coordinate, at, at, axis, value, ParseSigma(fields[4]));
  }

  std::unordered_map<std::string, std::size_t> pointIndex;
  int currentLine = 0;
};

}  // namespace

ReadResult ReadNetwork(std::string_view text, const std::string& fileName) {
  ReadResult result;
  RecordParser parser;
  // An editor's byte order mark is not part of the first record.
  if (text.substr(0, 3) == "\xEF\xBB\xBF") text.remove_prefix(3);
  int lineNumber = 0;
  while (!text.empty()) {
    ++lineNumber;
    std::size_t end = text.find('\n');
    std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    line = line.substr(0, line.find('#'));
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    std::vector<std::string_view> fields = SplitFields(line);
    if (fields.empty()) continue;
    try {
      parser.Parse(fields, lineNumber);
    } catch (const LineError& error) {
      if (result.errors.size() == maxErrorCount) {
        result.errors.push_back(fileName + ": too many errors; giving up after " +
                                std::to_string(maxErrorCount));
        break;
      }
      result.errors.push_back(fileName + ":" + std::to_string(lineNumber) + ": " + error.message);
    }
  }
  result.network = std::move(parser.network);
  return result;
}

std::vector<std::string> NetworkWarnings(const Network& network, const std::string& fileName) {
  std::vector<std::string> warnings;
  bool datum = network.datumFree;
  std::vector<bool> observed(network.points.size(), false);
  for (const SurveyObservation& observation : network.observations) {
    observed[observation.from] = true;
    observed[observation.to] = true;
    datum = datum || observation.type == ObservationType::Coordinate;
  }
  for (const SurveyPoint& point : network.points) {
    for (int axis = 0; axis < point.CoordinateCount(); ++axis)
      datum = datum || point.fixed[axis];
  }
  if (!datum && !network.points.empty()) {
    warnings.push_back(fileName +
                       ": warning: no datum: nothing is fixed and no coordinate is observed; "
                       "add 'fix NAME' records or 'datum free', or the normal equations are "
                       "singular");
  }
  for (std::size_t p = 0; p < network.points.size(); ++p) {
    const SurveyPoint& point = network.points[p];
    bool allFixed = true;
    for (int axis = 0; axis < point.CoordinateCount(); ++axis) {
      allFixed = allFixed && point.fixed[axis];
    }
    if (!observed[p] && !allFixed) {
      warnings.push_back(fileName + ":" + std::to_string(point.line) + ": warning: point " +
                         Quote(point.name) +
                         " is not observed and not fixed; its coordinates "
                         "cannot be determined");
    }
  }
  return warnings;
}

std::string NetworkLabel(const std::string& path) {
  return path == "-" ? "<stdin>" : path;
}

ReadResult ReadNetworkFile(const std::string& path) {
  bool standardInput = path == "-";
  std::string label = NetworkLabel(path);
  std::FILE* file = standardInput ? stdin : std::fopen(path.c_str(), "rb");
  std::string text;
  int error = file ? 0 : errno;
  if (file) {
    char buffer[65536];
    std::size_t count;
    while ((count = std::fread(buffer, 1, sizeof buffer, file)) > 0)
      text.append(buffer, count);
    // A directory opens but does not read (EISDIR): that must not pass for an empty network.
    if (std::ferror(file)) error = errno ? errno : EIO;
    if (!standardInput) std::fclose(file);
  }
  if (error != 0) {
    ReadResult result;
    result.errors.push_back(label + ": cannot read: " + std::strerror(error));
    return result;
  }
  return ReadNetwork(text, label);
}

}  // namespace zradjust
