// The last four bytes of a binary: the CRC-32 of all bytes before them, little-endian.
#pragma once

#include <cstdint>
#include <vector>

namespace binwriter {

// Appends the CRC of `binary` as it stands.
void AppendCrcTail(std::vector<uint8_t>& binary);

// Replaces the last four bytes by the CRC of the bytes before them, for callers that edit
// a built binary and want it to pass the CRC check again.
void RewriteCrcTail(std::vector<uint8_t>& binary);

}  // namespace binwriter
