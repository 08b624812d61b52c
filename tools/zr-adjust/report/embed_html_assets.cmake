# Writes OUTPUT, a C++ source that defines htmlPageStyle and htmlPageScript from the files
# STYLE and SCRIPT as raw string literals. Run by the build whenever one of them changes.
file(READ "${STYLE}" style)
file(READ "${SCRIPT}" script)
foreach(text IN ITEMS "${style}" "${script}")
  string(FIND "${text}" ")zrpage\"" clash)
  if(NOT clash EQUAL -1)
    message(FATAL_ERROR "the page's style or script contains the raw string's delimiter")
  endif()
endforeach()
file(WRITE "${OUTPUT}.new"
  "// Generated from html_page.css and html_page.js by embed_html_assets.cmake; do not edit.\n"
  "#include \"tools/zr-adjust/report/html_assets.h\"\n\n"
  "namespace zradjust {\n\n"
  "const char htmlPageStyle[] = R\"zrpage(${style})zrpage\";\n\n"
  "const char htmlPageScript[] = R\"zrpage(${script})zrpage\";\n\n"
  "}  // namespace zradjust\n")
file(COPY_FILE "${OUTPUT}.new" "${OUTPUT}" ONLY_IF_DIFFERENT)
