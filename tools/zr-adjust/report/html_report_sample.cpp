// Writes the hand-made sample reports as HTML and JSON into a folder, for the checks that read
// the page with an HTML parser and open it in a browser:
//   html_report_sample DIR   ->  DIR/network.html, network.json, levelling.html, levelling.json

#include <fstream>
#include <iostream>
#include <string>

#include "tools/zr-adjust/report/html_report.h"
#include "tools/zr-adjust/report/html_sample_report.h"
#include "tools/zr-adjust/report/json_report.h"

namespace {

bool Write(const std::string& folder, const std::string& name,
           const zradjust::AdjustmentReport& report) {
  zradjust::HtmlContext context{.networkFile = report.networkFile,
                                .networkSha256 = std::string(64, '0'),
                                .date = "2026-01-02 03:04:05 UTC",
                                .programVersion = "test",
                                .changedOptions = {"--tolerance 0.001", "--html <x>.html"}};
  std::ofstream html(folder + "/" + name + ".html", std::ios::binary);
  zradjust::WriteHtmlReport(html, report, context);
  std::ofstream json(folder + "/" + name + ".json", std::ios::binary);
  zradjust::WriteJsonReport(json, report);
  return html.good() && json.good();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: html_report_sample DIR\n";
    return 2;
  }
  // More rows than one page of the tables, so that paging and sorting across pages are used.
  bool written = Write(argv[1], "network", zradjust::SampleNetworkReport(150)) &&
                 Write(argv[1], "levelling", zradjust::SampleLevellingReport());
  return written ? 0 : 1;
}
