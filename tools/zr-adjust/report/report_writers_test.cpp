#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <sstream>

#include "tools/zr-adjust/report/json_report.h"
#include "tools/zr-adjust/report/output_file.h"
#include "tools/zr-adjust/report/svg_plot.h"
#include "tools/zr-adjust/test_support.h"
#include "tools/zr-adjust/report/text_report.h"

namespace zradjust {
namespace {

using ::testing::ContainsRegex;
using ::testing::HasSubstr;

// F1 fixed in X and Y, N1 free with an ellipse, BM a height point without deviation; numbers
// chosen so that 15 significant digits would not read back.
AdjustmentReport SampleReport() {
  AdjustmentReport report;
  report.networkFile = "a&b.net";
  report.unknownCount = 4;
  report.redundancy = -1;
  report.iterations = {{1, 12.5, 0.1 / 3.0, 0.002}, {2, 1.0 / 3.0, 1e-7, 0.0015}};
  report.converged = report.inverseComputed = true;
  report.sigma0 = 2.0 / 3.0;
  report.points.resize(3);
  PointResult &f1 = report.points[0], &n1 = report.points[1], &bm = report.points[2];
  f1.name = "F1", n1.name = "N1", bm.name = "BM";
  const double f1Coordinates[3] = {1000.1, 2000.0000000000002, 99.123456789012345};
  const double n1Coordinates[3] = {1100.0 + 1.0 / 7.0, 2050.0 - 1.0 / 9.0, 1e-300};
  for (int axis = 0; axis < 3; ++axis) {
    f1.coordinate[axis] = f1Coordinates[axis];
    n1.coordinate[axis] = n1Coordinates[axis];
    n1.deviation[axis] = 0.001 * (axis + 1) / 3.0;
  }
  f1.fixed[0] = f1.fixed[1] = true, f1.deviation[2] = 0.0011;
  n1.hasCovarianceXY = true;
  n1.covarianceXX = 4e-6, n1.covarianceXY = n1.covarianceYY = 1e-6;
  bm.kind = PointKind::Height, bm.coordinate[0] = 100.5;
  using T = ObservationType;
  report.observations = {
      {.type = T::Distance, .from = 0, .to = 1, .axis = 'x', .observed = 100.123,
       .adjusted = 100.1229, .residual = 0.0001, .sigma = 0.002, .normalized = 0.05, .line = 7},
      {.type = T::Coordinate, .from = 2, .to = 2, .axis = 'h', .observed = 100.5,
       .adjusted = 100.4999, .residual = 1e-4, .sigma = 0.001, .normalized = 0.1, .line = 8},
      {.type = T::VectorZ, .from = 1, .to = 0, .axis = 'z', .observed = -1.0 / 3.0,
       .adjusted = -0.3333, .residual = -1.0 / 30000.0, .sigma = 0.003,
       .normalized = -0.01111111111111111, .line = 9}};
  return report;
}

TEST(JsonReport, NumbersReadBackToTheSameDoubles) {
  AdjustmentReport report = SampleReport();
  std::ostringstream out;
  WriteJsonReport(out, report);
  const std::string json = out.str();
  // Each key's numbers in order, with the doubles they must read back to (NaN: null).
  const std::vector<std::pair<const char*, std::vector<double>>> expected = {
      {"x", {1000.1, report.points[1].coordinate[0]}},
      {"z", {report.points[0].coordinate[2], 1e-300}},
      {"sx", {NAN, *report.points[1].deviation[0]}},  // fixed: null
      {"sz", {0.0011, *report.points[1].deviation[2]}},
      {"h", {100.5}},
      {"sh", {NAN}},                             // not computed: null
      {"sigma0", {2.0 / 3.0, 12.5, 1.0 / 3.0}},  // the run's, then one per iteration
      {"max_correction", {0.1 / 3.0, 1e-7}},
      {"observed", {100.123, 100.5, -1.0 / 3.0}},
      {"normalized", {0.05, 0.1, -0.01111111111111111}},
  };
  for (const auto& [key, values] : expected) {
    std::vector<double> got = NumbersOf(json, key);
    ASSERT_EQ(got.size(), values.size()) << key;
    for (std::size_t i = 0; i < values.size(); ++i) {
      EXPECT_TRUE(std::isnan(values[i]) ? std::isnan(got[i]) : SameBits(got[i], values[i]))
          << key << i;
    }
  }
  for (const char* text : {"\"type\": \"coord\", \"at\": \"BM\", \"axis\": \"h\"",
                           "\"type\": \"dz\", \"from\": \"N1\", \"to\": \"F1\"",
                           "\"converged\": true", "\"unknowns\": 4", "\"observations_count\": 3"})
    EXPECT_THAT(json, HasSubstr(text));
  for (double bad : {NAN, INFINITY, -INFINITY})
    EXPECT_EQ(JsonNumber(bad), "null");
  EXPECT_EQ(JsonNumber(0.1), "0.10000000000000001");
}

TEST(SvgPlot, DrawsErrorEllipsesOfKnownCovariancesWithRoundScaleBars) {
  const double quarter = std::atan(1.0), tolerance = 8 * std::numeric_limits<double>::epsilon();
  // XX, XY, YY; semi-major, semi-minor axis, angle.
  const double cases[][6] = {
      {4.0, 0.0, 1.0, 2.0, 1.0, 0.0},
      {1.0, 0.0, 4.0, 2.0, 1.0, 2.0 * quarter},  // major axis along Y
      {2.5, 1.5, 2.5, 2.0, 1.0, quarter},        // rotated by 45 degrees
      {2.5, -1.5, 2.5, 2.0, 1.0, -quarter},
      {1.0, 0.0, 1.0, 1.0, 1.0, 0.0},  // a circle
  };
  for (const auto& [xx, xy, yy, major, minor, angle] : cases) {
    ErrorEllipse ellipse = ComputeErrorEllipse(xx, xy, yy);
    EXPECT_NEAR(ellipse.semiMajor, major, tolerance * major);
    EXPECT_NEAR(ellipse.semiMinor, minor, tolerance * major);
    EXPECT_NEAR(ellipse.angle, angle, tolerance * 4);
  }
  const double limits[][2] = {{1.0, 1.0}, {1.9, 1.0}, {2.0, 2.0},      {4.99, 2.0},
                              {5.0, 5.0}, {9.9, 5.0}, {0.0037, 0.002}, {730.0, 500.0}};
  for (const auto& [limit, length] : limits)
    EXPECT_NEAR(RoundScaleLength(limit), length, 1e-12 * length) << limit;

  // One ellipse per point that has one, a scale bar for the map and one for the ellipses.
  AdjustmentReport report = SampleReport();
  std::ostringstream out;
  WriteSvgPlot(out, report);
  const std::string svg = out.str();
  EXPECT_EQ(CountOf(svg, "<ellipse"), 1u);
  EXPECT_THAT(svg, HasSubstr("a&amp;b.net"));  // escaped
  EXPECT_THAT(svg, HasSubstr("<g id=\"map-scale\">"));
  EXPECT_THAT(svg, HasSubstr("<g id=\"ellipse-scale\">"));

  report.inverseComputed = report.points[1].hasCovarianceXY = false;
  std::ostringstream without;
  WriteSvgPlot(without, report);
  EXPECT_EQ(CountOf(without.str(), "<ellipse") + CountOf(without.str(), "ellipse-scale"), 0u);
  EXPECT_THAT(without.str(), HasSubstr("map-scale"));
}

TEST(TextReport, ShowsPointsInFileOrderAndBlankDeviationsForFixedCoordinates) {
  std::ostringstream out;
  WriteTextReport(out, SampleReport());
  // F1: X and Y fixed, so only sZ appears, in millimetres; N1 follows in file order.
  EXPECT_THAT(
      out.str(),
      ContainsRegex("\n  F1 +1000\\.1000 +2000\\.0000 +99\\.1235 +1\\.10  fixed xy\n  N1 "));
  EXPECT_THAT(out.str(), HasSubstr("redundancy       -1"));
}

TEST(OutputFile, AppearsOnlyWhenCommitted) {
  const std::string path = ::testing::TempDir() + "/zr_output_file_test.txt";
  std::string error;
  for (bool commit : {false, true}) {
    std::remove(path.c_str());
    auto file = std::make_unique<OutputFile>();
    ASSERT_TRUE(file->Open(path, error)) << error;
    file->Stream() << "whole";
    EXPECT_TRUE(!commit || file->Commit(error)) << error;
    file.reset();  // without Commit, the file must not appear
    std::string content;
    std::ifstream(path) >> content;
    EXPECT_EQ(content, commit ? "whole" : "");
  }
  std::remove(path.c_str());
}

}  // namespace
}  // namespace zradjust
