#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "tools/zr-adjust/report/report_samples.h"
#include "tools/zr-adjust/report/text_report.h"
#include "tools/zr-adjust/report/text_table.h"

namespace zradjust {
namespace {

using ::testing::ContainsRegex;
using ::testing::HasSubstr;

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);)
    lines.push_back(line);
  return lines;
}

// The first line that starts with prefix, split at blanks.
std::vector<std::string> Row(const std::string& text, const std::string& prefix) {
  for (const std::string& line : Lines(text)) {
    if (line.rfind(prefix, 0) != 0) continue;
    std::vector<std::string> cells;
    std::istringstream in(line);
    for (std::string cell; in >> cell;)
      cells.push_back(cell);
    return cells;
  }
  return {};
}

TEST(TextTable, FormatsHugeTinyAndOrdinaryFiguresReadably) {
  struct Case {
    double value;
    int decimals;
    const char* text;
  };
  const Case cases[] = {
      {12.345, 2, "12.35"},
      {-0.004, 2, "0.00"},  // no "-0.00"
      {-0.006, 2, "-0.01"},
      {-1e-300, 4, "0.0000"},
      {9999999999.0, 2, "9999999999.00"},
      {1e10, 2, "1.000e+10"},
      {-1e300, 4, "-1.0000e+300"},
      {1.7976931348623157e308, 2, "1.798e+308"},
      {NAN, 2, "nan"},
      {-INFINITY, 2, "-inf"},
  };
  for (const Case& c : cases)
    EXPECT_EQ(FixedOrExponent(c.value, c.decimals), c.text) << c.value;
  EXPECT_EQ(DisplayWidth("\xCF\x83\xE2\x82\x80 mm"), 5u);  // σ₀ mm

  // Right- and left-aligned columns, as wide as the widest cell (counted in code points).
  TextTable table({{"name", Align::Left}, {"v/\xCF\x83"}});
  table.AddRow({"A-long-name", "1.5"});
  table.AddRow({"B", "-12345.25"});
  std::ostringstream out;
  table.Write(out);
  EXPECT_EQ(out.str(),
            "  name               v/\xCF\x83\n"
            "  A-long-name        1.5\n"
            "  B            -12345.25\n");
}

TEST(TextTable, PadsEveryCellToItsColumnAndDropsTrailingBlanks) {
  // A blank last heading, a missing cell, a cell too many, a wide character and a row of
  // blanks only; each line is written as the columns make it, not as the cells arrive.
  TextTable table({{"a", Align::Left}, {"bb"}, {"", Align::Left}});
  EXPECT_TRUE(table.Empty());
  table.AddRow({"\xCF\x83", "1"});
  table.AddRow({"xyz", "22", "flag", "ignored"});
  table.AddRow({"", "", ""});
  EXPECT_FALSE(table.Empty());
  struct Case {
    int indent;
    const char* text;
  };
  const Case cases[] = {
      {3,
       "   a    bb\n"
       "   \xCF\x83     1\n"
       "   xyz  22  flag\n"
       "\n"},
      {0,
       "a    bb\n"
       "\xCF\x83     1\n"
       "xyz  22  flag\n"
       "\n"},
  };
  for (const Case& c : cases) {
    std::ostringstream out;
    table.Write(out, c.indent);
    EXPECT_EQ(out.str(), c.text) << c.indent;
  }
}

// A table of more than a megabyte goes to the stream in blocks: every line must come out once,
// whole and in order, padded as the widest cell of all the rows requires.
TEST(TextTable, ALargeTableIsWrittenWholeAcrossItsBlocks) {
  const std::size_t rowCount = 60000;
  TextTable table({{"name", Align::Left}, {"value"}});
  std::vector<std::pair<std::string, std::string>> rows;
  std::size_t nameWidth = 4, valueWidth = 5;
  for (std::size_t i = 0; i < rowCount; ++i) {
    rows.emplace_back("P" + std::to_string(i), std::to_string(i * 37 % 100003) + ".5");
    nameWidth = std::max(nameWidth, rows.back().first.size());
    valueWidth = std::max(valueWidth, rows.back().second.size());
    table.AddRow({rows.back().first, rows.back().second});
  }
  auto line = [&](const std::string& name, const std::string& value) {
    return "  " + name + std::string(nameWidth - name.size(), ' ') + "  " +
           std::string(valueWidth - value.size(), ' ') + value + "\n";
  };
  std::string expected = line("name", "value");
  for (const auto& [name, value] : rows)
    expected += line(name, value);
  ASSERT_GT(expected.size(), std::size_t{1} << 20);
  std::ostringstream out;
  table.Write(out);
  EXPECT_TRUE(out.str() == expected);
}

