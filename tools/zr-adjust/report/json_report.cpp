#include "tools/zr-adjust/report/json_report.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <optional>
#include <string_view>

#include "tools/zr-adjust/report/report_units.h"

namespace zradjust {

namespace {

// Appends what JsonNumber returns, without a string of its own for every number.
void AppendNumber(std::string& text, double value) {
  if (!std::isfinite(value)) {
    text += "null";
    return;
  }
  // The same characters as printf's %.17g, several times faster on large networks.
  char buffer[32];
  std::to_chars_result end =
      std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::general, 17);
  text.append(buffer, end.ptr);
}

void AppendString(std::string& text, const std::string& value, bool escapeLessThan) {
  text += '"';
  for (unsigned char c : value) {
    if (c == '"' || c == '\\') {
      text += '\\';
      text += static_cast<char>(c);
    } else if (c < 0x20 || (escapeLessThan && c == '<')) {
      char escaped[8];
      std::snprintf(escaped, sizeof escaped, "\\u%04x", c);
      text += escaped;
    } else {
      text += static_cast<char>(c);
    }
  }
  text += '"';
}

}  // namespace

std::string JsonNumber(double value) {
  std::string text;
  AppendNumber(text, value);
  return text;
}

std::string JsonString(const std::string& text, bool escapeLessThan) {
  std::string quoted;
  AppendString(quoted, text, escapeLessThan);
  return quoted;
}

namespace {

// The document is gathered in blocks of about this size before they go to the stream.
constexpr std::size_t writeBlockBytes = std::size_t{1} << 20;

// A number, a missing number (null) or a name, appended as JSON by JsonText.
struct Number {
  double value;
};
struct OptionalNumber {
  std::optional<double> value;
  double divisor = 1.0;
};
struct Name {
  const std::string& text;
};

// The document's characters, appended as to a stream and passed on in blocks: a report of a
// large network has millions of small pieces, each costing a stream insertion otherwise.
class JsonText {
 public:
  explicit JsonText(std::ostream& out) : out(out) { text.reserve(writeBlockBytes + 4096); }
  JsonText(const JsonText&) = delete;
  JsonText& operator=(const JsonText&) = delete;
  ~JsonText() { out.write(text.data(), static_cast<std::streamsize>(text.size())); }

  JsonText& operator<<(const char* piece) { return Add(piece); }
  JsonText& operator<<(const std::string& piece) { return Add(piece); }
  JsonText& operator<<(char c) { return Add(std::string_view(&c, 1)); }
  JsonText& operator<<(int value) { return Integer(value); }
  JsonText& operator<<(long long value) { return Integer(value); }
  JsonText& operator<<(std::size_t value) { return Integer(value); }
  JsonText& operator<<(Number number) {
    AppendNumber(text, number.value);
    return Flushed();
  }
  JsonText& operator<<(OptionalNumber number) {
    if (!number.value) return Add("null");
    AppendNumber(text, *number.value / number.divisor);
    return Flushed();
  }
  JsonText& operator<<(Name name) {
    AppendString(text, name.text, false);
    return Flushed();
  }

 private:
  JsonText& Add(std::string_view piece) {
    text += piece;
    return Flushed();
  }
  template <typename Integral>
  JsonText& Integer(Integral value) {
    char buffer[24];
    std::to_chars_result end = std::to_chars(buffer, buffer + sizeof buffer, value);
    return Add(std::string_view(buffer, static_cast<std::size_t>(end.ptr - buffer)));
  }
  JsonText& Flushed() {
    if (text.size() >= writeBlockBytes) {
      out.write(text.data(), static_cast<std::streamsize>(text.size()));
      text.clear();
    }
    return *this;
  }

