#include "parser/livetuning/parameter_dialin_worker.h"

#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "parser/foundation/parameter_logging.h"
#include "parser/foundation/plist.h"
#include "parser/livetuning/dialin_protocol.h"
#include "parser/livetuning/dialin_request_text.h"
#include "parser/livetuning/dialin_text_writer.h"
#include "parser/livetuning/parameter_dialin_custom_handler.h"
#include "parser/setmanager/parameter_parser_info.h"
#include "parser/setmanager/parameter_set_manager.h"

#define WORKER_LOG(level, ...) \
    ParameterLogging::Write(m_pDataAPI, ParameterLogging::level, __FILE__, __LINE__, __VA_ARGS__)

namespace {

using namespace DialinProtocol;

constexpr unsigned int kNameSize = 240;
constexpr unsigned int kDeviceInfoSize = kNameOffset + kNameSize;
constexpr unsigned int kActiveModesRoom = 1018;
constexpr unsigned int kValuesRoom = 4090;
constexpr unsigned int kChildModesRoom = 4086;
constexpr unsigned int kShorthandSize = 512;
// Room for text behind the request ID in the largest packet.
constexpr unsigned int kDataRoom = kMaxSize - kIdHeaderSize;
constexpr uint16_t kCustomRoom = kMaxSize - kCustomDataOffset;
constexpr unsigned int kLoggedText = 127;
constexpr unsigned int kLoggedHexBytes = 63;

// The number the log lines show for a command.
int Code(Command command) { return static_cast<int>(command); }

void StartResponse(unsigned char* pResponse, Command command) {
    WriteU16(pResponse + kTagOffset, kStartTag);
    WriteU16(pResponse + kCommandOffset, static_cast<uint16_t>(command));
}

// A response with the request's tag, command and ID in front.
std::unique_ptr<unsigned char[]> IdResponse(const unsigned char* pRequest, unsigned int size) {
    std::unique_ptr<unsigned char[]> response(new unsigned char[size]());
    std::memcpy(response.get(), pRequest, kIdHeaderSize);
    return response;
}

char* Text(unsigned char* pBytes) { return reinterpret_cast<char*>(pBytes); }

}  // namespace

ParameterDialinWorker::ParameterDialinWorker(IParameterDataAPI* pDataAPI)
    : m_pDataAPI(pDataAPI), m_com(pDataAPI) {
    if (pDataAPI == nullptr) {
        WORKER_LOG(Error, "ParameterDialinWorker constructed with a nullptr Set Manager object");
    }
}

ParameterDialinWorker::~ParameterDialinWorker() { Stop(); }

void ParameterDialinWorker::Start() {
    if (m_thread != nullptr || m_pDataAPI == nullptr) {
        return;
    }
    m_stop = false;
    m_com.Start();
    m_thread = std::make_unique<std::thread>([this] { ReadWorker(); });
}

void ParameterDialinWorker::Stop() {
    m_stop = true;
    if (m_thread != nullptr) {
        m_com.Stop();
        m_thread->join();
        m_thread.reset();
    }
}

bool ParameterDialinWorker::IsPrintable(const unsigned char* pData, unsigned int size) {
    if (pData == nullptr || size == 0) {
        return false;
    }
    for (unsigned int i = 0; i < size; ++i) {
        if (pData[i] != 0 && (pData[i] < 32 || pData[i] > 126)) {
            return false;
        }
    }
    return true;
}

void ParameterDialinWorker::ReadWorker() {
    while (!m_stop) {
        std::unique_ptr<ParameterDialinComBase::Packet> packet = m_com.Read(Timeout);
        if (packet != nullptr && packet->Size != 0) {
            HandlePacket(*packet);
        }
    }
}

void ParameterDialinWorker::HandlePacket(const ParameterDialinComBase::Packet& packet) {
    Command command = Command::DeviceInfo;
    if (packet.Size < kCommandOffset + 2) {
        WORKER_LOG(Error, "Failed to read %lld bytes from binary file offset %d, length %d",
                   static_cast<long long>(kCommandOffset + 2), 0, static_cast<int>(packet.Size));
    } else {
        command = static_cast<Command>(ReadU16(packet.Data + kCommandOffset));
    }
    switch (command) {
        case Command::DeviceInfo: SendDeviceInfo(); return;
        case Command::ActiveModes:
        case Command::ControlValues:
        case Command::TriggerValues: SendText(command); return;
        case Command::Custom: SendCustom(packet.Data, packet.Size); return;
        case Command::Modes:
        case Command::Info:
        case Command::GetValues:
        case Command::SetValues: break;
        default: return;
    }
    if (packet.Size <= kIdHeaderSize) {
        return;
    }
    const DialinRequestText request(packet.Data + kIdHeaderSize, packet.Size - kIdHeaderSize);
    if (command == Command::Modes) {
        SendChildModes(packet.Data, request);
    } else if (command == Command::Info) {
        SendInfo(packet.Data, request);
    } else if (command == Command::GetValues) {
        SendValues(packet.Data, request);
    } else {
        SendSetValues(packet.Data, request);
    }
}