TEST(TextReport, ColumnsNeverRunTogetherWhateverTheNumbers) {
  // Every cell of N1's row and of the distance's row set to the same figure: the number of
  // blank-separated fields must stay that of an ordinary figure, and no field may be long.
  AdjustmentReport ordinary = SampleReport();
  auto fill = [](AdjustmentReport report, double value) {
    PointResult& n1 = report.points[1];
    for (int axis = 0; axis < 3; ++axis)
      n1.coordinate[axis] = value, n1.deviation[axis] = value;
    n1.ellipse = EllipseResult{value, value, value, value, value};
    ObservationResult& distance = report.observations[0];
    distance.observed = distance.adjusted = distance.residual = distance.normalized = value;
    distance.redundancy = value, distance.w = value, distance.mdb = value;
    return report;
  };
  std::ostringstream reference;
  WriteTextReport(reference, fill(ordinary, 0.5));
  const std::size_t pointFields = Row(reference.str(), "  N1 ").size();
  const std::size_t observationFields = Row(reference.str(), "     7  dist").size();
  ASSERT_GT(pointFields, 10u);
  ASSERT_GT(observationFields, 12u);
  for (double value : {1e300, -1e300, 1e-300, -1e-300, 123456789012.5, -4.2e17, 5e-9}) {
    std::ostringstream out;
    WriteTextReport(out, fill(ordinary, value));
    std::vector<std::string> point = Row(out.str(), "  N1 ");
    std::vector<std::string> observation = Row(out.str(), "     7  dist");
    EXPECT_EQ(point.size(), pointFields) << value;
    EXPECT_EQ(observation.size(), observationFields) << value;
    for (const std::string& line : Lines(out.str()))
      EXPECT_LT(line.size(), 300u) << value;
    for (const std::string& field : point) {
      EXPECT_LT(field.size(), 20u) << value;
      if (field == "N1") continue;
      // Each figure reads back as the value in metres, millimetres or the bearing's unit.
      double read = std::strtod(field.c_str(), nullptr);
      bool close = false;
      for (double scale : {1.0, 1000.0, 180.0 / std::numbers::pi}) {
        double expected = value * scale;
        close = close || std::fabs(read - expected) <= 1e-3 * std::fabs(expected) + 1e-4;
      }
      EXPECT_TRUE(close) << field << " for " << value;
    }
  }
}

TEST(TextReport, ShowsTheSummaryPointsSetsPairsAndObservationsOfEveryKind) {
  AdjustmentReport report = SampleReport();
  std::ostringstream out;
  WriteTextReport(out, report);
  const std::string text = out.str();
  for (const char* expected : {
           "  points           5 (2 3D, 2 plan, 1 height)",
           "  redundancy       3",
           "  sigma0           0.6667",
           "  datum            free, defect 3 (tx ty rz), minimum trace over 2 datum points",
           "  datum points     N1 P",
           "  variance factor  estimated: covariances scaled by sigma0\xC2\xB2 = 0.4444",
           "passed at alpha = 0.05: r\xC2\xB7sigma0\xC2\xB2 = 1.333, accepted from 0.216 to 9.348",
           "= standard \xC3\x97 2.4477",
       })
    EXPECT_THAT(text, HasSubstr(expected));
  // File order across kinds; a plan point has no Z; fixed coordinates have blank deviations;
  // ellipses in mm with the bearing in the final unit (degrees).
  EXPECT_THAT(text, ContainsRegex("\n  F1 +1000\\.1000 +2000\\.0000 +99\\.1235 +1\\.10 +fixed xy\n"
                                  "  N1 .*\n  BM .*\n  P  .*\n  S  "));
  EXPECT_EQ(Row(text, "  P  "),
            (std::vector<std::string>{"P", "1050.2500", "1990.5000", "0.40", "0.30", "0.40", "0.30",
                                      "90.0000", "0.98", "0.73"}));
  EXPECT_EQ(Row(text, "  N1 ")[9], "71.5166");  // 1.2482 rad in degrees, 4 decimals
  // The orientation of S1 in degrees, its standard deviation in arc seconds.
  EXPECT_EQ(Row(text, "  S1 "), (std::vector<std::string>{"S1", "S", "12.500000", "2.52"}));
  EXPECT_EQ(Row(text, "  F1    N1 "),
            (std::vector<std::string>{"F1", "N1", "2.00", "1.00", "28.6479", "1.20"}));
  EXPECT_EQ(Row(text, "  S     P  ").back(), "-");
  // Angles in the unit of their record, residuals and MDB in its sub-unit; the flags.
  struct Expected {
    const char* line;
    std::vector<std::string> fields;
  };
  const Expected rows[] = {
      {"    10  dir",
       {"10", "dir", "S1", "S", "P", "50.12345", "50.12245", "gon", "1.00", "3.30", "mgon", "2.00",
        "0.400", "3.61", "outlier"}},
      {"    11  angle",
       {"11", "angle", "S", "F1", "P", "33.500000", "33.500000", "deg", "0.00", "\xE2\x80\xB3",
        "0.00", "0.000", "uncontrolled"}},
      {"    12  azimuth",
       {"12", "azimuth", "S", "N1", "1.2500000", "1.2499800", "rad", "20.00", "21.00",
        "\xC2\xB5rad", "5.00", "0.600", "-6.45", "outlier"}},
      {"     8  coord",
       {"8", "coord", "BM", "h", "100.5000", "100.4999", "m", "0.10", "5.80", "mm", "0.10", "0.500",
        "0.14"}},
  };
  for (const Expected& row : rows)
    EXPECT_EQ(Row(text, row.line), row.fields) << row.line;
  // The flagged list, largest |w| first.
  std::size_t flagged = text.find("Flagged observations, largest |w| first (|w| > 3.29)");
  ASSERT_NE(flagged, std::string::npos);
  EXPECT_THAT(text.substr(flagged), ContainsRegex("\n +12 +azimuth .*\n +10 +dir "));
}

TEST(TextReport, SaysWhatIsUndefinedWithoutRedundancy) {
  AdjustmentReport report = SampleReport();
  report.redundancy = 0;
  report.sigma0.reset();
  report.globalTest.reset();
  report.varianceFactor = VarianceFactor::Known;
  report.varianceFactorForced = true;
  report.datum = DatumResult{};
  std::ostringstream out;
  WriteTextReport(out, report);
  report.sigma0 = NAN;  // as a broken-down run may leave it: undefined all the same
  for (const char* expected :
       {"  sigma0           undefined (r = 0)", "  global test      not possible (r = 0)",
        "  variance factor  known (SIGMAs taken as true): with r = 0", "  datum            fixed"})
    EXPECT_THAT(out.str(), HasSubstr(expected));
}

}  // namespace
}  // namespace zradjust
