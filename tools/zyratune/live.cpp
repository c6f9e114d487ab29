// serve and tune: both ends of the live tuning service. serve loads a binary into a set
// manager with a live tuning worker and waits for SIGINT or SIGTERM; tune sends one request
// through the client library and prints the answer.
#include <chrono>
#include <csignal>
#include <cstdio>
#include <thread>

#include "commands.h"
#include "opened_binary.h"
#include "tool_error.h"
#include "tuningclient/tuning_client.h"

namespace zyratune {
namespace {

using tuningclient::TuningClient;

struct Target {
    std::string host = "127.0.0.1";
    uint16_t port = 0;
};

Target ParseTarget(const std::string& text) {
    Target target;
    const size_t colon = text.rfind(':');
    const std::string port = colon == std::string::npos ? text : text.substr(colon + 1);
    if (colon != std::string::npos && colon != 0) {
        target.host = text.substr(0, colon);
    }
    if (port.empty() || port.size() > 5 ||
        port.find_first_not_of("0123456789") != std::string::npos ||
        std::stoul(port) == 0 || std::stoul(port) > 65535) {
        throw ToolError("bad port in '" + text + "'", kExitUsage);
    }
    target.port = static_cast<uint16_t>(std::stoul(port));
    return target;
}

std::string Hex(const std::vector<uint8_t>& bytes) {
    std::string text;
    char pair[3];
    for (uint8_t byte : bytes) {
        std::snprintf(pair, sizeof(pair), "%02x", byte);
        text += pair;
    }
    return text;
}

std::vector<uint8_t> FromHex(const std::string& text) {
    if (text.size() % 2 != 0 ||
        text.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
        throw ToolError("custom payload '" + text + "' is not hex bytes", kExitUsage);
    }
    std::vector<uint8_t> bytes;
    for (size_t i = 0; i < text.size(); i += 2) {
        bytes.push_back(static_cast<uint8_t>(std::stoul(text.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

struct TuneCommand {
    const char* name;
    size_t minArguments;
    size_t maxArguments;
};

// The commands of the protocol with the arguments each takes.
const TuneCommand kTuneCommands[] = {
    {"device-info", 0, 0}, {"active-modes", 0, 0}, {"control-values", 0, 0},
    {"trigger-values", 0, 0}, {"modes", 0, 1}, {"info", 1, 2},
    {"get", 2, 3}, {"set", 3, 3}, {"custom", 0, 1},
};

std::optional<std::string> Request(TuningClient& client, const std::string& name,
                                   const std::vector<std::string>& a) {
    auto arg = [&](size_t i) { return i < a.size() ? a[i] : std::string(); };
    if (name == "device-info") {
        std::optional<tuningclient::DeviceInfo> info = client.GetDeviceInfo();
        if (!info) return std::nullopt;
        char handle[24];
        std::snprintf(handle, sizeof(handle), "0x%016llx",
                      static_cast<unsigned long long>(info->handle));
        return "version " + std::to_string(info->version) + ", handle " + handle + ", name " +
               info->name;
    }
    if (name == "active-modes") return client.ActiveModes();
    if (name == "control-values") return client.ControlValues();
    if (name == "trigger-values") return client.TriggerValues();
    if (name == "modes") return client.ChildModes(arg(0));
    if (name == "info") return client.Info(arg(0), arg(1));
    if (name == "get") return client.GetValues(arg(0), arg(1), arg(2));
    if (name == "set") return client.SetValues(arg(0), arg(1), arg(2));
    std::optional<tuningclient::CustomResult> custom = client.Custom(FromHex(arg(0)));
    if (!custom) return std::nullopt;
    return "result " + std::to_string(custom->result) + ", data " + Hex(custom->data);
}

volatile std::sig_atomic_t g_stop = 0;

void OnSignal(int) { g_stop = 1; }

}  // namespace

int Serve(const std::string& file, std::ostream& out) {
    OpenedBinary binary = OpenBinary(file, true);
    unsigned short port = 0;
    // The worker opens its port on a thread of its own.
    for (int i = 0; i < 100 && (port = binary.tool->LiveTuningPort()) == 0; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    if (port == 0) {
        throw ToolError(file + ": the live tuning server did not start");
    }
    std::signal(SIGINT, OnSignal);
    std::signal(SIGTERM, OnSignal);
    out << "serving " << file << " (" << binary.managerName << ") on port " << port << std::endl;
    while (g_stop == 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    out << "stopped" << std::endl;
    return 0;
}

int Tune(const std::string& targetText, const std::vector<std::string>& command,
         std::ostream& out) {
    const Target target = ParseTarget(targetText);
    const TuneCommand* pCommand = nullptr;
    for (const TuneCommand& candidate : kTuneCommands) {
        if (!command.empty() && command[0] == candidate.name) pCommand = &candidate;
    }
    const std::vector<std::string> arguments(command.empty() ? command.end() : command.begin() + 1,
                                             command.end());
    if (pCommand == nullptr || arguments.size() < pCommand->minArguments ||
        arguments.size() > pCommand->maxArguments) {
        throw ToolError("tune: unknown command or wrong arguments; one of device-info, "
                        "active-modes, control-values, trigger-values, modes [PATH], info PATH "
                        "[MODULE], get PATH MODULE [NAMES], set PATH MODULE ASSIGNMENTS, "
                        "custom [HEX]",
                        kExitUsage);
    }
    if (pCommand->name == std::string("custom")) {
        FromHex(arguments.empty() ? "" : arguments[0]);  // a bad payload is a usage error
    }
    TuningClient client;
    if (!client.Connect(target.host, target.port)) {
        throw ToolError(target.host + ":" + std::to_string(target.port) + ": cannot connect");
    }
    std::optional<std::string> answer = Request(client, pCommand->name, arguments);
    if (!answer) {
        throw ToolError(target.host + ":" + std::to_string(target.port) + ": no answer to " +
                        pCommand->name);
    }
    out << *answer << "\n";
    return 0;
}

}  // namespace zyratune
