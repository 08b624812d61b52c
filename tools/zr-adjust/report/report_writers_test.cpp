#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <memory>
#include <regex>
#include <sstream>
#include <thread>

#include "tools/zr-adjust/report/json_report.h"
#include "tools/zr-adjust/report/output_file.h"
#include "tools/zr-adjust/report/report_samples.h"
#include "tools/zr-adjust/report/svg_plot.h"
#include "tools/zr-adjust/report/svg_support.h"
#include "tools/zr-adjust/test_support.h"

namespace zradjust {
namespace {

using ::testing::HasSubstr;

std::string Scratch(const std::string& name) {
  return ScratchPath("zr_report_", name);
}

TEST(JsonReport, NumbersReadBackToTheSameDoubles) {
  AdjustmentReport report = SampleReport();
  std::ostringstream out;
  WriteJsonReport(out, report);
  const std::string json = out.str();
  const double gon = std::numbers::pi / 200.0, degree = std::numbers::pi / 180.0;
  // Each key's numbers in order, with the doubles they must read back to (NaN: null).
  const std::vector<std::pair<const char*, std::vector<double>>> expected = {
      {"x", {1000.1, report.points[1].coordinate[0], 1050.25, 1000.0}},
      {"z", {report.points[0].coordinate[2], 1e-300}},             // plan points have none
      {"sx", {NAN, *report.points[1].deviation[0], 0.0004, NAN}},  // fixed: null
      {"h", {100.5}},
      {"sh", {NAN}},                             // not computed: null
      {"sigma0", {2.0 / 3.0, 12.5, 1.0 / 3.0}},  // the run's, then one per iteration
      {"max_correction", {0.1 / 3.0, 1e-7}},
      // Angles in the unit of their record: gon, degrees, radians.
      {"observed",
       {100.123, 100.5, -1.0 / 3.0, report.observations[3].observed / gon,
        report.observations[4].observed / degree, 1.25, 97.2}},
      {"residual",
       {0.0001, 1e-4, -1.0 / 30000.0, report.observations[3].residual / gon, 0.0, 2e-5, -0.0003}},
      {"mdb",
       {0.016, 0.0058, 0.0143, report.observations[3].mdb.value() / gon, NAN, 2.1e-5, 0.0053}},
      {"w", {0.1, 0.14142135623730953, -0.0128, 3.61, NAN, -6.45, -0.39}},
      {"redundancy", {3, 0.25, 0.5, 0.75, 0.4, 0.0002, 0.6, 0.6}},  // the run's, then each
      {"normalized", {0.05, 0.1, -0.01111111111111111, 2.0, 0.0, 5.0, -0.3}},
      // Bearings of ellipses and orientations in the final unit (degrees).
      {"bearing", {1.2482 / degree, 90.0, 0.5 / degree, NAN}},
      {"sd", {0.0007}},
      {"sd_distance", {0.0012, NAN}},
      {"a95", {0.0050903, 0.00098}},
      {"lower", {0.2157952826238981}},
      {"exit_status", {1}},
  };
  for (const auto& [key, values] : expected) {
    std::vector<double> got = NumbersOf(json, key);
    ASSERT_EQ(got.size(), values.size()) << key;
    for (std::size_t i = 0; i < values.size(); ++i) {
      EXPECT_TRUE(std::isnan(values[i])
                      ? std::isnan(got[i])
                      : std::fabs(got[i] - values[i]) <= 4e-16 * std::fabs(values[i]))
          << key << i << " " << got[i];
    }
  }
  EXPECT_TRUE(SameBits(NumbersOf(json, "x")[1], report.points[1].coordinate[0]));
  for (double bad : {NAN, INFINITY, -INFINITY})
    EXPECT_EQ(JsonNumber(bad), "null");
  EXPECT_EQ(JsonNumber(0.1), "0.10000000000000001");
}

// The lines of the document's observations array, each without its separating comma.
std::vector<std::string> ObservationLines(const std::string& json) {
  const std::string opening = "\"observations\": [\n";
  std::size_t position = json.find(opening);
  std::vector<std::string> lines;
  if (position == std::string::npos) return lines;
  position += opening.size();
  for (std::size_t end; (end = json.find('\n', position)) != std::string::npos;
       position = end + 1) {
    std::string line = json.substr(position, end - position);
    if (line == "  ]") break;
    if (!line.empty() && line.back() == ',') line.pop_back();
    lines.push_back(line);
  }
  return lines;
}

// A document of several megabytes goes to the stream in blocks: every observation of a large
// report must come out once, whole and in order, as it does in a report of its own.
TEST(JsonReport, ALargeReportIsWrittenWholeAcrossItsBlocks) {
  const AdjustmentReport sample = SampleReport();
  AdjustmentReport large = sample;
  large.observations.clear();
  large.flagged.clear();
  const std::size_t count = 20000;
  std::vector<std::string> expected;
  for (std::size_t i = 0; i < count; ++i) {
    ObservationResult observation = sample.observations[i % sample.observations.size()];
    observation.observed += 1e-3 * static_cast<double>(i);
    large.observations.push_back(observation);
    AdjustmentReport single = sample;
    single.observations = {observation};
    single.flagged.clear();
    std::ostringstream alone;
    WriteJsonReport(alone, single);
    std::vector<std::string> lines = ObservationLines(alone.str());
    ASSERT_EQ(lines.size(), 1u);
    expected.push_back(lines[0]);
  }
  std::ostringstream out;
  WriteJsonReport(out, large);
  const std::string json = out.str();
  ASSERT_GT(json.size(), std::size_t{4} << 20);
  EXPECT_TRUE(ObservationLines(json) == expected);
  EXPECT_EQ(json.substr(json.size() - 7), "\n  ]\n}\n");
}

TEST(JsonReport, HasEveryFieldOfTheDocumentedLayout) {
  // An independent JSON reader checks the structure: names, nulls and which keys exist where.
  AdjustmentReport report = SampleReport();
  const std::string path = Scratch("layout.json");
  const std::string script = Scratch("layout.py");
  {
    std::ofstream out(path);
    WriteJsonReport(out, report);
  }
  std::ofstream(script) << R"(import json, sys
d = json.load(open(sys.argv[1]))
assert d["redundancy"] == 3 and d["variance_factor"] == "estimated" and d["exit_status"] == 1
assert d["datum"] == {"kind": "free", "defect": 3, "parameters": ["tx", "ty", "rz"],
                      "points": ["N1", "P"]}, d["datum"]
assert set(d["global_test"]) == {"alpha", "lower", "upper", "value", "passed"}
assert d["global_test"]["passed"] is True
f1, n1, bm, p, s = d["points"]
assert f1["ellipse"] is None and s["ellipse"] is None
assert set(n1["ellipse"]) == {"a", "b", "bearing", "a95", "b95"}
assert set(p) == {"name", "x", "y", "sx", "sy", "ellipse"}, p
assert set(bm) == {"name", "h", "sh"}
o = d["observations"]
assert [x["type"] for x in o] == ["dist", "coord", "dz", "dir", "angle", "azimuth", "hdist"]
assert o[1]["at"] == "BM" and o[1]["axis"] == "h" and "from" not in o[1]
assert o[3]["set"] == "S1" and o[3]["from"] == "S" and o[3]["to"] == "P"
assert (o[4]["at"], o[4]["from"], o[4]["to"]) == ("S", "F1", "P")
assert o[4]["outlier"] is None and o[4]["w"] is None and o[4]["mdb"] is None
assert o[5]["outlier"] is True and o[0]["outlier"] is False
assert d["orientations"] == [{"set": "S1", "station": "S", "value": 12.5, "sd": 0.0007}]
assert [(r["from"], r["to"]) for r in d["relative"]] == [("F1", "N1"), ("S", "P")]
assert d["relative"][1]["a"] is None
)";
  EXPECT_EQ(std::system(("python3 " + script + " " + path).c_str()), 0);

