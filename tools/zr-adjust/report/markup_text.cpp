#include "tools/zr-adjust/report/markup_text.h"

namespace zradjust {

std::string EscapeMarkup(const std::string& text, bool escapeApostrophe) {
  std::string escaped;
  escaped.reserve(text.size());
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
      case '\'':
        if (escapeApostrophe) {
          escaped += "&#39;";
          break;
        }
        [[fallthrough]];
      default:
        escaped += c;
    }
  }
  return escaped;
}

}  // namespace zradjust
