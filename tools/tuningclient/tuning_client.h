// A client of the live tuning service over TCP: one connection, one request at a time, each
// call waiting a bounded time for its response. Every call that fails (not connected, send
// error, timeout, broken stream) answers an empty optional.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tuningclient/tuning_packet.h"

namespace tuningclient {

class TuningClient {
public:
    explicit TuningClient(int timeoutMilliseconds = 3000) : m_timeout(timeoutMilliseconds) {}
    ~TuningClient() { Close(); }
    TuningClient(const TuningClient&) = delete;
    TuningClient& operator=(const TuningClient&) = delete;

    // Connects to an IPv4 address such as "127.0.0.1".
    bool Connect(const std::string& address, uint16_t port);
    void Close();
    bool IsConnected() const { return m_socket >= 0; }

    // Sends bytes as they are, framed or not.
    bool SendRaw(const std::vector<uint8_t>& bytes);
    // The next whole response, waiting at most the given time (default: the client's).
    std::optional<Response> Receive(std::optional<int> timeoutMilliseconds = std::nullopt);

    std::optional<DeviceInfo> GetDeviceInfo();
    std::optional<std::string> ActiveModes();
    std::optional<std::string> ControlValues();
    std::optional<std::string> TriggerValues();
    // Children of a named mode path ("" for the root), as "Mode.SubMode" joined by ",".
    std::optional<std::string> ChildModes(const std::string& path);
    // Modules of a mode path (empty `module`), or the fields of one module.
    std::optional<std::string> Info(const std::string& path, const std::string& module);
    // "name=value" joined by ";"; all fields that `module` names when `names` is empty.
    std::optional<std::string> GetValues(const std::string& path, const std::string& module,
                                         const std::string& names = {});
    // Assignments "name=value" joined by ";"; answers what was stored, read back.
    std::optional<std::string> SetValues(const std::string& path, const std::string& module,
                                         const std::string& assignments);
    std::optional<CustomResult> Custom(const std::vector<uint8_t>& payload);

private:
    std::optional<Response> Exchange(const std::vector<uint8_t>& request, Command command);
    std::optional<std::string> TextExchange(Command command, const std::string& text);

    int m_socket = -1;
    int m_timeout;
    uint32_t m_nextId = 1;
    std::vector<uint8_t> m_stream;
};

}  // namespace tuningclient
