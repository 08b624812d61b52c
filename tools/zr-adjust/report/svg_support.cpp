#include "tools/zr-adjust/report/svg_support.h"

#include <cmath>
#include <cstdio>

#include "tools/zr-adjust/report/markup_text.h"

namespace zradjust {

std::string XmlText(const std::string& text) {
  return EscapeMarkup(text, false);
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
  if (metres < 1.0) return Formatted("%g mm", metres * 1000.0);
  if (metres >= 1000.0) return Formatted("%g km", metres / 1000.0);
  return Formatted("%g m", metres);
}

void WriteSvgHeader(std::ostream& out, double width, double height, double x,
                    const std::string& title, const std::string& subtitle) {
  out << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
  out << Formatted(
      "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%.0f\" height=\"%.0f\" "
      "viewBox=\"0 0 %.0f %.0f\">\n",
      width, height, width, height);
  out << Formatted("<rect width=\"%.0f\" height=\"%.0f\" fill=\"#ffffff\"/>\n", width, height);
  out << "<g font-family=\"sans-serif\">\n";
  out << Formatted("  <text x=\"%.0f\" y=\"32\" font-size=\"18\">%s</text>\n", x,
                   XmlText(title).c_str());
  out << Formatted("  <text x=\"%.0f\" y=\"54\" font-size=\"13\" fill=\"#444444\">%s</text>\n", x,
                   XmlText(subtitle).c_str());
  out << "</g>\n";
}

void WriteScaleBar(std::ostream& out, const char* id, double x, double y, double pixels,
                   const std::string& label, const char* colour) {
  out << "  <g id=\"" << id << "\">\n";
  out << Formatted(
      "  <path d=\"M %.2f %.2f v 6 h %.2f v -6\" fill=\"none\" stroke=\"%s\" "
      "stroke-width=\"2\"/>\n",
      x, y - 6.0, pixels, colour);
  out << Formatted("  <text x=\"%.2f\" y=\"%.2f\">%s</text>\n", x + pixels + 10.0, y + 4.0,
                   XmlText(label).c_str());
  out << "  </g>\n";
}

void WritePointMark(std::ostream& out, double u, double v, bool fixed) {
  if (fixed) {
    out << Formatted("  <path d=\"M %.2f %.2f l 6 10.4 h -12 z\" fill=\"#000000\"/>\n", u, v - 6.9);
  } else {
    out << Formatted(
        "  <circle cx=\"%.2f\" cy=\"%.2f\" r=\"3.5\" fill=\"#ffffff\" stroke=\"#000000\" "
        "stroke-width=\"1.5\"/>\n",
        u, v);
  }
}

double RoundEnlargement(double largest, double pixelsPerMetre, double targetPixels) {
  double limit = targetPixels / (largest * pixelsPerMetre);
  // Nothing to enlarge, or figures so extreme that no finite round factor exists.
  if (!(largest > 0.0) || !std::isfinite(limit) || !(limit > 0.0)) return 1.0;
  double enlargement = RoundScaleLength(limit);
  return std::isfinite(enlargement) && enlargement > 0.0 ? enlargement : 1.0;
}

}  // namespace zradjust
