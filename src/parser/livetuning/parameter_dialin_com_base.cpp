#include "parser/livetuning/parameter_dialin_com_base.h"

#include <algorithm>
#include <cstring>
#include <ctime>

#include "parser/foundation/parameter_logging.h"
#include "parser/foundation/parameter_logging_api.h"
#include "parser/livetuning/dialin_protocol.h"

#define DIALIN_LOG(level, ...) \
    ParameterLogging::Write(m_pLogging, ParameterLogging::level, __FILE__, __LINE__, __VA_ARGS__)

namespace {

// Commands above the last one the worker knows are logged with their payload.
constexpr unsigned int kLastCommand =
    static_cast<unsigned int>(DialinProtocol::Command::Custom);
constexpr unsigned int kLoggedPayload = 127;

bool TimedOut(int timeout, std::time_t start) {
    return timeout >= 0 && std::difftime(std::time(nullptr), start) >= timeout;
}

}  // namespace

ParameterDialinComBase::Packet::Packet(const unsigned char* pData, unsigned int size) {
    if (pData != nullptr && size > 0 && size < DialinProtocol::kMaxSize) {
        Data = new unsigned char[size];
        std::memcpy(Data, pData, size);
        Size = size;
    }
}

ParameterDialinComBase::ParameterDialinComBase(IParameterLoggingAPI* pLogging)
    : m_pLogging(pLogging), m_receiveBuffer(new unsigned char[DialinProtocol::kMaxSize]) {
    if (pLogging == nullptr) {
        DIALIN_LOG(Error, "ParameterDialinComBase constructed with a nullptr Set Manager object");
    }
}

// The derived transport stops the threads before its own part is gone; what is still queued
// is freed with the queues.
ParameterDialinComBase::~ParameterDialinComBase() = default;

const char* ParameterDialinComBase::Identifier() const {
    const char* pName = m_pLogging != nullptr ? m_pLogging->GetLoggingIdentifier() : nullptr;
    return pName != nullptr ? pName : "";
}

void ParameterDialinComBase::Start() {
    if (m_pLogging == nullptr || IsRunning()) {
        return;
    }
    DIALIN_LOG(Debug, "Starting Dialin server: %s", Identifier());
    m_stop = false;
    StartCom();
    m_readThread = std::make_unique<std::thread>([this] { ReadWorker(); });
    m_writeThread = std::make_unique<std::thread>([this] { WriteWorker(); });
}

void ParameterDialinComBase::Stop() {
    DIALIN_LOG(Debug, "Stopping TCP/IP Dialin server: %s", Identifier());
    m_stop = true;
    m_readEvent.Set();
    m_writeEvent.Set();
    m_spareEvent.Set();
    if (m_readThread != nullptr) {
        m_readThread->join();
        m_readThread.reset();
    }
    if (m_writeThread != nullptr) {
        m_writeThread->join();
        m_writeThread.reset();
    }
    StopCom();
}

unsigned int ParameterDialinComBase::TakeRequest(unsigned char* pOutput, unsigned int size,
                                                 unsigned char commandLimit) {
    const unsigned char* pHead = m_receiveBuffer.get();
    const uint16_t tag = DialinProtocol::ReadU16(pHead + DialinProtocol::kTagOffset);
    const uint16_t command = DialinProtocol::ReadU16(pHead + DialinProtocol::kCommandOffset);
    const uint16_t length = DialinProtocol::ReadU16(pHead + DialinProtocol::kLengthOffset);
    if (tag != DialinProtocol::kStartTag) {
        DIALIN_LOG(Error,
                   "Dialin request missing start tag, Expected: %u, Received: %u: "
                   "0x%02x%02x%02x%02x%02x",
                   static_cast<unsigned int>(DialinProtocol::kStartTag),
                   static_cast<unsigned int>(tag), pHead[0], pHead[1], pHead[2], pHead[3],
                   pHead[4]);
        // Nothing in a stream without its tag can be trusted to start a packet.
        m_receiveCount = 0;
        return 0;
    }
    if (command >= commandLimit) {
        DIALIN_LOG(Error, "Dialin request ID %u exceeds Max %u", static_cast<unsigned int>(command),
                   static_cast<unsigned int>(commandLimit));
        return 0;
    }
    if (length == 0) {
        DIALIN_LOG(Error, "Dialin request length is zero: 0x%02x%02x%02x%02x%02x", pHead[0],
                   pHead[1], pHead[2], pHead[3], pHead[4]);
        return 0;
    }
    if (length > m_receiveCount) {
        return 0;
    }
    // A caller's room may be smaller than the packet: what is logged below reads only the
    // copied part, and the packet's last byte is taken before the buffer moves on.
    const unsigned int copied = std::min<unsigned int>(length, size);
    std::memcpy(pOutput, pHead, copied);
    const bool endsWithNul = pHead[length - 1] == '\0';
    std::memmove(m_receiveBuffer.get(), pHead + length, m_receiveCount - length);
    m_receiveCount -= length;
    if (command > kLastCommand) {
        char payload[kLoggedPayload + 1] = "";
        if (copied > DialinProtocol::kIdHeaderSize) {
            const unsigned int count =
                std::min<unsigned int>(copied - DialinProtocol::kIdHeaderSize, kLoggedPayload);
            std::memcpy(payload, pOutput + DialinProtocol::kIdHeaderSize, count);
            payload[count] = '\0';
        }
        const unsigned int id = copied >= DialinProtocol::kIdHeaderSize
                                    ? DialinProtocol::ReadU32(pOutput + DialinProtocol::kIdOffset)
                                    : 0;
        DIALIN_LOG(Debug, "Dialin recv %u bytes, Command %d, ID: %u, Payload: %s",
                   static_cast<unsigned int>(length), static_cast<int>(command), id, payload);
        if (!endsWithNul) {
            DIALIN_LOG(Error, "Dialin packet missing terminating nul character");
        }
    }
    return length;
}

