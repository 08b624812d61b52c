#pragma once
// Pieces shared by the plan and the height profile of the SVG drawing: text formatting and
// escaping, round scale lengths and scale bars.

#include <ostream>
#include <string>

#include "tools/zr-adjust/report/text_table.h"

namespace zradjust {

// text with &, <, > and " escaped for XML.
std::string XmlText(const std::string& text);

// The largest of 1, 2 and 5 times a power of ten that does not exceed limit (limit > 0).
double RoundScaleLength(double limit);

// A length as a scale bar's label: mm below 1 m, km from 1 km, m between.
std::string MetresLabel(double metres);

// The document's start: the <svg> element of width x height pixels on a white ground, the
// title and the subtitle at x (both escaped here).
void WriteSvgHeader(std::ostream& out, double width, double height, double x,
                    const std::string& title, const std::string& subtitle);

// A horizontal scale bar of the given pixels at (x, y), labelled to its right, as group id.
void WriteScaleBar(std::ostream& out, const char* id, double x, double y, double pixels,
                   const std::string& label, const char* colour);

// A point's mark centred at (u, v): a black triangle when it is fixed, else an open circle.
void WritePointMark(std::ostream& out, double u, double v, bool fixed);

// The common enlargement of ellipses or error bars: a round number that draws the largest,
// of largest metres at pixelsPerMetre, about targetPixels large; 1 when there is none.
double RoundEnlargement(double largest, double pixelsPerMetre, double targetPixels);

}  // namespace zradjust
