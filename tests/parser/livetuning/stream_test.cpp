// Framing of the byte stream: packets split and joined, and the heads that stop or reset it.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "live_tuning_test_support.h"
#include "../parser_messages.h"
#include "log_capture.h"

namespace livetuning_test {
namespace {

using tuningclient::Command;
using Bytes = std::vector<uint8_t>;

Bytes Header(uint16_t command, uint16_t length) {
    return {0x43, 0x51, static_cast<uint8_t>(command), static_cast<uint8_t>(command >> 8),
            static_cast<uint8_t>(length), static_cast<uint8_t>(length >> 8)};
}

Bytes Join(Bytes first, const Bytes& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

// Waits a bounded time until the server logged `text`.
bool Logged(const zyra_test::LogCapture& capture, const std::string& text) {
    for (int i = 0; i < 200 && !capture.Contains(text); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return capture.Contains(text);
}

// The commands of the next responses: the `expected` ones, each waited for in full, and any
// that follow within a short wait.
std::vector<uint16_t> Commands(tuningclient::TuningClient& client, size_t expected) {
    std::vector<uint16_t> commands;
    while (std::optional<tuningclient::Response> response =
               client.Receive(commands.size() < expected ? 3000 : 200)) {
        commands.push_back(response->command);
    }
    return commands;
}

TEST(LiveTuningStream, SplitJoinedAndOversizedPacketsAreFramed) {
    Served served;
    tuningclient::TuningClient& client = served.client;
    const Bytes info = tuningclient::EncodeRequest(Command::DeviceInfo);
    const Bytes modes = tuningclient::EncodeTextRequest(Command::Modes, 7, "");

    // Split: the first bytes alone must not be taken for a packet.
    ASSERT_TRUE(client.SendRaw(Bytes(modes.begin(), modes.begin() + 3)));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    ASSERT_TRUE(client.SendRaw(Bytes(modes.begin() + 3, modes.begin() + 8)));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    ASSERT_TRUE(client.SendRaw(Bytes(modes.begin() + 8, modes.end())));
    std::optional<tuningclient::Response> response = client.Receive();
    ASSERT_TRUE(response);
    EXPECT_EQ(response->Id(), 7u);
    EXPECT_EQ(response->Text(), "Usecase.Preview,Usecase.Snapshot");

    // Joined: two packets in one send answer in order.
    ASSERT_TRUE(client.SendRaw(Join(modes, info)));
    EXPECT_EQ(Commands(client, 2), (std::vector<uint16_t>{3, 0}));

    // The largest packet reaches the worker without data and is dropped; a packet of 3
    // bytes is answered as device information.
    Bytes largest = Header(1, 65535);
    largest.resize(65535, 'a');
    ASSERT_TRUE(client.SendRaw(Join(largest, info)));
    EXPECT_EQ(Commands(client, 1), (std::vector<uint16_t>{0}));
    ASSERT_TRUE(client.SendRaw(Header(1, 3)));
    EXPECT_EQ(Commands(client, 1), (std::vector<uint16_t>{0}));
}

TEST(LiveTuningStream, WrongTagDropsAllReceivedAndBadHeadsStick) {
    struct Case {
        Bytes head;
        std::string error;
        bool recovers;
    };
    const Case cases[] = {
        {{0x01, 0x02, 0x03, 0x04, 0x05, 0x06},
         "[ERROR] Dialin request missing start tag, Expected: 20803, Received: 513: 0x0102030405",
         true},
        {Header(9, 6), "[ERROR] Dialin request ID 9 exceeds Max 9", false},
        {Header(1, 0), "[ERROR] Dialin request length is zero: 0x4351010000", false},
    };
    const Bytes info = tuningclient::EncodeRequest(Command::DeviceInfo);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.error);
        Served served;
        zyra_test::LogCapture capture;
        // The good packet behind the bad head is lost either way.
        ASSERT_TRUE(served.client.SendRaw(Join(c.head, info)));
        ASSERT_TRUE(Logged(capture, c.error.substr(8)));
        const std::vector<std::string> messages = parser_test::ParserMessages(capture);
        EXPECT_NE(std::find(messages.begin(), messages.end(), c.error), messages.end());
        ASSERT_TRUE(served.client.SendRaw(info));
        EXPECT_EQ(Commands(served.client, c.recovers ? 1 : 0).size(), c.recovers ? 1u : 0u);
    }
}

}  // namespace
}  // namespace livetuning_test
