#pragma once
// The SHA-256 digest (FIPS 180-4) of a byte string, for naming exactly which network file a
// report belongs to. Not for secrets: nothing here is hardened against timing.

#include <string>
#include <string_view>

namespace zradjust {

// The digest of bytes as 64 lower-case hexadecimal digits.
std::string Sha256Hex(std::string_view bytes);

}  // namespace zradjust