void ParameterDialinWorker::Reply(unsigned char* pResponse, size_t length) {
    WriteU16(pResponse + kLengthOffset, static_cast<uint16_t>(length));
    m_com.Write(pResponse, static_cast<unsigned int>(length));
}

void ParameterDialinWorker::SendDeviceInfo() {
    unsigned char response[kDeviceInfoSize] = {};
    StartResponse(response, Command::DeviceInfo);
    WriteU16(response + kVersionOffset, kVersion);
    const auto handle = static_cast<uint64_t>(reinterpret_cast<uintptr_t>(m_pDataAPI));
    WriteU64(response + kHandleOffset, handle);
    char* pName = Text(response + kNameOffset);
    const char* pTag = m_pDataAPI->GetLoggingIdentifier();
    if (pTag != nullptr && pTag[0] != '\0') {
        std::snprintf(pName, kNameSize, "%s", pTag);
    } else {
        std::snprintf(pName, kNameSize, "0x%016" PRIx64, handle);
    }
    WORKER_LOG(Debug, "Dialin queued command: Info(%d), Version: %u.%u, Name: %s",
               Code(Command::DeviceInfo), static_cast<unsigned int>(kVersion), 0u, pName);
    Reply(response, std::strlen(pName) + kNameOffset + 1);
}

void ParameterDialinWorker::SendText(Command command) {
    unsigned char response[kHeaderSize + kValuesRoom] = {};
    StartResponse(response, command);
    char* pText = Text(response + kHeaderSize);
    const char* pFormat = nullptr;
    if (command == Command::ActiveModes) {
        m_pDataAPI->GetActiveModes(pText, kActiveModesRoom);
        pText[kActiveModesRoom - 1] = '\0';
        pFormat = "Dialin queued command: Active Modes(%d), Version: %u.%u, Active: %s";
    } else if (command == Command::ControlValues) {
        m_pDataAPI->GetControlValues(pText, kValuesRoom);
        pFormat = "Dialin queued command: Control Values(%d), Version: %u.%u, Name: %s";
    } else {
        m_pDataAPI->GetTriggerValues(pText, kValuesRoom);
        pFormat = "Dialin queued command: Trigger Values(%d), Version: %u.%u, Name: %s";
    }
    pText[kValuesRoom - 1] = '\0';
    WORKER_LOG(Debug, pFormat, Code(command), static_cast<unsigned int>(kVersion), 0u, pText);
    Reply(response, std::strlen(pText) + kHeaderSize + 1);
}

std::string ParameterDialinWorker::Shorthand(const std::string& path) {
    char shorthand[kShorthandSize] = "";
    m_pDataAPI->GetModeShorthand(path.c_str(), shorthand, sizeof(shorthand));
    shorthand[kShorthandSize - 1] = '\0';
    return shorthand;
}

void ParameterDialinWorker::SendChildModes(const unsigned char* pRequest,
                                          const DialinRequestText& request) {
    unsigned char response[kIdHeaderSize + kChildModesRoom];
    std::memcpy(response, pRequest, kIdHeaderSize);
    response[kIdHeaderSize] = '\0';
    unsigned int written = m_pDataAPI->GetChildModes(Shorthand(request.Path).c_str(),
                                                     response + kIdHeaderSize, kChildModesRoom);
    written = written < kChildModesRoom ? written : kChildModesRoom;
    response[kIdHeaderSize + kChildModesRoom - 1] = '\0';
    WORKER_LOG(Debug, "Dialin queued command: Modes(%d), ID: %u, Payload: %s...",
               Code(Command::Modes), ReadU32(pRequest + kIdOffset), Text(response + kIdHeaderSize));
    Reply(response, written + kIdHeaderSize);
}

void ParameterDialinWorker::SendInfo(const unsigned char* pRequest,
                                          const DialinRequestText& request) {
    std::unique_ptr<unsigned char[]> response = IdResponse(pRequest, kMaxSize);
    DialinTextWriter writer(Text(response.get() + kIdHeaderSize), kDataRoom, m_pDataAPI);
    PList<ParameterParserInfo> records;
    const bool hasModule = request.HasModule && !request.Module.empty();
    if (m_pDataAPI->GetInfo(Shorthand(request.Path).c_str(),
                            hasModule ? request.Module.c_str() : nullptr, records)) {
        for (uint32_t i = 0; i < records.Count(); ++i) {
            const ParameterParserInfo& record = records[i];
            writer.Append(i != 0 ? ";" : "");
            writer.Append(record.Name != nullptr ? record.Name : "");
            if (record.Value[0] != '\0') {
                writer.Append("=");
                writer.Append(record.Value);
            }
            writer.Append(",");
            writer.Append(record.TypeName != nullptr ? record.TypeName : "");
            if (record.IsArray || record.IsOptional) {
                writer.Append(("," + std::to_string(record.Count)).c_str());
            }
        }
    }
    WORKER_LOG(Debug, "Dialin queued command: Info(%d), ID: %u, Payload: %s", Code(Command::Info),
               ReadU32(pRequest + kIdOffset), (request.Path + ":" + request.Module).c_str());
    Reply(response.get(), kIdHeaderSize + writer.Length() + 1);
}

