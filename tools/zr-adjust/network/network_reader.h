#pragma once
// Reads a network file into a Network.
//
// The reader checks everything that can be checked without adjusting: syntax, names, numbers,
// declarations before use, standard deviations. It never stops at the first error: every
// faulty line gives one message "FILE:LINE: message", quoting the offending text, until
// maxErrorCount messages have been collected; then a last line says that the reader gave up.
// The network is only meaningful when no error was reported.

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "tools/zr-adjust/network/network.h"

namespace zradjust {

// Enough to show a pattern in a broken file, few enough to stay readable on a terminal.
inline constexpr std::size_t maxErrorCount = 50;

struct ReadResult {
  Network network;
  // "FILE:LINE: message" lines, in file order.
  std::vector<std::string> errors;

  bool Ok() const { return errors.empty(); }
};

// Parses text; fileName only labels the messages. Never throws on bad input.
ReadResult ReadNetwork(std::string_view text, const std::string& fileName);

// How messages name the file at path: "<stdin>" for "-", otherwise the path itself.
std::string NetworkLabel(const std::string& path);

// Reads the file at path ("-" for standard input) and parses it. A file that cannot be read
// gives one error "FILE: cannot read: reason".
ReadResult ReadNetworkFile(const std::string& path);

// Things that are legal but that a surveyor wants to hear about before trusting the result:
// a network without any datum (nothing fixed, no observed coordinate, no `datum free`), and
// points that no observation reaches and that are not fixed. "FILE[:LINE]: warning: ..." lines.
std::vector<std::string> NetworkWarnings(const Network& network, const std::string& fileName);

}  // namespace zradjust
