#include "tools/zr-adjust/report/svg_support.h"

#include <cmath>
#include <cstdarg>
#include <cstdio>

namespace zradjust {

std::string SvgFormat(const char* format, ...) {
  char buffer[1024];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(buffer, sizeof buffer, format, arguments);
  va_end(arguments);
  return buffer;
}

std::string XmlText(const std::string& text) {
  std::string escaped;
  for (char c : text) {
    switch (c) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      default:
        escaped += c;
    }
  }
  return escaped;
}

double RoundScaleLength(double limit) {
  double power = std::pow(10.0, std::floor(std::log10(limit)));
  // The slack keeps an exact 1, 2 or 5 times a power of ten from rounding down a step.
  double bound = limit * (1.0 + 1e-9);
  for (double mantissa : {5.0, 2.0, 1.0}) {
    if (mantissa * power <= bound) return mantissa * power;
  }
  return power / 2.0;
}

std::string MetresLabel(double metres) {
  if (metres < 1.0) return SvgFormat("%g mm", metres * 1000.0);
  if (metres >= 1000.0) return SvgFormat("%g km", metres / 1000.0);
  return SvgFormat("%g m", metres);
}

void WriteScaleBar(std::ostream& out, const char* id, double x, double y, double pixels,
                   const std::string& label, const char* colour) {
  out << "  <g id=\"" << id << "\">\n";
  out << SvgFormat(
      "  <path d=\"M %.2f %.2f v 6 h %.2f v -6\" fill=\"none\" stroke=\"%s\" "
      "stroke-width=\"2\"/>\n",
      x, y - 6.0, pixels, colour);
  out << SvgFormat("  <text x=\"%.2f\" y=\"%.2f\">%s</text>\n", x + pixels + 10.0, y + 4.0,
                   XmlText(label).c_str());
  out << "  </g>\n";
}

double RoundEnlargement(double largest, double pixelsPerMetre, double targetPixels) {
  double limit = targetPixels / (largest * pixelsPerMetre);
  // Nothing to enlarge, or figures so extreme that no finite round factor exists.
  if (!(largest > 0.0) || !std::isfinite(limit) || !(limit > 0.0)) return 1.0;
  double enlargement = RoundScaleLength(limit);
  return std::isfinite(enlargement) && enlargement > 0.0 ? enlargement : 1.0;
}

}  // namespace zradjust
