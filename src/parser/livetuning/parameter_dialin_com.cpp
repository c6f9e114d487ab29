#include "parser/livetuning/parameter_dialin_com.h"

#include <netinet/in.h>
#include <poll.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "parser/foundation/parameter_logging.h"

bool ParameterDialinCom::UseInternalPort = false;

namespace {

constexpr int kPollMilliseconds = 100;
// A client that stops reading must not hold the write thread, and with it a stop, for good.
constexpr time_t kSendTimeoutSeconds = 3;

void LogSocket(ParameterLogging::ParameterLogLevel level, const char* pText,
               const ParameterDialinCom::SocketID& socket, const char* pFile, int line,
               int result) {
    const int descriptor = socket.Connection >= 0 ? socket.Connection : socket.ListenSocket;
    ParameterLogging::Write(socket.Logging, level, pFile, line,
                            "%s, Socket: %d, Port: %s: Result: %d, errno: %d", pText, descriptor,
                            socket.Local.PortName, result, errno);
}

}  // namespace

void ParameterDialinCom::SocketAddress::Clear() {
    Storage = {};
    Length = 0;
}

void ParameterDialinCom::SocketAddress::SetupSocket(AddrType type, unsigned short port) {
    Clear();
    Type = type;
    Port = port;
    if (type == UNIX) {
        std::snprintf(PortName, sizeof(PortName), "#Dialin%x", port);
        // A leading nul makes the name an abstract address, gone with the socket.
        std::memcpy(Storage.Unix.sun_path, PortName, sizeof(Storage.Unix.sun_path));
        Storage.Unix.sun_path[0] = '\0';
        Storage.Unix.sun_family = AF_UNIX;
        Length = static_cast<socklen_t>(std::strlen(PortName) + 3);
    } else {
        std::snprintf(PortName, sizeof(PortName), "0x%x", port);
        auto* pInet = reinterpret_cast<sockaddr_in*>(&Storage.Any);
        pInet->sin_family = AF_INET;
        pInet->sin_addr.s_addr = htonl(INADDR_ANY);
        pInet->sin_port = htons(port);
        Length = sizeof(sockaddr_in);
    }
}

ParameterDialinCom::ParameterDialinCom(IParameterLoggingAPI* pLogging)
    : ParameterDialinComBase(pLogging), m_socket(pLogging) {
    m_socket.Local.SetupSocket(INET, kDefaultPort);
    m_socket.Remote.SetupSocket(INET, kDefaultPort);
    m_socket.Local.Clear();
    m_socket.Remote.Clear();
}

ParameterDialinCom::~ParameterDialinCom() {
    // The threads call into this object, so they end before it does.
    if (IsRunning()) {
        Stop();
    }
    ClosePort();
}

// Sockets need no start-up on this platform, so every start just opens the port.
unsigned short ParameterDialinCom::StartCom() { return OpenPort(); }

void ParameterDialinCom::StopCom() { ClosePort(); }

int ParameterDialinCom::ReadData(unsigned char* pBuffer, unsigned int length, int timeout,
                                 const std::atomic<bool>& stop) {
    return m_socket.ReadData(pBuffer, length, timeout, stop);
}

int ParameterDialinCom::WriteData(unsigned char* pBuffer, unsigned int length) {
    return m_socket.WriteData(pBuffer, length);
}

void ParameterDialinCom::LogDebug(const char* pText, const SocketID& socket, const char* pFile,
                                  int line, int result) {
    LogSocket(ParameterLogging::Debug, pText, socket, pFile, line, result);
}

void ParameterDialinCom::LogError(const char* pText, const SocketID& socket, const char* pFile,
                                  int line, int result) {
    LogSocket(ParameterLogging::Error, pText, socket, pFile, line, result);
}

int ParameterDialinCom::MakeSocket() {
    int descriptor = socket(AF_INET, SOCK_STREAM, 0);
    if (descriptor >= 0) {
        LogDebug("Dialin Server INET socket created", m_socket, __FILE__, __LINE__, descriptor);
        return descriptor;
    }
    LogDebug("Dialin Server INET socket create failed", m_socket, __FILE__, __LINE__, descriptor);
    if (UseInternalPort) {
        return descriptor;
    }
    m_socket.Local.SetupSocket(UNIX, kInternalPort);
    m_socket.Remote.SetupSocket(UNIX, kInternalPort);
    descriptor = socket(AF_UNIX, SOCK_STREAM, 0);
    if (descriptor >= 0) {
        LogDebug("Dialin Server UNIX socket created", m_socket, __FILE__, __LINE__, descriptor);
    } else {
        LogError("Dialin Server UNIX socket create failed", m_socket, __FILE__, __LINE__,
                 descriptor);
    }
    return descriptor;
}

