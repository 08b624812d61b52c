#include "tools/zr-adjust/network/network_reader.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tools/zr-adjust/network/record_parser.h"

namespace zradjust {

namespace {

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
    if (observation.type == ObservationType::Angle) observed[observation.at] = true;
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
