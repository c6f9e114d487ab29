// Every command over loopback against a loaded set manager, checked by its exact response,
// one client at a time, and stopping with clients that hold their connection idle.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "../parser_messages.h"
#include "live_tuning_test_support.h"
#include "parser/livetuning/parameter_dialin_com.h"
#include "parser/livetuning/parameter_dialin_custom_handler.h"
#include "log_capture.h"

namespace livetuning_test {
namespace {

using parser_test::CountLogged;
using tuningclient::Command;

std::string Samples() {
    std::string text;
    for (unsigned int i = 0; i < kSampleCount; ++i) {
        text += (i != 0 ? "," : "") + std::to_string(i);
    }
    return text;
}

TEST(LiveTuningEndToEnd, DeviceInfoNamesTheBinaryTagOrTheHandle) {
    for (const std::string tag : {"7", ""}) {
        Served served(tag);
        ASSERT_TRUE(served.client.IsConnected());
        const IParameterDataAPI* pApi = served.manager.get();
        const auto handle = static_cast<uint64_t>(reinterpret_cast<uintptr_t>(pApi));
        char hex[32];
        std::snprintf(hex, sizeof(hex), "0x%016llx", static_cast<unsigned long long>(handle));
        const std::string name = tag.empty() ? hex : tag;

        ASSERT_TRUE(served.client.SendRaw(tuningclient::EncodeRequest(Command::DeviceInfo)));
        const std::optional<tuningclient::Response> response = served.client.Receive();
        ASSERT_TRUE(response);
        EXPECT_EQ(response->bytes.size(), name.size() + 17);
        const std::optional<tuningclient::DeviceInfo> info = ParseDeviceInfo(*response);
        ASSERT_TRUE(info);
        EXPECT_EQ(info->version, 1);
        EXPECT_EQ(info->handle, handle);
        EXPECT_EQ(info->name, name);
    }
}

TEST(LiveTuningEndToEnd, ModesValuesAndInfo) {
    Served served;
    tuningclient::TuningClient& client = served.client;
    served.manager->SetControlValues("5=1,2=2.5");

    EXPECT_EQ(client.ControlValues(), "2=2.500000,5=1");
    EXPECT_EQ(client.TriggerValues(), "");
    EXPECT_EQ(client.ChildModes(""), "Usecase.Preview,Usecase.Snapshot");
    EXPECT_EQ(client.ChildModes("Default|Usecase.Preview"), "");
    EXPECT_EQ(client.Info("Default", ""), "awb=Default,Module;lens=Default,Module");
    EXPECT_EQ(client.Info("Default|Usecase.Preview", "lens.i32"), "=22,Int32");
    EXPECT_EQ(client.Info("Default|Usecase.Preview", "lens.regions[0]"),
              "shape=7,Enum;label=first,String;weights,UInt16,3");
    EXPECT_EQ(client.GetValues("Default|Usecase.Preview", "lens", "i32,samples[64]"),
              "i32=22;samples[64]=64");
    EXPECT_EQ(client.GetValues("Default", "lens.samples"), "samples=" + Samples());
    EXPECT_EQ(client.GetValues("Default", "lens", "i32,u8"), "i32=11;u8=161");
    EXPECT_EQ(client.GetValues("Default", "nosuch", "i32"), "");
    EXPECT_EQ(client.ActiveModes(), "Default|Usecase.Preview");

    // Only the good assignments answer, with what is stored now; one without a value is
    // skipped even where the module would take an empty text.
    EXPECT_EQ(client.SetValues("Default|Usecase.Snapshot", "lens",
                               "i32=-7;name=;name;samples=;bogus=1;samples[8]=x;samples[64]=5"),
              "i32=-7;samples[64]=5");
    EXPECT_EQ(client.GetValues("Default", "lens", "i32,samples[64],samples[3],name"),
              "i32=-7;samples[64]=5;samples[3]=3;name=module name");
    EXPECT_EQ(client.GetValues("Default|Usecase.Preview", "lens", "i32"), "i32=22");
    EXPECT_EQ(client.SetValues("Default", "awb", "nosuch=1"), "");

    // Every text answer ends with exactly one nul.
    for (const Command command : {Command::Modes, Command::Info, Command::GetValues}) {
        ASSERT_TRUE(client.SendRaw(
            tuningclient::EncodeTextRequest(command, 1, "Default|Usecase.Preview:lens:i32")));
        const std::optional<tuningclient::Response> response = client.Receive();
        ASSERT_TRUE(response);
        EXPECT_EQ(response->bytes.size(), 10 + response->Text().size() + 1) << response->Text();
    }
}

class Echo : public ParameterDialinCustomHandler {
public:
    uint16_t HandleRequest(const unsigned char* pRequest, unsigned int size, uint16_t maxSize,
                           unsigned char* pResponse, uint16_t* pResponseLength) override {
        lastMax = maxSize;
        for (unsigned int i = 0; i < size; ++i) {
            pResponse[i] = static_cast<unsigned char>(pRequest[size - 1 - i]);
        }
        *pResponseLength = static_cast<uint16_t>(size);
        return 0xbeef;
    }
    uint16_t lastMax = 0;
};

TEST(LiveTuningEndToEnd, CustomGoesToTheInstalledHandlerOrAnswersZero) {
    Served served;
    zyra_test::LogCapture capture;
    const std::vector<uint8_t> payload = {1, 2, 3, 0xff};

    std::optional<tuningclient::CustomResult> result = served.client.Custom(payload);
    ASSERT_TRUE(result);
    EXPECT_EQ(result->result, 0);
    EXPECT_TRUE(result->data.empty());
    EXPECT_TRUE(capture.Contains("Dialin queued Custom command received with no handler "
                                 "installed, sending result = 0"));

    Echo echo;
    served.manager->Worker()->Stop();
    served.manager->Worker()->SetCustomHandler(&echo);
    served.manager->Worker()->Start();
    ASSERT_TRUE(served.client.Connect("127.0.0.1", served.manager->Worker()->Port()));
    result = served.client.Custom(payload);
    ASSERT_TRUE(result);
    EXPECT_EQ(result->result, 0xbeef);
    EXPECT_EQ(result->data, (std::vector<uint8_t>{0xff, 3, 2, 1}));
    EXPECT_EQ(echo.lastMax, 65523);
    EXPECT_TRUE(capture.Contains("Payload: FF030201..."));
    // Printable data, up to '~', are logged as they are.
    ASSERT_TRUE(served.client.Custom({'~', ' ', 'a'}));
    EXPECT_TRUE(capture.Contains("Payload: a ~..."));
}

// A server whose port is taken, here or by a server of a test running beside this one, takes
// the next free port above it.
TEST(LiveTuningEndToEnd, ABusyPortMovesTheServerUp) {
    const int holder = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(ParameterDialinCom::kDefaultPort);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    bind(holder, reinterpret_cast<const sockaddr*>(&address), sizeof(address));
    Served served;
    EXPECT_GT(served.manager->Worker()->Port(), ParameterDialinCom::kDefaultPort);
    close(holder);
}

TEST(LiveTuningEndToEnd, OneClientAtATimeAndStopWithIdleClients) {
    Served served;
    zyra_test::LogCapture capture;
    ParameterDialinWorker& worker = *served.manager->Worker();
    const unsigned short port = worker.Port();

    // A client that connects and goes costs one message, and the next is taken: with the
    // one of the client served so far, two.
    served.client.Close();
    tuningclient::TuningClient brief;
    ASSERT_TRUE(brief.Connect("127.0.0.1", port));
    brief.Close();
    tuningclient::TuningClient first;
    ASSERT_TRUE(first.Connect("127.0.0.1", port));
    ASSERT_TRUE(first.GetDeviceInfo());
    EXPECT_EQ(CountLogged(capture, "[DEBUG]", "Dialin client disconnected.  Resetting socket"), 2);

    // A second client waits in the backlog while the first stays.
    tuningclient::TuningClient second(300);
    ASSERT_TRUE(second.Connect("127.0.0.1", port));
    EXPECT_FALSE(second.GetDeviceInfo());
    first.Close();
    second.Close();
    tuningclient::TuningClient third;
    ASSERT_TRUE(third.Connect("127.0.0.1", port));
    EXPECT_TRUE(third.GetDeviceInfo());

    // One idle client that has been served, and a restart with a fresh client that never
    // sent anything: neither holds up a stop.
    worker.Stop();
    EXPECT_FALSE(worker.IsRunning());
    worker.Start();
    tuningclient::TuningClient silent;
    ASSERT_TRUE(silent.Connect("127.0.0.1", worker.Port()));
    // Accepted so far: brief, first, second, third and now silent.
    const char* const pAccepted = "Dialin accepted data connection";
    for (int i = 0; i < 200 && CountLogged(capture, "[DEBUG]", pAccepted) < 5; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    worker.Stop();
    worker.Stop();
    EXPECT_FALSE(worker.IsRunning());
}

}  // namespace
}  // namespace livetuning_test
