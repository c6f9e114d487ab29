// The packet layout of the live tuning service. All numbers are little-endian and unaligned.
#pragma once

#include <cstdint>

namespace DialinPacket {

constexpr uint16_t kStartTag = 20803;
constexpr unsigned int kMaxSize = 65535;
// Tag, command and length.
constexpr unsigned int kHeaderSize = 6;
// The header and the request ID of the commands that carry one.
constexpr unsigned int kIdHeaderSize = 10;
constexpr unsigned int kTagOffset = 0;
constexpr unsigned int kCommandOffset = 2;
constexpr unsigned int kLengthOffset = 4;
constexpr unsigned int kIdOffset = 6;

inline uint16_t ReadU16(const unsigned char* pBytes) {
    return static_cast<uint16_t>(pBytes[0] | (pBytes[1] << 8));
}

inline uint32_t ReadU32(const unsigned char* pBytes) {
    return static_cast<uint32_t>(pBytes[0]) | (static_cast<uint32_t>(pBytes[1]) << 8) |
           (static_cast<uint32_t>(pBytes[2]) << 16) | (static_cast<uint32_t>(pBytes[3]) << 24);
}

inline void WriteU16(unsigned char* pBytes, uint16_t value) {
    pBytes[0] = static_cast<unsigned char>(value);
    pBytes[1] = static_cast<unsigned char>(value >> 8);
}

inline void WriteU64(unsigned char* pBytes, uint64_t value) {
    for (int i = 0; i < 8; ++i) {
        pBytes[i] = static_cast<unsigned char>(value >> (8 * i));
    }
}

}  // namespace DialinPacket
