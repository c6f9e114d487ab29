#include "tuningclient/tuning_packet.h"

#include <cstring>

namespace tuningclient {

using namespace DialinProtocol;

namespace {

std::vector<uint8_t> Packet(Command command, size_t headerSize, const uint8_t* pPayload,
                            size_t size) {
    std::vector<uint8_t> bytes(headerSize, 0);
    bytes.insert(bytes.end(), pPayload, pPayload + size);
    if (bytes.size() > kMaxPacket) {
        return {};
    }
    WriteU16(bytes.data() + kTagOffset, kStartTag);
    WriteU16(bytes.data() + kCommandOffset, static_cast<uint16_t>(command));
    WriteU16(bytes.data() + kLengthOffset, static_cast<uint16_t>(bytes.size()));
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

// Whether `response` answers `command` and is long enough for its fixed fields.
bool Answers(const Response& response, Command command, size_t minSize) {
    return response.command == static_cast<uint16_t>(command) && response.bytes.size() >= minSize;
}

}  // namespace

bool HasId(Command command) { return HasRequestId(command); }

std::vector<uint8_t> EncodeRequest(Command command, const std::string& payload) {
    if (payload.empty()) {
        return Packet(command, kHeaderSize, nullptr, 0);
    }
    return Packet(command, kHeaderSize, reinterpret_cast<const uint8_t*>(payload.c_str()),
                  payload.size() + 1);
}

std::vector<uint8_t> EncodeRequest(Command command, uint32_t id,
                                   const std::vector<uint8_t>& payload) {
    std::vector<uint8_t> bytes = Packet(command, kIdHeaderSize, payload.data(), payload.size());
    if (!bytes.empty()) {
        WriteU32(bytes.data() + kIdOffset, id);
    }
    return bytes;
}

std::vector<uint8_t> EncodeTextRequest(Command command, uint32_t id, const std::string& text) {
    std::vector<uint8_t> payload(text.begin(), text.end());
    payload.push_back(0);
    return EncodeRequest(command, id, payload);
}

uint32_t Response::Id() const {
    return bytes.size() < kIdHeaderSize ? 0 : ReadU32(bytes.data() + kIdOffset);
}

std::string Response::Text() const {
    return TextAt(bytes, HasId(static_cast<Command>(command)) ? kIdHeaderSize : kHeaderSize);
}

std::optional<Response> TakeResponse(std::vector<uint8_t>& stream) {
    if (stream.size() < kHeaderSize) {
        return std::nullopt;
    }
    const uint16_t length = ReadU16(stream.data() + kLengthOffset);
    if (ReadU16(stream.data() + kTagOffset) != kStartTag || length < kHeaderSize) {
        stream.clear();
        return std::nullopt;
    }
    if (stream.size() < length) {
        return std::nullopt;
    }
    Response response;
    response.command = ReadU16(stream.data() + kCommandOffset);
    response.bytes.assign(stream.begin(), stream.begin() + length);
    stream.erase(stream.begin(), stream.begin() + length);
    return response;
}

std::optional<DeviceInfo> ParseDeviceInfo(const Response& response) {
    if (!Answers(response, Command::DeviceInfo, kNameOffset + 1)) {
        return std::nullopt;
    }
    DeviceInfo info;
    info.version = ReadU16(response.bytes.data() + kVersionOffset);
    info.handle = ReadU64(response.bytes.data() + kHandleOffset);
    info.name = TextAt(response.bytes, kNameOffset);
    return info;
}

std::optional<CustomResult> ParseCustom(const Response& response) {
    if (!Answers(response, Command::Custom, kCustomDataOffset)) {
        return std::nullopt;
    }
    CustomResult custom;
    custom.result = ReadU16(response.bytes.data() + kResultOffset);
    custom.data.assign(response.bytes.begin() + kCustomDataOffset, response.bytes.end());
    return custom;
}

}  // namespace tuningclient
