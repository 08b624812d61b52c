#include "tools/zr-adjust/report/html_report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <regex>
#include <sstream>
#include <vector>

#include "tools/zr-adjust/report/html_format.h"
#include "tools/zr-adjust/report/html_sample_report.h"
#include "tools/zr-adjust/report/html_sections.h"
#include "tools/zr-adjust/report/sha256.h"
#include "tools/zr-adjust/test_support.h"

namespace zradjust {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

// The numbers of one column of the data block, "key": [n, n, ...]; null reads as NaN.
std::vector<double> Column(const std::string& page, const std::string& key) {
  std::size_t start = page.find("\"" + key + "\": [");
  EXPECT_NE(start, std::string::npos) << key;
  std::istringstream list(
      page.substr(start + key.size() + 5, page.find(']', start) - start - key.size() - 5));
  std::vector<double> numbers;
  for (std::string item; std::getline(list, item, ',');)
    numbers.push_back(item == "null" ? NAN : std::strtod(item.c_str(), nullptr));
  return numbers;
}

std::string Page(const AdjustmentReport& report) {
  std::ostringstream out;
  WriteHtmlReport(out, report, {"net.net", "ab12", "2026-01-02 03:04:05 UTC", "9.9", {"--x 1"}});
  return out.str();
}

// The published test vectors, and messages of lengths around the padding's block boundaries
// (55 and 56 bytes fit one or two final blocks) checked against an independent implementation.
TEST(Sha256, PublishedVectorsAndPaddingBoundaries) {
  EXPECT_EQ(Sha256Hex(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
  EXPECT_EQ(Sha256Hex("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  EXPECT_EQ(Sha256Hex("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"),
            "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
  EXPECT_EQ(Sha256Hex(std::string(1000000, 'a')),
            "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
  const std::pair<std::size_t, const char*> lengths[] = {
      {55, "e7313d333c272e639f790978283f9eb392e843d0f29b7016828bb1daa4aac70b"},
      {56, "4324d65f3c103567f5589c710bc08f8523f929a9272e3af36fc968e52abc6c27"},
      {63, "81c80242132f230c3bd41b3e63bbcff16107339549214a99614ff26664625055"},
      {64, "39e3d7b6b5d075d37d053ad89b24b41bef4f3c29760c84447cab3f3be1882241"},
      {65, "aacca6ff74fdbb296d165a45cecfa04e5127bc008770fbbdd48006f2d2fae95e"},
      {119, "9ce7368e4daf32341631b492e80359dc9f594b48453cd0dd5bf0b19279cc177e"},
      {120, "7836b787757e95e58b3ca5aec90b1b004e8deba1e50e9675af9cabf1a13a04b5"}};
  for (const auto& [length, digest] : lengths) {
    std::string bytes;
    for (std::size_t i = 0; i < length; ++i)
      bytes += static_cast<char>((i * 7 + 3) % 256);
    EXPECT_EQ(Sha256Hex(bytes), digest) << length;
  }
}

TEST(HtmlFormat, UnitsDecimalsAndMissingValues) {
  struct Case {
    std::optional<double> value;
    ShownQuantity quantity;
    const char* shown;
  };
  const Case cases[] = {
      {1234.56785, ShownCoordinate(), "1234.5678"},  // 1234.56785 is just below the half
      {0.00123456, ShownPrecision(), "1.23"},        // metres to millimetres
      {-0.000001, ShownPrecision(), "0.00"},         // no negative zero
      {M_PI / 2.0, ShownAngle(AngleUnit::Gon), "100.00000"},
      {M_PI / 2.0, ShownAngle(AngleUnit::Degree), "90.00000"},
      {1e-5 * M_PI / 200.0, ShownSmallAngle(AngleUnit::Gon), "0.01"},       // 0.01 mgon
      {M_PI / 180.0 / 3600.0, ShownSmallAngle(AngleUnit::Degree), "1.00"},  // 1″
      {0.0015, ShownSmallAngle(AngleUnit::Radian), "1.500"},                // mrad
      {std::nullopt, ShownPrecision(), "n/a"},
      {NAN, ShownCoordinate(), "n/a"},
      {INFINITY, ShownCoordinate(), "n/a"},
  };
  for (const Case& c : cases)
    EXPECT_EQ(Show(c.value, c.quantity), c.shown) << c.shown;
  EXPECT_EQ(HtmlText("a<b>&\"c'"), "a&lt;b&gt;&amp;&quot;c&#39;");
}

// PrintfFixed writes exactly what printf's "%.*f" writes, and Fixed that cut to a 64-byte
// buffer, whatever the value: ties of the binary value, tiny and huge magnitudes, subnormals,
// values that are not finite, a negative precision and one too long for any buffer.
TEST(HtmlFormat, FixedFiguresAreThoseOfPrintf) {
  const double values[] = {0.125,    2.675,     -2.675,   1234.56785, 0.5,    1.5,
                           -0.0004,  1e-320,    1e22,     1e55,       -1e300, DBL_MAX,
                           123456.0, 9.9999995, 0.0,      -1e-300,    5e-324, 4503599627370497.5,
                           NAN,      -NAN,      INFINITY, -INFINITY};
  const int precisions[] = {0, 1, 2, 4, 7, 17, 40, -1, 1000};
  for (double value : values)
    for (int decimals : precisions) {
      std::vector<char> reference(2000);
      std::snprintf(reference.data(), reference.size(), "%.*f", decimals, value);
      EXPECT_EQ(PrintfFixed(value, decimals), reference.data()) << value << " " << decimals;
      if (!std::isfinite(value)) continue;
      std::string cut(reference.data(), std::min<std::size_t>(63, std::strlen(reference.data())));
      if (cut[0] == '-' && cut.find_first_not_of("-0.") == std::string::npos) cut.erase(0, 1);
      EXPECT_EQ(Fixed(value, decimals), cut) << value << " " << decimals;
    }
}

// PrintfTenths writes what printf writes into a 64-byte buffer: figures of "%.1f" in any
// text, the cut at 63 characters, and other conversions left to printf.
TEST(HtmlFormat, TenthsAreThoseOfPrintf) {
  struct Case {
    const char* format;
    double a, b;
  };
  const Case cases[] = {
      {"M%.1f %.1f", 0.25, -0.05},  // ties of the binary value, a negative zero
      {"%.1f\" y=\"%.1f", 1e6 / 3.0, 2.675},
      {"v%.1f", -12.35, 0.0},
      {",%.1f,%.1f]", 1e30, -1e30},  // longer than 63 characters
      {"%.1f %.1f", NAN, -INFINITY},
      {"%g mm", 1.5e-7, 0.0},  // not a "%.1f": printf itself
      {"%.2f%%", 12.345, 0.0},
  };
  for (const Case& c : cases) {
    char reference[64];
    std::snprintf(reference, sizeof reference, c.format, c.a, c.b);
    EXPECT_EQ(PrintfTenths(c.format, c.a, c.b), reference) << c.format;
  }
}

// Where the statistics give only the covariance of X and Y, the page derives the ellipse: the
// bearing of the major axis runs clockwise from north, the 95 % axes by the run's factor.
TEST(HtmlReport, EllipseFromCovarianceHasItsBearingFromNorth) {
  struct Case {
    double xx, xy, yy;
    double a, b, bearing;
  };
  const Case cases[] = {
      {4e-6, 0.0, 1e-6, 0.002, 0.001, M_PI / 2.0},                // long in X: east
      {1e-6, 0.0, 4e-6, 0.002, 0.001, 0.0},                       // long in Y: north
      {2.5e-6, 1.5e-6, 2.5e-6, 0.002, 0.001, M_PI / 4.0},         // along X = Y: north-east
      {2.5e-6, -1.5e-6, 2.5e-6, 0.002, 0.001, 3.0 * M_PI / 4.0},  // along X = -Y: south-east
  };
  AdjustmentReport report;
  report.confidenceFactor = 2.5;
  for (const Case& c : cases) {
    PointResult point;
    point.hasCovarianceXY = true;
    point.covarianceXX = c.xx, point.covarianceXY = c.xy, point.covarianceYY = c.yy;
    std::optional<EllipseResult> ellipse = PointEllipse(report, point);
    ASSERT_TRUE(ellipse.has_value());
    EXPECT_NEAR(ellipse->a, c.a, 1e-15);
    EXPECT_NEAR(ellipse->b, c.b, 1e-15);
    EXPECT_NEAR(ellipse->bearing, c.bearing, 1e-12) << c.xy;
    EXPECT_NEAR(ellipse->a95, 2.5 * c.a, 1e-15);
    EXPECT_NEAR(ellipse->b95, 2.5 * c.b, 1e-15);
  }
  PointResult none;  // no covariance, no ellipse
  EXPECT_FALSE(PointEllipse(report, none).has_value());
}

TEST(HtmlReport, NamesAreEscapedAndTheDataBlockHoldsTheReportsDoubles) {
  AdjustmentReport report = SampleNetworkReport(12);
  std::string page = Page(report);
  EXPECT_THAT(page, HasSubstr("P&lt;1&gt;&amp;&#39;x&#39;"));
  EXPECT_THAT(page, HasSubstr("\"P\\u003c1>&'x'\""));  // in the data block
  EXPECT_THAT(page, Not(HasSubstr("P<1>")));
  EXPECT_THAT(page, HasSubstr("sample &lt;net&gt; &amp; &quot;co&quot;.net"));
  // One row per point and observation, each named for the links into it.
  EXPECT_EQ(CountOf(page, "<tr id=\"pt-"), report.points.size());
  EXPECT_EQ(CountOf(page, "<tr id=\"obs-"), report.observations.size());
  std::vector<double> w = Column(page, "w");
  ASSERT_EQ(w.size(), report.observations.size());
  for (std::size_t i = 0; i < w.size(); ++i) {
    const std::optional<double>& expected = report.observations[i].w;
    EXPECT_TRUE(expected ? SameBits(w[i], *expected) : std::isnan(w[i])) << i;
  }
  std::vector<double> a95 = Column(page, "a95");
  EXPECT_TRUE(std::isnan(a95[0]));  // a fixed point has no ellipse
  EXPECT_TRUE(SameBits(a95[2], report.points[2].ellipse->a95));
}

TEST(HtmlReport, FlaggedObservationsLargestFirstLinkToTheirRows) {
  AdjustmentReport report = SampleNetworkReport(40);
  ASSERT_GE(report.flagged.size(), 2u);
  std::string page = Page(report);
  std::string list = page.substr(page.find("<ol class=\"flagged\">"));
  list = list.substr(0, list.find("</ol>"));
  std::regex link("href=\"#obs-([0-9]+)\"");
  std::vector<std::size_t> linked;
  for (auto match = std::sregex_iterator(list.begin(), list.end(), link);
       match != std::sregex_iterator(); ++match)
    linked.push_back(std::stoul((*match)[1]));
  EXPECT_EQ(linked, report.flagged);
  for (std::size_t index : linked) {
    EXPECT_THAT(page, HasSubstr("<tr id=\"obs-" + std::to_string(index) + "\""));
    EXPECT_TRUE(report.observations[index].outlier);
  }
  // The outliers' rows are marked, and so is the uncontrolled coordinate.
  EXPECT_EQ(CountOf(page, "class=\"outlier\""), report.flagged.size());
  EXPECT_EQ(CountOf(page, ">uncontrolled</td>"), 1u);
}

// Today's program gives no statistics: every missing figure says so and none reads as zero.
TEST(HtmlReport, MissingStatisticsAreNotAvailableNeverZero) {
  AdjustmentReport report = SampleNetworkReport(6);
  report.sigma0.reset(), report.globalTest.reset(), report.flagged.clear();
  report.relative.clear(), report.orientations.clear(), report.datum = DatumResult();
  report.datum.free = true;
  for (ObservationResult& observation : report.observations) {
    observation.w.reset(), observation.mdb.reset();
    observation.redundancy = 0.0, observation.outlier = observation.uncontrolled = false;
    if (observation.type == ObservationType::Direction) observation.type = ObservationType::Azimuth;
  }
  for (PointResult& point : report.points)
    point.ellipse.reset();
  std::string page = Page(report);
  for (const char* expected :
       {"not available (no redundancy)", "<td id=\"global-test\">not available",
        "defect not available", "Not available: this run has no standardised residuals",
        "Not available: no relative precision", "The network has no direction sets",
        "No confidence ellipses"}) {
    EXPECT_THAT(page, HasSubstr(expected));
  }
  // r_i, w and MDB of every observation.
  for (std::size_t i = 0; i < report.observations.size(); ++i) {
    std::string row = page.substr(page.find("<tr id=\"obs-" + std::to_string(i) + "\""));
    EXPECT_EQ(CountOf(row.substr(0, row.find("</tr>")), "<td>n/a</td>"), 3u) << i;
  }
  for (const char* wrong : {"nan", "inf", ">0.000</td><td>n/a"})
    EXPECT_THAT(page, Not(HasSubstr(wrong)));
}

// A run that diverged still gets a readable page: what is not finite shows as n/a and never
// reaches a drawing or the data block as "nan" or "inf".
TEST(HtmlReport, NonFiniteFiguresNeverReachThePage) {
  AdjustmentReport network = SampleNetworkReport(8), levelling = SampleLevellingReport();
  network.diverged = levelling.diverged = true;
  network.points[3].coordinate[0] = NAN;
  network.points[4].ellipse->bearing = NAN;
  network.points[5].ellipse->a95 = INFINITY;
  network.points[6].deviation[1] = NAN;
  network.observations[2].residual = -INFINITY;
  network.iterations.back().maxCorrection = NAN;
  levelling.points[2].coordinate[0] = NAN;
  levelling.points[3].deviation[0] = INFINITY;
  for (const AdjustmentReport& report : {network, levelling}) {
    std::string page = Page(report);
    EXPECT_THAT(page, HasSubstr("Stopped: the coordinates are no longer finite."));
    for (const char* wrong : {"nan", "inf"})
      EXPECT_THAT(page, Not(HasSubstr(wrong))) << report.networkFile;
  }
}

TEST(HtmlReport, SelfContainedWithPlanOrProfileDrawnOnce) {
  struct Case {
    AdjustmentReport report;
    const char* heading;
    // Point names, then the labels of the scale bars (map and ellipses, or heights).
    std::size_t labels;
  };
  AdjustmentReport large = SampleNetworkReport(400);
  const Case cases[] = {{SampleNetworkReport(12), "<h2>Plan</h2>", 12 + 2},
                        {SampleLevellingReport(), "<h2>Height profile</h2>", 8 + 1},
                        // Beyond 300 points names appear on hover only.
                        {large, "<h2>Plan</h2>", 0 + 2}};
  for (const Case& c : cases) {
    std::string page = Page(c.report);
    EXPECT_THAT(page, HasSubstr(c.heading));
    std::string plan = page.substr(page.find("<svg id=\"plan-svg\""));
    plan = plan.substr(0, plan.find("</svg>"));
    EXPECT_EQ(CountOf(plan, "<text"), c.labels) << c.heading;
    // One path per class of element, however many points: lines by |w|, ellipses, points.
    EXPECT_LE(CountOf(plan, "<path"), 11u) << c.heading;
    for (const char* outside : {"src=", "href=\"http", "@import", "url(", "<link"})
      EXPECT_THAT(page, Not(HasSubstr(outside))) << outside;
  }
}

// A plan with a levelling line gets the line's height profile beneath, as a second picture:
// the height points and the 3D points the levelling reaches, joined by levelling only.
TEST(HtmlReport, PlanWithLevellingAddsAProfile) {
  AdjustmentReport report = SampleNetworkReport(6);
  std::string plain = Page(report);
  PointResult benchmark;
  benchmark.name = "BM1", benchmark.kind = PointKind::Height, benchmark.coordinate[0] = 99.5;
  report.points.push_back(benchmark);
  report.observations.push_back({.type = ObservationType::Levelling,
                                 .from = 2,
                                 .to = 6,
                                 .observed = -1.24,
                                 .adjusted = -1.24,
                                 .sigma = 0.001,
                                 .line = 99});
  std::string page = Page(report);
  EXPECT_THAT(plain, Not(HasSubstr("profile-svg")));
  EXPECT_EQ(CountOf(page, "<svg id=\"plan-svg\""), 1u);
  std::string profile = page.substr(page.find("<svg id=\"profile-svg\""));
  profile = profile.substr(0, profile.find("</svg>"));
  EXPECT_EQ(CountOf(profile, ">P2</text>") + CountOf(profile, ">BM1</text>"), 2u);
  EXPECT_EQ(CountOf(profile, "<text"), 2u + 1u);     // two points and the height scale bar
  EXPECT_EQ(CountOf(profile, "class=\"sight"), 1u);  // the one levelling line
}

}  // namespace
}  // namespace zradjust
