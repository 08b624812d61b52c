#pragma once
// Test support: survey networks simulated from known true coordinates. Every observation gets
// normal noise of its stated standard deviation; the approximate coordinates of the points
// that are not fixed are up to approximationError off in every coordinate. The text is a
// network file as a surveyor would write it, angles in the chosen unit.

#include <array>
#include <cmath>
#include <cstdio>
#include <map>
#include <numbers>
#include <random>
#include <string>
#include <vector>

#include "tools/zr-adjust/network/network.h"

namespace zradjust {

class SurveySimulation {
 public:
  SurveySimulation(unsigned seed, AngleUnit unit, double approximationError)
      : random(seed), unit(unit), offset(-approximationError, approximationError) {
    text = std::string("angles ") + UnitName(unit) + "\n";
  }

  // A 3D point, or a plan point when plan is set (z is then ignored).
  void Point(const std::string& name, double x, double y, double z, bool fixed, bool plan = false) {
    index[name] = truth.size();
    truth.push_back({x, y, z});
    planPoint.push_back(plan);
    double a[3] = {x, y, z};
    for (double& value : a)
      value += fixed ? 0.0 : offset(random);
    Line(plan ? "point %s %.4f %.4f\n" : "point %s %.4f %.4f %.4f\n", name.c_str(), a[0], a[1],
         a[2]);
    if (fixed) Line("fix %s\n", name.c_str());
  }

  // A direction of set; the set's orientation is random, or puts its first reading just below
  // the full circle when nearZero is set (readings then straddle the zero of the circle).
  void Direction(const std::string& set, const std::string& from, const std::string& to,
                 double sigma, bool nearZero = false) {
    double bearing = Bearing(from, to);
    if (!orientation.count(set)) {
      orientation[set] =
          nearZero ? bearing + 2e-5
                   : std::uniform_real_distribution<double>(0.0, 2.0 * std::numbers::pi)(random);
    }
    double reading = bearing - orientation[set] + Noise(sigma * Radian());
    Line("dir %s %s %s %s %.6g\n", set.c_str(), from.c_str(), to.c_str(), Format(reading).c_str(),
         sigma);
  }

  void Angle(const std::string& at, const std::string& from, const std::string& to, double sigma) {
    double angle = Bearing(at, to) - Bearing(at, from) + Noise(sigma * Radian());
    Line("angle %s %s %s %s %.6g\n", at.c_str(), from.c_str(), to.c_str(), Format(angle).c_str(),
         sigma);
  }

  void Azimuth(const std::string& from, const std::string& to, double sigma) {
    double azimuth = Bearing(from, to) + Noise(sigma * Radian());
    Line("azimuth %s %s %s %.6g\n", from.c_str(), to.c_str(), Format(azimuth).c_str(), sigma);
  }

  void HorizontalDistance(const std::string& from, const std::string& to, double a, double ppm) {
    double s = std::hypot(Delta(from, to, 0), Delta(from, to, 1));
    Line("hdist %s %s %.5f %.6g+%.6gppm\n", from.c_str(), to.c_str(), s + Noise(a + ppm * 1e-6 * s),
         a, ppm);
  }

  void SlopeDistance(const std::string& from, const std::string& to, double a, double ppm,
                     double ih, double th) {
    double dz = Delta(from, to, 2) + th - ih;
    double s =
        std::sqrt(std::pow(Delta(from, to, 0), 2) + std::pow(Delta(from, to, 1), 2) + dz * dz);
    Line("dist %s %s %.5f %.6g+%.6gppm %.3f %.3f\n", from.c_str(), to.c_str(),
         s + Noise(a + ppm * 1e-6 * s), a, ppm, ih, th);
  }

  void Zenith(const std::string& from, const std::string& to, double sigma, double ih, double th) {
    double dz = Delta(from, to, 2) + th - ih;
    double zenith = std::atan2(std::hypot(Delta(from, to, 0), Delta(from, to, 1)), dz) +
                    Noise(sigma * Radian());
    Line("zenith %s %s %.7f %.6g %.3f %.3f\n", from.c_str(), to.c_str(), zenith / Radian(), sigma,
         ih, th);
  }

  // A baseline with its full covariance (upper triangle, m²); the noise follows it.
  void Vector(const std::string& from, const std::string& to, const double (&c)[6]) {
    double l00 = std::sqrt(c[0]), l10 = c[1] / l00, l20 = c[2] / l00;
    double l11 = std::sqrt(c[3] - l10 * l10), l21 = (c[4] - l20 * l10) / l11;
    double l22 = std::sqrt(c[5] - l20 * l20 - l21 * l21);
    double e[3] = {Noise(1.0), Noise(1.0), Noise(1.0)};
    double noise[3] = {l00 * e[0], l10 * e[0] + l11 * e[1], l20 * e[0] + l21 * e[1] + l22 * e[2]};
    Line("vector %s %s %.5f %.5f %.5f cov %.6g %.6g %.6g %.6g %.6g %.6g\n", from.c_str(),
         to.c_str(), Delta(from, to, 0) + noise[0], Delta(from, to, 1) + noise[1],
         Delta(from, to, 2) + noise[2], c[0], c[1], c[2], c[3], c[4], c[5]);
  }

  double Noise(double sigma) { return sigma * normal(random); }
  const std::array<double, 3>& Truth(const std::string& name) { return truth[index[name]]; }

  std::string text;
  std::vector<std::array<double, 3>> truth;
  std::vector<bool> planPoint;
  // The true orientation of every set, radians.
  std::map<std::string, double> orientation;

 private:
  double Radian() const { return RadiansPerUnit(unit); }
  double Delta(const std::string& from, const std::string& to, int axis) {
    return truth[index[to]][axis] - truth[index[from]][axis];
  }
  double Bearing(const std::string& from, const std::string& to) {
    return std::atan2(Delta(from, to, 0), Delta(from, to, 1));
  }
  // angle in [0, full circle) in the unit, as the file writes it.
  std::string Format(double radians) {
    double full = 2.0 * std::numbers::pi / Radian();
    double value = std::fmod(radians / Radian(), full);
    if (value < 0.0) value += full;
    if (value >= full - 5e-8) value -= full;
    if (value < 0.0) value = 0.0;
    char field[32];
    std::snprintf(field, sizeof field, "%.7f", value);
    return field;
  }
  template <typename... Arguments>
  void Line(const char* format, Arguments... arguments) {
    char line[256];
    std::snprintf(line, sizeof line, format, arguments...);
    text += line;
  }

  std::mt19937_64 random;
  AngleUnit unit;
  std::uniform_real_distribution<double> offset;
  std::normal_distribution<double> normal{0.0, 1.0};
  std::map<std::string, std::size_t> index;
};

}  // namespace zradjust
