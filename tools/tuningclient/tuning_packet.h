// Requests and responses of the live tuning protocol, as bytes: little-endian numbers, a
// 6-byte header of start tag, command and total length, then the request ID where the
// command has one, then the payload.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "parser/livetuning/dialin_protocol.h"

namespace tuningclient {

using Command = DialinProtocol::Command;
using DialinProtocol::kStartTag;
constexpr size_t kMaxPacket = DialinProtocol::kMaxSize;

// Whether requests and responses of `command` carry a request ID.
bool HasId(Command command);

// Each encoder gives an empty vector when the packet would exceed kMaxPacket bytes.
// A request without ID: header only when `payload` is empty, else the payload and a nul.
std::vector<uint8_t> EncodeRequest(Command command, const std::string& payload = {});
// A request with ID; text payloads get their nul, binary ones (Custom) are sent as they are.
std::vector<uint8_t> EncodeRequest(Command command, uint32_t id, const std::vector<uint8_t>& payload);
std::vector<uint8_t> EncodeTextRequest(Command command, uint32_t id, const std::string& text);

struct Response {
    uint16_t command = 0;
    // The whole packet, header included.
    std::vector<uint8_t> bytes;

    uint32_t Id() const;
    // The nul-terminated text of a text response: at 6 without ID, at 10 with one.
    std::string Text() const;
};

// Takes one whole response off the front of `stream`; nothing while it is incomplete.
// A stream that does not start with the tag, or a zero length, is a broken one: it is
// cleared and the result is empty.
std::optional<Response> TakeResponse(std::vector<uint8_t>& stream);

struct DeviceInfo {
    uint16_t version = 0;
    uint64_t handle = 0;
    std::string name;
};
std::optional<DeviceInfo> ParseDeviceInfo(const Response& response);

struct CustomResult {
    uint16_t result = 0;
    std::vector<uint8_t> data;
};
std::optional<CustomResult> ParseCustom(const Response& response);

}  // namespace tuningclient