  // Without redundancy: no sigma0, no global test; the known variance factor.
  report.sigma0.reset();
  report.globalTest.reset();
  report.varianceFactor = VarianceFactor::Known;
  report.datum = DatumResult{};
  std::ostringstream out;
  WriteJsonReport(out, report);
  for (const char* text :
       {"\"sigma0\": null", "\"global_test\": null", "\"variance_factor\": \"known\"",
        "\"datum\": { \"kind\": \"fixed\", \"defect\": 0, \"parameters\": [], "
        "\"points\": [] }"})
    EXPECT_THAT(out.str(), HasSubstr(text));
  std::remove(path.c_str());
  std::remove(script.c_str());
}

// The rx, ry and rotation of every <ellipse> with a <title> (the points', not the legend's).
std::vector<std::array<double, 3>> DrawnEllipses(const std::string& svg) {
  std::vector<std::array<double, 3>> ellipses;
  std::regex pattern(
      "<ellipse [^>]*rx=\"([-0-9.e+]+)\" ry=\"([-0-9.e+]+)\" transform=\"rotate\\(([-0-9.e+]+) ");
  for (auto match = std::sregex_iterator(svg.begin(), svg.end(), pattern);
       match != std::sregex_iterator(); ++match) {
    ellipses.push_back({std::stod((*match)[1]), std::stod((*match)[2]), std::stod((*match)[3])});
  }
  return ellipses;
}

// The JSON document, the HTML page's data block and the SVG drawing escape names each as their
// context needs: '<' only inside a script element, the apostrophe only on the HTML page.
TEST(ReportText, EscapesNamesAsEachContextNeeds) {
  struct Case {
    std::string text, json, script, svg;
  };
  const Case cases[] = {
      {"P1", "\"P1\"", "\"P1\"", "P1"},
      {"a<b>&\"c'\\", "\"a<b>&\\\"c'\\\\\"", "\"a\\u003cb>&\\\"c'\\\\\"",
       "a&lt;b&gt;&amp;&quot;c'\\"},
      {"tab\there\x01", "\"tab\\u0009here\\u0001\"", "\"tab\\u0009here\\u0001\"", "tab\there\x01"},
      {"Pf\xc3\xa4ler", "\"Pf\xc3\xa4ler\"", "\"Pf\xc3\xa4ler\"", "Pf\xc3\xa4ler"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(JsonString(c.text), c.json);
    EXPECT_EQ(JsonString(c.text, true), c.script);
    EXPECT_EQ(XmlText(c.text), c.svg);
  }
}

TEST(SvgPlot, DrawsNinetyFivePercentEllipsesAtTheirBearingsWithRoundScaleBars) {
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

  // Two free points with the same 95 % ellipse, one given by its covariance (standard ellipse
  // 2 x 1 mm along X, times the confidence factor), one by the report's ellipse with the
  // bearing 90° (east): both drawn alike. A bearing of 0 (north) turns the canvas' X axis up.
  AdjustmentReport report = SampleReport();
  report.points[1].ellipse.reset();
  report.points[1].covarianceXX = 4e-6, report.points[1].covarianceXY = 0.0;
  report.points[1].covarianceYY = 1e-6;
  const double factor = report.confidenceFactor;
  report.points[3].ellipse =
      EllipseResult{0.002, 0.001, 2.0 * quarter, 0.002 * factor, 0.001 * factor};
  std::ostringstream out;
  WriteSvgPlot(out, report);
  std::vector<std::array<double, 3>> drawn = DrawnEllipses(out.str());
  ASSERT_EQ(drawn.size(), 2u);
  for (int k = 0; k < 3; ++k)
    EXPECT_NEAR(drawn[0][k], drawn[1][k], 1e-3) << k;
  EXPECT_NEAR(drawn[0][0] / drawn[0][1], 2.0, 1e-2);
  EXPECT_NEAR(drawn[0][2], 0.0, 1e-3);
  report.points[3].ellipse->bearing = 0.0;
  std::ostringstream north;
  WriteSvgPlot(north, report);
  EXPECT_NEAR(DrawnEllipses(north.str())[1][2], -90.0, 1e-3);

  const std::string svg = out.str();
  EXPECT_THAT(svg, HasSubstr("95 % confidence ellipse (standard ellipse \xC3\x97 2.4477)"));
  EXPECT_THAT(svg, HasSubstr("a&amp;b.net"));  // escaped
  EXPECT_THAT(svg, HasSubstr("<g id=\"map-scale\">"));
  EXPECT_THAT(svg, HasSubstr("<g id=\"ellipse-scale\">"));
  // Plan and 3D points are drawn (BM has no plan position): 3 free circles + legend, 2 fixed.
  EXPECT_EQ(CountOf(svg, "<circle"), 2u + 1u);
  EXPECT_EQ(CountOf(svg, "<path d=\"M") - CountOf(svg, "v 6 h"), 2u + 1u);
  // Lines: dist F1-N1, dz N1-F1, dir S-P, angle S-F1 and S-P (the latter drawn once for the
  // angular kind), azimuth S-N1, hdist S-P.
  std::size_t lines = svg.find("<g id=\"observations\"");
  EXPECT_EQ(CountOf(svg.substr(lines, svg.find("</g>", lines) - lines), "<line x1"), 6u);

  for (PointResult& point : report.points)
    point.ellipse.reset(), point.hasCovarianceXY = false;
  std::ostringstream without;
  WriteSvgPlot(without, report);
  EXPECT_EQ(CountOf(without.str(), "<ellipse") + CountOf(without.str(), "ellipse-scale"), 0u);
  EXPECT_THAT(without.str(), HasSubstr("map-scale"));
}

TEST(SvgPlot, DrawsALevellingNetworkAsAHeightProfile) {
  AdjustmentReport report;
  report.networkFile = "line.net";
  const double heights[] = {100.0, 101.25, 99.5, 102.0};
  for (int k = 0; k < 4; ++k) {
    PointResult& point = report.points.emplace_back();
    point.name = "B" + std::to_string(k);
    point.kind = PointKind::Height;
    point.coordinate[0] = heights[k];
    if (k == 0)
      point.fixed[0] = true;
    else
      point.deviation[0] = 0.0005 * k;
  }
  using T = ObservationType;
  report.observations = {{.type = T::Levelling, .from = 0, .to = 1},
                         {.type = T::Levelling, .from = 1, .to = 2},
                         {.type = T::Levelling, .from = 2, .to = 1},  // the same line again
                         {.type = T::Levelling, .from = 3, .to = 0}};
  std::ostringstream out;
  WriteSvgPlot(out, report);
  const std::string svg = out.str();
  EXPECT_THAT(svg, HasSubstr("height profile"));
  EXPECT_THAT(svg, HasSubstr("standard deviation of the height"));
  EXPECT_EQ(svg.find("no points to draw"), std::string::npos);
  EXPECT_EQ(CountOf(svg, "<title>B"), 3u);  // a bar for each height with a deviation
  std::size_t lines = svg.find("<g id=\"observations\"");
  std::size_t end = svg.find("</g>", lines);
  EXPECT_EQ(CountOf(svg.substr(lines, end - lines), "<line"), 3u);
  // The highest point is drawn highest (smallest canvas y).
  std::smatch match;
  std::vector<double> ys;
  std::regex circle("<circle cx=\"[-0-9.]+\" cy=\"([-0-9.]+)\"");
  for (auto it = std::sregex_iterator(svg.begin(), svg.end(), circle); it != std::sregex_iterator();
       ++it)
    ys.push_back(std::stod((*it)[1]));
  ASSERT_EQ(ys.size(), 3u);
  EXPECT_LT(ys[2], ys[0]);
  EXPECT_GT(ys[1], ys[0]);
}

TEST(OutputFile, AppearsOnlyWhenCommittedAndNeverReplacesADevice) {
  const std::string path = Scratch("output_file.txt");
  std::string error;
  for (bool commit : {false, true}) {
    std::remove(path.c_str());
    auto file = std::make_unique<OutputFile>();
    ASSERT_TRUE(file->Open(path, error)) << error;
    file->Stream() << "whole";
    EXPECT_TRUE(!commit || file->Commit(error)) << error;
    file.reset();  // without Commit, the file must not appear
    EXPECT_EQ(Slurp(path), commit ? "whole" : "");
  }
  // Through a symbolic link: the file it points to is replaced, the link stays.
  const std::string link = path + ".link";
  std::remove(link.c_str());
  ASSERT_EQ(symlink(path.c_str(), link.c_str()), 0);
  OutputFile linked;
  ASSERT_TRUE(linked.Open(link, error) && !linked.Direct()) << error;
  linked.Stream() << "again";
  ASSERT_TRUE(linked.Commit(error)) << error;
  struct stat status;
  EXPECT_TRUE(lstat(link.c_str(), &status) == 0 && S_ISLNK(status.st_mode));
  EXPECT_EQ(Slurp(path), "again");

  // Devices are written directly: /dev/null takes everything, /dev/full refuses it.
  struct Case {
    const char* device;
    bool committed;
    const char* message;
  };
  for (const Case& c : {Case{"/dev/null", true, ""},
                        Case{"/dev/full", false, "/dev/full: cannot write: No space left"}}) {
    OutputFile device;
    ASSERT_TRUE(device.Open(c.device, error)) << error;
    EXPECT_TRUE(device.Direct());
    device.Stream() << std::string(1 << 16, 'x');
    EXPECT_EQ(device.Commit(error), c.committed) << c.device;
    if (!c.committed) {
      EXPECT_THAT(error, HasSubstr(c.message));
    }
    EXPECT_TRUE(stat(c.device, &status) == 0 && S_ISCHR(status.st_mode)) << c.device;
  }
  // A FIFO: its reader gets the bytes, and it stays a FIFO.
  const std::string fifo = path + ".fifo";
  std::remove(fifo.c_str());
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  std::string received;
  std::thread reader([&] { received = Slurp(fifo); });
  {
    OutputFile pipe;
    ASSERT_TRUE(pipe.Open(fifo, error)) << error;
    pipe.Stream() << "through";
    EXPECT_TRUE(pipe.Commit(error)) << error;
  }
  reader.join();
  EXPECT_EQ(received, "through");
  EXPECT_TRUE(stat(fifo.c_str(), &status) == 0 && S_ISFIFO(status.st_mode));
  // A directory cannot be written.
  OutputFile directory;
  EXPECT_FALSE(directory.Open(::testing::TempDir(), error));
  EXPECT_THAT(error, HasSubstr("Is a directory"));
  for (const std::string& file : {path, link, fifo})
    std::remove(file.c_str());
}

}  // namespace
}  // namespace zradjust
