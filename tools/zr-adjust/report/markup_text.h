#pragma once
// Escaping of text for the markup the report writes: the SVG drawing and the HTML page share
// one escaper, so that a point name reads the same in both.

#include <string>

namespace zradjust {

// text with &, <, > and " replaced by their entities, and ' by &#39; when escapeApostrophe.
// Other characters, bytes of UTF-8 sequences included, are copied unchanged.
std::string EscapeMarkup(const std::string& text, bool escapeApostrophe);

}  // namespace zradjust
