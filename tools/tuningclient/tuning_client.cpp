#include "tuningclient/tuning_client.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>

namespace tuningclient {

bool TuningClient::Connect(const std::string& address, uint16_t port) {
    Close();
    sockaddr_in server{};
    server.sin_family = AF_INET;
    server.sin_port = htons(port);
    if (inet_pton(AF_INET, address.c_str(), &server.sin_addr) != 1) {
        return false;
    }
    m_socket = socket(AF_INET, SOCK_STREAM, 0);
    if (m_socket < 0) {
        return false;
    }
    if (connect(m_socket, reinterpret_cast<const sockaddr*>(&server), sizeof(server)) != 0) {
        Close();
        return false;
    }
    return true;
}

void TuningClient::Close() {
    if (m_socket >= 0) {
        close(m_socket);
        m_socket = -1;
    }
    m_stream.clear();
}

bool TuningClient::SendRaw(const std::vector<uint8_t>& bytes) {
    size_t sent = 0;
    while (m_socket >= 0 && sent < bytes.size()) {
        const ssize_t count = send(m_socket, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (count <= 0) {
            return false;
        }
        sent += static_cast<size_t>(count);
    }
    return m_socket >= 0;
}

std::optional<Response> TuningClient::Receive(std::optional<int> timeoutMilliseconds) {
    const auto deadline = std::chrono::steady_clock::now() +
                          std::chrono::milliseconds(timeoutMilliseconds.value_or(m_timeout));
    uint8_t chunk[4096];
    for (;;) {
        if (std::optional<Response> response = TakeResponse(m_stream)) {
            return response;
        }
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (m_socket < 0 || left.count() <= 0) {
            return std::nullopt;
        }
        pollfd request{m_socket, POLLIN, 0};
        if (poll(&request, 1, static_cast<int>(left.count())) <= 0) {
            return std::nullopt;
        }
        const ssize_t count = recv(m_socket, chunk, sizeof(chunk), 0);
        if (count <= 0) {
            Close();
            return std::nullopt;
        }
        m_stream.insert(m_stream.end(), chunk, chunk + count);
    }
}

std::optional<Response> TuningClient::Exchange(const std::vector<uint8_t>& request,
                                               Command command) {
    if (request.empty() || !SendRaw(request)) {
        return std::nullopt;
    }
    std::optional<Response> response = Receive();
    if (!response || response->command != static_cast<uint16_t>(command)) {
        return std::nullopt;
    }
    return response;
}

std::optional<std::string> TuningClient::TextExchange(Command command, const std::string& text) {
    const std::vector<uint8_t> request =
        HasId(command) ? EncodeTextRequest(command, m_nextId++, text) : EncodeRequest(command);
    std::optional<Response> response = Exchange(request, command);
    if (!response) {
        return std::nullopt;
    }
    return response->Text();
}

std::optional<DeviceInfo> TuningClient::GetDeviceInfo() {
    std::optional<Response> response = Exchange(EncodeRequest(Command::DeviceInfo),
                                                Command::DeviceInfo);
    return response ? ParseDeviceInfo(*response) : std::nullopt;
}

std::optional<std::string> TuningClient::ActiveModes() {
    return TextExchange(Command::ActiveModes, {});
}

std::optional<std::string> TuningClient::ControlValues() {
    return TextExchange(Command::ControlValues, {});
}

std::optional<std::string> TuningClient::TriggerValues() {
    return TextExchange(Command::TriggerValues, {});
}

std::optional<std::string> TuningClient::ChildModes(const std::string& path) {
    return TextExchange(Command::Modes, path);
}

std::optional<std::string> TuningClient::Info(const std::string& path,
                                              const std::string& module) {
    return TextExchange(Command::Info, path + ":" + module);
}

std::optional<std::string> TuningClient::GetValues(const std::string& path,
                                                   const std::string& module,
                                                   const std::string& names) {
    return TextExchange(Command::GetValues, path + ":" + module + ":" + names);
}

std::optional<std::string> TuningClient::SetValues(const std::string& path,
                                                   const std::string& module,
                                                   const std::string& assignments) {
    return TextExchange(Command::SetValues, path + ":" + module + ":" + assignments);
}

std::optional<CustomResult> TuningClient::Custom(const std::vector<uint8_t>& payload) {
    std::optional<Response> response =
        Exchange(EncodeRequest(Command::Custom, m_nextId++, payload), Command::Custom);
    return response ? ParseCustom(*response) : std::nullopt;
}

}  // namespace tuningclient