unsigned short ParameterDialinCom::OpenPort() {
    if (m_socket.ListenSocket >= 0) {
        return m_socket.Local.Port;
    }
    const unsigned short port = UseInternalPort ? kInternalPort : kDefaultPort;
    m_socket.Local.SetupSocket(INET, port);
    m_socket.Remote.SetupSocket(INET, port);
    const int descriptor = MakeSocket();
    if (descriptor < 0) {
        LogError("Dialin Server socket create failed", m_socket, __FILE__, __LINE__, descriptor);
        return m_socket.Local.Port;
    }
    for (unsigned int attempt = 0; attempt < kPortAttempts; ++attempt) {
        const int result = bind(descriptor, m_socket.Local.Address(), m_socket.Local.Length);
        if (result == 0) {
            listen(descriptor, kBacklog);
            m_socket.ListenSocket = descriptor;
            LogDebug("Dialin Server bound", m_socket, __FILE__, __LINE__, result);
            return m_socket.Local.Port;
        }
        LogDebug("Dialin Server bind failed", m_socket, __FILE__, __LINE__, result);
        m_socket.Local.SetupSocket(m_socket.Local.Type,
                                   static_cast<unsigned short>(m_socket.Local.Port + 1));
    }
    LogError("Dialin Failed to bind any ports", m_socket, __FILE__, __LINE__, -1);
    close(descriptor);
    return m_socket.Local.Port;
}

void ParameterDialinCom::SocketID::Accept() {
    socklen_t length = sizeof(Remote.Storage);
    const int connection =
        accept(ListenSocket, reinterpret_cast<sockaddr*>(&Remote.Storage), &length);
    if (connection < 0) {
        return;
    }
    Remote.Length = length;
    const timeval sendTimeout{kSendTimeoutSeconds, 0};
    setsockopt(connection, SOL_SOCKET, SO_SNDTIMEO, &sendTimeout, sizeof(sendTimeout));
    {
        std::lock_guard<std::mutex> lock(ConnectionLock);
        Connection = connection;
    }
    ParameterLogging::Write(Logging, ParameterLogging::Debug, __FILE__, __LINE__,
                            "Dialin accepted data connection on port %s", Local.PortName);
}

int ParameterDialinCom::SocketID::ReadData(unsigned char* pBuffer, unsigned int length,
                                           int timeout, const std::atomic<bool>& stop) {
    const std::time_t start = std::time(nullptr);
    for (;;) {
        // A freshly accepted client is polled like any other, so that one that never sends
        // cannot hold this thread in recv past a stop.
        if (Connection >= 0) {
            pollfd request{Connection, POLLIN, 0};
            if (poll(&request, 1, kPollMilliseconds) > 0) {
                break;
            }
        } else {
            pollfd request{ListenSocket, POLLIN, 0};
            if (poll(&request, 1, kPollMilliseconds) > 0) {
                Accept();
                continue;
            }
        }
        if (stop) {
            return 0;
        }
        if (timeout >= 0 && std::difftime(std::time(nullptr), start) >= timeout) {
            return 0;
        }
    }
    const ssize_t count = recv(Connection, pBuffer, length, 0);
    if (count < 1) {
        ParameterDialinCom::LogDebug("Dialin client disconnected.  Resetting socket", *this,
                                     __FILE__, __LINE__, static_cast<int>(count));
        CloseConnection();
        return -1;
    }
    return static_cast<int>(count);
}

int ParameterDialinCom::SocketID::WriteData(unsigned char* pBuffer, unsigned int length) {
    std::lock_guard<std::mutex> lock(ConnectionLock);
    // A client gone in the meantime must cost an error, not the process.
    return static_cast<int>(send(Connection, pBuffer, length, MSG_NOSIGNAL));
}

void ParameterDialinCom::SocketID::CloseConnection() {
    std::lock_guard<std::mutex> lock(ConnectionLock);
    if (Connection >= 0) {
        close(Connection);
        Connection = -1;
    }
}

void ParameterDialinCom::SocketID::CloseSocket() {
    if (ListenSocket >= 0) {
        CloseConnection();
        close(ListenSocket);
        ListenSocket = -1;
        Local.Clear();
        Remote.Clear();
    }
}
