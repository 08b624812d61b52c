#include "tools/zr-adjust/run_outputs.h"

#include <cerrno>
#include <cstring>
#include <ctime>
#include <sstream>

#include "tools/zr-adjust/html_context.h"
#include "tools/zr-adjust/report/json_report.h"
#include "tools/zr-adjust/report/svg_plot.h"
#include "tools/zr-adjust/report/text_report.h"

namespace zradjust {
namespace {

bool OpenStream(const std::string& path, std::FILE*& file, std::string& error) {
  if (path.empty()) return true;
  // Binary: the library writes Latin-1 bytes and its own line ends.
  file = std::fopen(path.c_str(), "wb");
  if (!file) error = path + ": cannot write: " + std::strerror(errno);
  return file != nullptr;
}

bool OpenResult(const std::string& path, std::unique_ptr<OutputFile>& file, std::string& error) {
  if (path.empty() || path == standardOutputPath) return true;
  file = std::make_unique<OutputFile>();
  return file->Open(path, error);
}

}  // namespace

bool WriteStandardOutput(std::string_view text, std::string& error) {
  errno = 0;
  bool written = std::fwrite(text.data(), 1, text.size(), stdout) == text.size();
  int reason = errno;
  written = std::fflush(stdout) == 0 && written;
  if (!reason) reason = errno;
  if (written) return true;
  error = std::string("standard output: cannot write: ") + std::strerror(reason ? reason : EIO);
  return false;
}

bool RunOutputs::Open(const Options& options, std::string& error) {
  bool jsonOut = options.jsonFile == standardOutputPath;
  bool svgOut = options.svgFile == standardOutputPath;
  bool htmlOut = options.htmlFile == standardOutputPath;
  if (int(jsonOut) + int(svgOut) + int(htmlOut) > 1) {
    error = "only one of --json -, --svg - and --html - can go to standard output";
    return false;
  }
  standardOutput = jsonOut   ? Document::Json
                   : svgOut  ? Document::Svg
                   : htmlOut ? Document::Html
                             : Document::Text;
  std::FILE* logFile = nullptr;
  std::FILE* dumpFile = nullptr;
  bool opened = OpenStream(options.logFile, logFile, error);
  log.reset(logFile);
  opened = opened && OpenStream(options.dumpFile, dumpFile, error);
  dump.reset(dumpFile);
  opened = opened && OpenResult(options.jsonFile, json, error);
  opened = opened && OpenResult(options.svgFile, svg, error);
  opened = opened && OpenResult(options.htmlFile, html, error);
  if (html || htmlOut) htmlContext = MakeHtmlContext(options, ZR_VERSION, std::time(nullptr));
  return opened;
}

bool RunOutputs::Finish(const AdjustmentReport& report, std::string& error) {
  // The whole document is formed first, so that a failed write leaves nothing half-formed
  // behind it.
  std::ostringstream text;
  if (standardOutput == Document::Json) {
    WriteJsonReport(text, report);
  } else if (standardOutput == Document::Svg) {
    WriteSvgPlot(text, report);
  } else if (standardOutput == Document::Html) {
    WriteHtmlReport(text, report, htmlContext);
  } else {
    WriteTextReport(text, report);
  }
  if (!WriteStandardOutput(text.view(), error)) return false;
  if (json) {
    WriteJsonReport(json->Stream(), report);
    if (!json->Commit(error)) return false;
  }
  if (svg) {
    WriteSvgPlot(svg->Stream(), report);
    if (!svg->Commit(error)) return false;
  }
  if (html) {
    WriteHtmlReport(html->Stream(), report, htmlContext);
    if (!html->Commit(error)) return false;
  }
  bool closed = true;
  for (std::FILE* file : {log.release(), dump.release()}) {
    if (file && std::fclose(file) != 0) closed = false;
  }
  if (!closed)
    error = "cannot finish writing the log or dump file: " + std::string(std::strerror(errno));
  return closed;
}

}  // namespace zradjust
