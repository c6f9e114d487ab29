// The packet layer of the live tuning service: turns the byte stream of one client connection
// into whole packets and back. A read thread frames requests into the read queue, a write
// thread sends what the write queue holds, so that the command worker sees only Read and
// Write. The transport sits behind four virtual operations.
#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>

#include "parser/livetuning/dialin_event.h"

class IParameterLoggingAPI;

class ParameterDialinComBase {
public:
    // One framed packet; a packet without data has null and 0. Owns its data.
    struct Packet {
        Packet() = default;
        Packet(const unsigned char* pData, unsigned int size);
        ~Packet() { delete[] Data; }
        Packet(const Packet&) = delete;
        Packet& operator=(const Packet&) = delete;

        unsigned char* Data = nullptr;
        uint32_t Size = 0;
    };

    explicit ParameterDialinComBase(IParameterLoggingAPI* pLogging);
    virtual ~ParameterDialinComBase();
    ParameterDialinComBase(const ParameterDialinComBase&) = delete;
    ParameterDialinComBase& operator=(const ParameterDialinComBase&) = delete;

    // Opens the transport and returns its port.
    virtual unsigned short StartCom() = 0;
    virtual void StopCom() = 0;
    // Reads up to `length` bytes: the count, 0 on timeout (`timeout` seconds, none when
    // negative) or stop, negative when the connection was lost.
    virtual int ReadData(unsigned char* pBuffer, unsigned int length, int timeout,
                         const std::atomic<bool>& stop) = 0;
    virtual int WriteData(unsigned char* pBuffer, unsigned int length) = 0;

    // Opens the transport and runs both threads; nothing without a logging interface.
    void Start();
    // Ends both threads, dropping unsent packets, then closes the transport.
    void Stop();
    bool IsRunning() const { return m_readThread != nullptr; }
    // The oldest framed packet, waiting at most `seconds` for one; null when none came.
    std::unique_ptr<Packet> Read(int seconds);
    // Queues a copy of `pData`; a size of 0 or above 65534 queues an empty packet.
    void Write(const unsigned char* pData, unsigned int size);

    // Frames the next request whose command is below `commandLimit` into `pOutput`: its
    // length, or 0 on timeout or stop.
    unsigned int ReceiveDialinRequest(unsigned char* pOutput, unsigned int size,
                                      unsigned char commandLimit, int timeout,
                                      const std::atomic<bool>& stop);

    // Seconds a thread waits for its queue before looking at the stop flag again.
    int Timeout = 3;

private:
    const char* Identifier() const;
    void ReadWorker();
    void WriteWorker();
    void WaitForWrites();
    // What the read thread does with a framed request of the head of the buffer: checked
    // and either taken, left stuck, or the buffer emptied. The length when taken.
    unsigned int TakeRequest(unsigned char* pOutput, unsigned int size, unsigned char commandLimit);

    IParameterLoggingAPI* m_pLogging;
    std::unique_ptr<unsigned char[]> m_receiveBuffer;
    unsigned int m_receiveCount = 0;
    std::atomic<bool> m_stop{false};
    DialinEvent m_readEvent;
    DialinEvent m_writeEvent;
    DialinEvent m_spareEvent;
    std::unique_ptr<std::thread> m_readThread;
    std::unique_ptr<std::thread> m_writeThread;
    std::mutex m_readQueueLock;
    std::mutex m_writeQueueLock;
    std::deque<std::unique_ptr<Packet>> m_readQueue;
    std::deque<std::unique_ptr<Packet>> m_writeQueue;
};