void ParameterDialinWorker::SendValues(const unsigned char* pRequest,
                                          const DialinRequestText& request) {
    std::unique_ptr<unsigned char[]> response = IdResponse(pRequest, kMaxSize);
    char* pText = Text(response.get() + kIdHeaderSize);
    if (request.HasModule) {
        const bool hasNames = request.HasRest && !request.Rest.empty();
        if (!m_pDataAPI->GetValue(Shorthand(request.Path).c_str(), request.Module.c_str(),
                                  hasNames ? request.Rest.c_str() : nullptr, pText, kDataRoom)) {
            pText[0] = '\0';
        }
        pText[kDataRoom - 1] = '\0';
    }
    WORKER_LOG(Debug, "Dialin queued command: GetValues(%d), ID: %u, Payload: %s",
               Code(Command::GetValues), ReadU32(pRequest + kIdOffset),
               (request.Path + ":" + request.Module + ":" + request.Rest).c_str());
    Reply(response.get(), std::strlen(pText) + kIdHeaderSize + 1);
}

void ParameterDialinWorker::SendSetValues(const unsigned char* pRequest,
                                          const DialinRequestText& request) {
    std::unique_ptr<unsigned char[]> response = IdResponse(pRequest, kMaxSize);
    DialinTextWriter writer(Text(response.get() + kIdHeaderSize), kDataRoom, nullptr);
    const std::string shorthand = Shorthand(request.Path);
    std::unique_ptr<char[]> stored(new char[kMaxSize]);
    for (size_t start = 0; start < request.Rest.size();) {
        size_t end = request.Rest.find(';', start);
        end = end == std::string::npos ? request.Rest.size() : end;
        const std::string assignment = request.Rest.substr(start, end - start);
        start = end + 1;
        const size_t equals = assignment.find('=');
        if (equals == std::string::npos || equals + 1 == assignment.size()) {
            continue;
        }
        const std::string name = assignment.substr(0, equals);
        const std::string value = assignment.substr(equals + 1);
        if (m_pDataAPI->SetValue(shorthand.c_str(), request.Module.c_str(), name.c_str(),
                                 value.c_str()) &&
            m_pDataAPI->GetValue(shorthand.c_str(), request.Module.c_str(), name.c_str(),
                                 stored.get(), kMaxSize)) {
            stored[kMaxSize - 1] = '\0';
            writer.Append(writer.Length() != 0 ? ";" : "");
            writer.Append(stored.get());
        }
    }
    WORKER_LOG(Debug, "Dialin queued command: SetValues(%d), ID: %u, Payload: %s",
               Code(Command::SetValues), ReadU32(pRequest + kIdOffset),
               (request.Path + ":" + request.Module + ":" + request.Rest).c_str());
    Reply(response.get(), writer.Length() + kIdHeaderSize + 1);
}

void ParameterDialinWorker::SendCustom(const unsigned char* pRequest, unsigned int size) {
    if (size <= kIdHeaderSize || size > kMaxSize) {
        return;
    }
    std::unique_ptr<unsigned char[]> response = IdResponse(pRequest, kMaxSize);
    uint16_t length = 0;
    uint16_t result = 0;
    if (m_customHandler != nullptr) {
        result = m_customHandler->HandleRequest(pRequest + kIdHeaderSize, size - kIdHeaderSize,
                                                kCustomRoom, response.get() + kCustomDataOffset,
                                                &length);
        length = length < kCustomRoom ? length : kCustomRoom;
    } else {
        WORKER_LOG(Error,
                   "Dialin queued Custom command received with no handler installed, sending "
                   "result = 0");
    }
    WriteU16(response.get() + kResultOffset, result);

    const unsigned char* pData = response.get() + kCustomDataOffset;
    char logged[kLoggedText + 1] = "";
    if (IsPrintable(pData, length)) {
        const unsigned int count = length < kLoggedText ? length : kLoggedText;
        std::memcpy(logged, pData, count);
        logged[count] = '\0';
    } else {
        for (unsigned int i = 0; i < length && i < kLoggedHexBytes; ++i) {
            std::snprintf(logged + 2 * i, 3, "%02X", pData[i]);
        }
    }
    WORKER_LOG(Debug, "Dialin queued command: Custom(%d), ID: %u, Payload: %s...",
               Code(Command::Custom), ReadU32(pRequest + kIdOffset), logged);
    Reply(response.get(), length + kCustomDataOffset);
}