unsigned int ParameterDialinComBase::ReceiveDialinRequest(unsigned char* pOutput,
                                                          unsigned int size,
                                                          unsigned char commandLimit, int timeout,
                                                          const std::atomic<bool>& stop) {
    const std::time_t start = std::time(nullptr);
    for (;;) {
        if (m_receiveCount >= DialinProtocol::kHeaderSize) {
            if (const unsigned int length = TakeRequest(pOutput, size, commandLimit)) {
                return length;
            }
        }
        if (stop || TimedOut(timeout, start)) {
            return 0;
        }
        const int count = ReadData(m_receiveBuffer.get() + m_receiveCount,
                                   DialinProtocol::kMaxSize - m_receiveCount, timeout, stop);
        if (count > 0) {
            m_receiveCount += static_cast<unsigned int>(count);
        }
        if (stop || TimedOut(timeout, start)) {
            return 0;
        }
    }
}

void ParameterDialinComBase::ReadWorker() {
    // The largest packet exactly fills this buffer, and then is delivered without data.
    std::unique_ptr<unsigned char[]> request(new unsigned char[DialinProtocol::kMaxSize]);
    while (!m_stop) {
        const unsigned int length =
            ReceiveDialinRequest(request.get(), DialinProtocol::kMaxSize, kLastCommand + 1, Timeout,
                                 m_stop);
        if (length == 0 || m_stop) {
            continue;
        }
        std::lock_guard<std::mutex> lock(m_readQueueLock);
        m_readQueue.push_back(std::make_unique<Packet>(request.get(), length));
        m_readEvent.Set();
    }
}

std::unique_ptr<ParameterDialinComBase::Packet> ParameterDialinComBase::Read(int seconds) {
    bool empty;
    {
        std::lock_guard<std::mutex> lock(m_readQueueLock);
        empty = m_readQueue.empty();
    }
    if (empty && seconds != 0 && !m_readEvent.IsSet()) {
        m_readEvent.Wait(seconds, m_stop);
    }
    std::lock_guard<std::mutex> lock(m_readQueueLock);
    std::unique_ptr<Packet> packet;
    if (!m_readQueue.empty()) {
        packet = std::move(m_readQueue.front());
        m_readQueue.pop_front();
    }
    if (m_readQueue.empty()) {
        m_readEvent.Clear();
    }
    return packet;
}

void ParameterDialinComBase::Write(const unsigned char* pData, unsigned int size) {
    std::lock_guard<std::mutex> lock(m_writeQueueLock);
    m_writeQueue.push_back(std::make_unique<Packet>(pData, size));
    m_writeEvent.Set();
}

void ParameterDialinComBase::WaitForWrites() {
    bool empty;
    {
        std::lock_guard<std::mutex> lock(m_writeQueueLock);
        empty = m_writeQueue.empty();
    }
    if (empty && Timeout != 0 && !m_writeEvent.IsSet()) {
        m_writeEvent.Wait(Timeout, m_stop);
    }
}

void ParameterDialinComBase::WriteWorker() {
    WaitForWrites();
    for (;;) {
        std::unique_ptr<Packet> packet;
        {
            std::lock_guard<std::mutex> lock(m_writeQueueLock);
            if (m_stop) {
                m_writeQueue.clear();
                m_writeEvent.Clear();
                return;
            }
            if (!m_writeQueue.empty()) {
                packet = std::move(m_writeQueue.front());
                m_writeQueue.pop_front();
            }
        }
        if (packet != nullptr && packet->Size > 2) {
            const int written = WriteData(packet->Data, packet->Size);
            const int command =
                packet->Size >= DialinProtocol::kHeaderSize
                    ? DialinProtocol::ReadU16(packet->Data + DialinProtocol::kCommandOffset)
                    : -1;
            DIALIN_LOG(Debug, "Dialin write %d bytes, Command: %d", written, command);
        } else if (packet != nullptr) {
            DIALIN_LOG(Debug, "Dialin write insufficient buffer size %d",
                       static_cast<int>(packet->Size));
        }
        {
            std::lock_guard<std::mutex> lock(m_writeQueueLock);
            if (m_writeQueue.empty()) {
                m_writeEvent.Clear();
            }
        }
        WaitForWrites();
    }
}
