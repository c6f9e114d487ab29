// The live tuning protocol as bytes, shared by the service and its clients: plain constants and
// byte helpers only. All numbers are little-endian and unaligned.
#pragma once

#include <cstdint>

namespace DialinProtocol {

enum class Command : uint16_t {
    DeviceInfo = 0,
    ActiveModes = 1,
    ControlValues = 2,
    Modes = 3,
    Info = 4,
    GetValues = 5,
    SetValues = 6,
    TriggerValues = 7,
    Custom = 8,
};

constexpr uint16_t kVersion = 1;
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

// DeviceInfo response: protocol version, 64-bit handle, nul-terminated name.
constexpr unsigned int kVersionOffset = 6;
constexpr unsigned int kHandleOffset = 8;
constexpr unsigned int kNameOffset = 16;
// Custom response: behind the ID a 16-bit result, then the handler's data.
constexpr unsigned int kResultOffset = kIdHeaderSize;
constexpr unsigned int kCustomDataOffset = 12;

// Whether requests and responses of `command` carry a request ID.
constexpr bool HasRequestId(Command command) {
    return command == Command::Modes || command == Command::Info ||
           command == Command::GetValues || command == Command::SetValues ||
           command == Command::Custom;
}

inline uint16_t ReadU16(const unsigned char* pBytes) {
    return static_cast<uint16_t>(pBytes[0] | (pBytes[1] << 8));
}

inline uint32_t ReadU32(const unsigned char* pBytes) {
    return static_cast<uint32_t>(pBytes[0]) | (static_cast<uint32_t>(pBytes[1]) << 8) |
           (static_cast<uint32_t>(pBytes[2]) << 16) | (static_cast<uint32_t>(pBytes[3]) << 24);
}

inline uint64_t ReadU64(const unsigned char* pBytes) {
    return static_cast<uint64_t>(ReadU32(pBytes)) |
           (static_cast<uint64_t>(ReadU32(pBytes + 4)) << 32);
}

inline void WriteU16(unsigned char* pBytes, uint16_t value) {
    pBytes[0] = static_cast<unsigned char>(value);
    pBytes[1] = static_cast<unsigned char>(value >> 8);
}

inline void WriteU32(unsigned char* pBytes, uint32_t value) {
    WriteU16(pBytes, static_cast<uint16_t>(value));
    WriteU16(pBytes + 2, static_cast<uint16_t>(value >> 16));
}

inline void WriteU64(unsigned char* pBytes, uint64_t value) {
    WriteU32(pBytes, static_cast<uint32_t>(value));
    WriteU32(pBytes + 4, static_cast<uint32_t>(value >> 32));
}

}  // namespace DialinProtocol
