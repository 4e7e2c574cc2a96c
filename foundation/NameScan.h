// Reading the numbers of on-disk names the way the names have always been read:
// as scanf reads a 32-bit "%ld" or "%d", including its leniencies (leading white
// space, a sign) and the wrap of values beyond 32 bits, on which the recovery of
// bases above 2^31 depends.
#pragma once

namespace zsff {
namespace detail {

// Reads an optionally signed decimal at `p`, after any white space. On success
// moves `p` past the digits and stores the value modulo 2^32 as a signed 32-bit
// number. With no digit, returns false and leaves `p` and `out` alone.
bool ScanSigned32(const char*& p, int& out);

// Moves `p` past `literal` when the text there starts with it.
bool ScanLiteral(const char*& p, const char* literal);

}  // namespace detail
}  // namespace zsff
