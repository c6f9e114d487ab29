// The command worker of the live tuning service: answers a remote tuning client's requests,
// one at a time and in order, through the set manager's text interface alone.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>

#include "parser/livetuning/dialin_protocol.h"
#include "parser/livetuning/parameter_dialin_com.h"

struct DialinRequestText;
class IParameterDataAPI;
class ParameterDialinCustomHandler;

class ParameterDialinWorker {
public:
    explicit ParameterDialinWorker(IParameterDataAPI* pDataAPI);
    ~ParameterDialinWorker();
    ParameterDialinWorker(const ParameterDialinWorker&) = delete;
    ParameterDialinWorker& operator=(const ParameterDialinWorker&) = delete;

    // Opens the server and runs the worker thread; nothing when it runs already.
    void Start();
    // Ends the threads within the read timeout and closes the server; safe to call twice.
    void Stop();
    bool IsRunning() const { return m_thread != nullptr; }
    unsigned short Port() const { return m_com.Port(); }

    // Installs the handler of Custom requests (null: none); only while stopped.
    void SetCustomHandler(ParameterDialinCustomHandler* pHandler) { m_customHandler = pHandler; }

    // True when every byte is 0 or printable ASCII; null or empty input is false.
    static bool IsPrintable(const unsigned char* pData, unsigned int size);

    // Seconds each wait for a request lasts before the stop flag is looked at.
    int Timeout = 3;

private:
    void ReadWorker();
    void HandlePacket(const ParameterDialinComBase::Packet& packet);
    void SendDeviceInfo();
    void SendText(DialinProtocol::Command command);
    // The text requests, whose payload follows the request ID.
    void SendChildModes(const unsigned char* pRequest, const DialinRequestText& request);
    void SendInfo(const unsigned char* pRequest, const DialinRequestText& request);
    void SendValues(const unsigned char* pRequest, const DialinRequestText& request);
    void SendSetValues(const unsigned char* pRequest, const DialinRequestText& request);
    void SendCustom(const unsigned char* pRequest, unsigned int size);
    // Sets the response's length and queues it.
    void Reply(unsigned char* pResponse, size_t length);
    // The named mode path of a request as shorthand.
    std::string Shorthand(const std::string& path);

    IParameterDataAPI* m_pDataAPI;
    ParameterDialinCom m_com;
    std::atomic<bool> m_stop{false};
    std::unique_ptr<std::thread> m_thread;
    ParameterDialinCustomHandler* m_customHandler = nullptr;
};