  std::ostream& out;
  std::string text;
};

const char* Boolean(bool value) {
  return value ? "true" : "false";
}

// Writes the elements of items as a JSON array, one per line, each by writeItem.
template <typename Item, typename WriteItem>
void WriteArray(JsonText& out, const char* name, const std::vector<Item>& items,
                WriteItem writeItem) {
  out << ",\n  \"" << name << "\": [";
  for (std::size_t i = 0; i < items.size(); ++i) {
    out << (i ? ",\n    " : "\n    ");
    writeItem(items[i]);
  }
  out << (items.empty() ? "]" : "\n  ]");
}

void WriteEllipse(JsonText& out, const std::optional<EllipseResult>& ellipse, AngleUnit unit) {
  if (!ellipse) {
    out << "null";
    return;
  }
  out << "{ \"a\": " << Number{ellipse->a} << ", \"b\": " << Number{ellipse->b}
      << ", \"bearing\": " << Number{InUnit(ellipse->bearing, unit)}
      << ", \"a95\": " << Number{ellipse->a95} << ", \"b95\": " << Number{ellipse->b95} << " }";
}

void WritePoint(JsonText& out, const PointResult& point, AngleUnit unit) {
  out << "{ \"name\": " << Name{point.name};
  if (point.kind == PointKind::Height) {
    out << ", \"h\": " << Number{point.coordinate[0]}
        << ", \"sh\": " << OptionalNumber{point.deviation[0]} << " }";
    return;
  }
  static const char* const names[3] = {"x", "y", "z"};
  int count = point.kind == PointKind::Plan ? 2 : 3;
  for (int axis = 0; axis < count; ++axis)
    out << ", \"" << names[axis] << "\": " << Number{point.coordinate[axis]};
  for (int axis = 0; axis < count; ++axis)
    out << ", \"s" << names[axis] << "\": " << OptionalNumber{point.deviation[axis]};
  out << ", \"ellipse\": ";
  WriteEllipse(out, point.ellipse, unit);
  out << " }";
}

void WriteObservation(JsonText& out, const AdjustmentReport& report,
                      const ObservationResult& observation) {
  auto name = [&](std::size_t index) { return Name{report.points[index].name}; };
  out << "{ \"type\": \"" << TypeName(observation.type) << "\"";
  switch (observation.type) {
    case ObservationType::Coordinate:
      out << ", \"at\": " << name(observation.from) << ", \"axis\": \"" << observation.axis << "\"";
      break;
    case ObservationType::Angle:
      out << ", \"at\": " << name(observation.at) << ", \"from\": " << name(observation.from)
          << ", \"to\": " << name(observation.to);
      break;
    case ObservationType::Direction:
      out << ", \"set\": ";
      if (observation.set < report.orientations.size())
        out << Name{report.orientations[observation.set].set};
      else
        out << "null";
      [[fallthrough]];
    default:
      out << ", \"from\": " << name(observation.from) << ", \"to\": " << name(observation.to);
  }
  double perUnit = IsAngular(observation.type) ? RadiansPerUnit(observation.unit) : 1.0;
  out << ", \"observed\": " << Number{observation.observed / perUnit}
      << ", \"adjusted\": " << Number{observation.adjusted / perUnit}
      << ", \"residual\": " << Number{observation.residual / perUnit}
      << ", \"normalized\": " << Number{observation.normalized}
      << ", \"redundancy\": " << Number{observation.redundancy}
      << ", \"w\": " << OptionalNumber{observation.w}
      << ", \"mdb\": " << OptionalNumber{observation.mdb, perUnit}
      << ", \"outlier\": " << (observation.uncontrolled ? "null" : Boolean(observation.outlier))
      << " }";
}

void WriteDatum(JsonText& out, const AdjustmentReport& report) {
  const DatumResult& datum = report.datum;
  out << ",\n  \"datum\": { \"kind\": \"" << (datum.free ? "free" : "fixed")
      << "\", \"defect\": " << datum.defect << ", \"parameters\": [";
  for (std::size_t i = 0; i < datum.parameters.size(); ++i)
    out << (i ? ", " : " ") << Name{datum.parameters[i]}
        << (i + 1 == datum.parameters.size() ? " " : "");
  out << "], \"points\": [";
  for (std::size_t i = 0; i < datum.points.size(); ++i) {
    out << (i ? ", " : " ") << Name{report.points[datum.points[i]].name}
        << (i + 1 == datum.points.size() ? " " : "");
  }
  out << "] }";
}

void WriteStatistics(JsonText& out, const AdjustmentReport& report) {
  out << ",\n  \"redundancy\": " << report.redundancy << ",\n  \"variance_factor\": \""
      << (report.varianceFactor == VarianceFactor::Known ? "known" : "estimated") << "\"";
  WriteDatum(out, report);
  out << ",\n  \"global_test\": ";
  if (report.globalTest) {
    const GlobalTestResult& test = *report.globalTest;
    out << "{ \"alpha\": " << Number{test.alpha} << ", \"lower\": " << Number{test.lower}
        << ", \"upper\": " << Number{test.upper} << ", \"value\": " << Number{test.value}
        << ", \"passed\": " << Boolean(test.passed) << " }";
  } else {
    out << "null";
  }
  out << ",\n  \"exit_status\": " << report.exitStatus;
}

}  // namespace

void WriteJsonReport(std::ostream& stream, const AdjustmentReport& report) {
  JsonText out(stream);
  const AngleUnit unit = report.finalUnit;
  out << "{\n  \"sigma0\": " << OptionalNumber{report.sigma0}
      << ",\n  \"converged\": " << Boolean(report.converged)
      << ",\n  \"unknowns\": " << report.unknownCount
      << ",\n  \"observations_count\": " << report.observations.size();
  WriteStatistics(out, report);
  WriteArray(out, "iterations", report.iterations, [&](const IterationRecord& iteration) {
    out << "{ \"sigma0\": " << Number{iteration.sigma0}
        << ", \"max_correction\": " << Number{iteration.maxCorrection}
        << ", \"seconds\": " << Number{iteration.seconds} << " }";
  });
  WriteArray(out, "points", report.points,
             [&](const PointResult& point) { WritePoint(out, point, unit); });
  WriteArray(out, "orientations", report.orientations, [&](const OrientationResult& set) {
    out << "{ \"set\": " << Name{set.set}
        << ", \"station\": " << Name{report.points[set.station].name}
        << ", \"value\": " << Number{InUnit(set.value, unit)}
        << ", \"sd\": " << OptionalNumber{set.deviation, RadiansPerUnit(unit)} << " }";
  });
  WriteArray(out, "relative", report.relative, [&](const RelativeResult& pair) {
    out << "{ \"from\": " << Name{report.points[pair.from].name}
        << ", \"to\": " << Name{report.points[pair.to].name};
    std::optional<EllipseResult> e = pair.ellipse;
    auto part = [&](auto of) { return e ? OptionalNumber{of(*e)} : OptionalNumber{std::nullopt}; };
    out << ", \"a\": " << part([](const EllipseResult& x) { return x.a; })
        << ", \"b\": " << part([](const EllipseResult& x) { return x.b; }) << ", \"bearing\": "
        << part([&](const EllipseResult& x) { return InUnit(x.bearing, unit); })
        << ", \"sd_distance\": " << OptionalNumber{pair.distanceDeviation} << " }";
  });
  WriteArray(out, "observations", report.observations,
             [&](const ObservationResult& o) { WriteObservation(out, report, o); });
  out << "\n}\n";
}

}  // namespace zradjust
