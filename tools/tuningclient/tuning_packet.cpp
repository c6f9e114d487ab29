#include "tuningclient/tuning_packet.h"

#include <cstring>

namespace tuningclient {

namespace {

constexpr size_t kHeader = 6;
constexpr size_t kIdHeader = 10;

void PutU16(std::vector<uint8_t>& bytes, size_t offset, uint16_t value) {
    bytes[offset] = static_cast<uint8_t>(value);
    bytes[offset + 1] = static_cast<uint8_t>(value >> 8);
}

uint16_t GetU16(const std::vector<uint8_t>& bytes, size_t offset) {
    return static_cast<uint16_t>(bytes[offset] | (bytes[offset + 1] << 8));
}

std::vector<uint8_t> Packet(Command command, size_t headerSize, const uint8_t* pPayload,
                            size_t size) {
    std::vector<uint8_t> bytes(headerSize, 0);
    bytes.insert(bytes.end(), pPayload, pPayload + size);
    if (bytes.size() > kMaxPacket) {
        return {};
    }
    PutU16(bytes, 0, kStartTag);
    PutU16(bytes, 2, static_cast<uint16_t>(command));
    PutU16(bytes, 4, static_cast<uint16_t>(bytes.size()));
    return bytes;
}

std::string TextAt(const std::vector<uint8_t>& bytes, size_t offset) {
    if (offset >= bytes.size()) {
        return {};
    }
    const auto* pStart = reinterpret_cast<const char*>(bytes.data() + offset);
    const void* pNul = std::memchr(pStart, '\0', bytes.size() - offset);
    return std::string(pStart, pNul != nullptr ? static_cast<const char*>(pNul) - pStart
                                               : bytes.size() - offset);
}

}  // namespace

bool HasId(Command command) {
    return command == Command::Modes || command == Command::Info ||
           command == Command::GetValues || command == Command::SetValues ||
           command == Command::Custom;
}

std::vector<uint8_t> EncodeRequest(Command command, const std::string& payload) {
    if (payload.empty()) {
        return Packet(command, kHeader, nullptr, 0);
    }
    return Packet(command, kHeader, reinterpret_cast<const uint8_t*>(payload.c_str()),
                  payload.size() + 1);
}

std::vector<uint8_t> EncodeRequest(Command command, uint32_t id,
                                   const std::vector<uint8_t>& payload) {
    std::vector<uint8_t> bytes = Packet(command, kIdHeader, payload.data(), payload.size());
    for (int i = 0; i < 4; ++i) {
        bytes[6 + i] = static_cast<uint8_t>(id >> (8 * i));
    }
    return bytes;
}

std::vector<uint8_t> EncodeTextRequest(Command command, uint32_t id, const std::string& text) {
    std::vector<uint8_t> payload(text.begin(), text.end());
    payload.push_back(0);
    return EncodeRequest(command, id, payload);
}

uint32_t Response::Id() const {
    if (bytes.size() < kIdHeader) {
        return 0;
    }
    return static_cast<uint32_t>(bytes[6]) | (static_cast<uint32_t>(bytes[7]) << 8) |
           (static_cast<uint32_t>(bytes[8]) << 16) | (static_cast<uint32_t>(bytes[9]) << 24);
}

std::string Response::Text() const {
    return TextAt(bytes, HasId(static_cast<Command>(command)) ? kIdHeader : kHeader);
}

std::optional<Response> TakeResponse(std::vector<uint8_t>& stream) {
    if (stream.size() < kHeader) {
        return std::nullopt;
    }
    const uint16_t length = GetU16(stream, 4);
    if (GetU16(stream, 0) != kStartTag || length < kHeader) {
        stream.clear();
        return std::nullopt;
    }
    if (stream.size() < length) {
        return std::nullopt;
    }
    Response response;
    response.command = GetU16(stream, 2);
    response.bytes.assign(stream.begin(), stream.begin() + length);
    stream.erase(stream.begin(), stream.begin() + length);
    return response;
}

std::optional<DeviceInfo> ParseDeviceInfo(const Response& response) {
    if (response.command != static_cast<uint16_t>(Command::DeviceInfo) ||
        response.bytes.size() < 17) {
        return std::nullopt;
    }
    DeviceInfo info;
    info.version = GetU16(response.bytes, 6);
    for (int i = 0; i < 8; ++i) {
        info.handle |= static_cast<uint64_t>(response.bytes[8 + i]) << (8 * i);
    }
    info.name = TextAt(response.bytes, 16);
    return info;
}

std::optional<CustomResult> ParseCustom(const Response& response) {
    if (response.command != static_cast<uint16_t>(Command::Custom) ||
        response.bytes.size() < 12) {
        return std::nullopt;
    }
    CustomResult custom;
    custom.result = GetU16(response.bytes, 10);
    custom.data.assign(response.bytes.begin() + 12, response.bytes.end());
    return custom;
}

}  // namespace tuningclient
