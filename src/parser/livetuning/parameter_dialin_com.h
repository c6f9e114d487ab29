// The socket transport of the live tuning service: one listening socket and at most one
// connected client. TCP on the first free port of 64 from 20803 (33127 as internal port),
// and an abstract UNIX socket when no INET socket can be made.
#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include <atomic>
#include <cstdint>
#include <mutex>

#include "parser/livetuning/parameter_dialin_com_base.h"

class ParameterDialinCom : public ParameterDialinComBase {
public:
    static constexpr unsigned short kDefaultPort = 20803;
    static constexpr unsigned short kInternalPort = 33127;
    static constexpr unsigned int kPortAttempts = 64;
    static constexpr int kBacklog = 5;

    enum AddrType : int { INET = 0, UNIX = 1 };

    struct SocketAddress {
        static constexpr unsigned int kNameSize = 108;

        void SetupSocket(AddrType type, unsigned short port);
        void Clear();
        const sockaddr* Address() const { return reinterpret_cast<const sockaddr*>(&Storage); }

        union {
            sockaddr_un Unix;
            sockaddr_storage Any;
        } Storage = {};
        AddrType Type = INET;
        socklen_t Length = 0;
        unsigned short Port = 0;
        char PortName[kNameSize] = {};
    };

    struct SocketID {
        explicit SocketID(IParameterLoggingAPI* pLogging) : Logging(pLogging) {}

        int ReadData(unsigned char* pBuffer, unsigned int length, int timeout,
                     const std::atomic<bool>& stop);
        int WriteData(unsigned char* pBuffer, unsigned int length);
        void CloseConnection();
        void CloseSocket();

        SocketAddress Local;
        SocketAddress Remote;
        // Both written only while the write thread cannot send, or under ConnectionLock.
        int ListenSocket = -1;
        int Connection = -1;
        IParameterLoggingAPI* Logging;
        // Keeps a send from meeting a descriptor that the read thread closes and the system
        // hands out again.
        std::mutex ConnectionLock;

    private:
        // Takes a waiting client; the read loop then polls it like any connection.
        void Accept();
    };

    explicit ParameterDialinCom(IParameterLoggingAPI* pLogging);
    ~ParameterDialinCom() override;

    unsigned short StartCom() override;
    void StopCom() override;
    int ReadData(unsigned char* pBuffer, unsigned int length, int timeout,
                 const std::atomic<bool>& stop) override;
    int WriteData(unsigned char* pBuffer, unsigned int length) override;

    // The port listened on, or tried last when none could be bound.
    unsigned short Port() const { return m_socket.Local.Port; }
    bool IsListening() const { return m_socket.ListenSocket >= 0; }

    static void LogDebug(const char* pText, const SocketID& socket, const char* pFile, int line,
                         int result);
    static void LogError(const char* pText, const SocketID& socket, const char* pFile, int line,
                         int result);

    // Listen on the internal port instead of the default one.
    static bool UseInternalPort;

private:
    unsigned short OpenPort();
    void ClosePort() { m_socket.CloseSocket(); }
    int MakeSocket();

    SocketID m_socket;
};
