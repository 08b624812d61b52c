#pragma once
// The style sheet and the script of the HTML report, written into every page so that it needs
// no file beside it. Their sources are html_page.css and html_page.js in this folder; the build
// embeds them (embed_html_assets.cmake), nothing reads them at run time.

namespace zradjust {

extern const char htmlPageStyle[];
extern const char htmlPageScript[];

}  // namespace zradjust
