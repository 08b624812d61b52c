#pragma once
// Turns the records of a network file, one at a time and in file order, into a Network.
//
// Parse takes the blank-separated fields of one record (at least the keyword) and either adds
// to the network or throws LineError, leaving the network as it was before the record except
// for a declared point (a point with a bad coordinate is still declared, so that later lines
// naming it give no further message). State carried between records: the point and set names,
// and the angle unit in force.

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "tools/zr-adjust/network/field_parsing.h"
#include "tools/zr-adjust/network/network.h"

namespace zradjust {

class RecordParser {
 public:
  using Fields = std::vector<std::string_view>;

  void Parse(const Fields& fields, int line);

  Network network;

 private:
  std::size_t FindPoint(std::string_view name) const;
  // A point that has the coordinates keyword needs: plan coordinates (any but a height
  // point), or all three (a 3D point).
  std::size_t FindPointWith(std::string_view name, std::string_view keyword, bool spatial) const;
  std::pair<std::size_t, std::size_t> FindEnds(const Fields& fields, bool spatial) const;

  void ParsePoint(const Fields& fields, PointKind kind);
  void ParseFix(const Fields& fields);
  void ParseDatum(const Fields& fields);
  void ParseAngleUnit(const Fields& fields);
  void ParseDistance(const Fields& fields, bool horizontal);
  void ParseDirection(const Fields& fields);
  void ParseAngle(const Fields& fields);
  void ParseAzimuth(const Fields& fields);
  void ParseZenith(const Fields& fields);
  void ParseVector(const Fields& fields);
  void ParseLevelling(const Fields& fields);
  void ParseCoordinate(const Fields& fields);

  // Reads the optional IH TH at fields[first], fields[first + 1] into observation.
  static void ParseHeights(const Fields& fields, std::size_t first, SurveyObservation& observation);
  SurveyObservation& Add(ObservationType type, std::size_t from, std::size_t to, double observed,
                         double sigma);

  std::unordered_map<std::string, std::size_t> pointIndex;
  std::unordered_map<std::string, std::size_t> setIndex;
  AngleUnit unit = AngleUnit::Gon;
  int currentLine = 0;
};

}  // namespace zradjust
