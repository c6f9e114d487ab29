// The socket transport: port fall-back, one client at a time, and stopping with clients that
// hold their connection idle.
#include <gtest/gtest.h>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "live_tuning_test_support.h"
#include "log_capture.h"

namespace livetuning_test {
namespace {

// Holds a port for the test's lifetime, unless another listener has it already.
class PortHolder {
public:
    explicit PortHolder(unsigned short port) : m_socket(socket(AF_INET, SOCK_STREAM, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_ANY);
        address.sin_port = htons(port);
        if (bind(m_socket, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0) {
            listen(m_socket, 1);
        }
    }
    ~PortHolder() { close(m_socket); }
    PortHolder(const PortHolder&) = delete;
    PortHolder& operator=(const PortHolder&) = delete;

private:
    int m_socket;
};

// The internal port range, which no other test uses, so that servers of tests running in
// parallel cannot free a port this test counts as taken.
class InternalPorts {
public:
    InternalPorts() { ParameterDialinCom::UseInternalPort = true; }
    ~InternalPorts() { ParameterDialinCom::UseInternalPort = false; }
    InternalPorts(const InternalPorts&) = delete;
    InternalPorts& operator=(const InternalPorts&) = delete;
};

int Count(const zyra_test::LogCapture& capture, const std::string& text) {
    int count = 0;
    for (const std::string& line : capture.Texts()) {
        count += line.find(text) != std::string::npos ? 1 : 0;
    }
    return count;
}

TEST(LiveTuningTransport, FallsBackToTheNextFreePortAndGivesUpAfterSixtyFour) {
    const InternalPorts internal;
    const unsigned short first = ParameterDialinCom::kInternalPort;
    {
        PortHolder taken(first);
        Served served;
        const unsigned short port = served.manager->Worker()->Port();
        EXPECT_GT(port, first);
        EXPECT_LT(port, first + ParameterDialinCom::kPortAttempts);
        EXPECT_TRUE(served.client.GetDeviceInfo());
    }
    std::vector<std::unique_ptr<PortHolder>> all;
    for (unsigned int i = 0; i < ParameterDialinCom::kPortAttempts; ++i) {
        all.push_back(std::make_unique<PortHolder>(first + i));
    }
    zyra_test::LogCapture capture;
    ParameterDialinCom com(nullptr);
    com.StartCom();
    EXPECT_FALSE(com.IsListening());
    EXPECT_EQ(Count(capture, "Dialin Server bind failed"), 64);
    EXPECT_EQ(Count(capture, "Dialin Failed to bind any ports, Socket: "), 1);
}

TEST(LiveTuningTransport, AbstractUnixAddressOfTheInternalPort) {
    ParameterDialinCom::SocketAddress address;
    address.SetupSocket(ParameterDialinCom::UNIX, ParameterDialinCom::kInternalPort);
    EXPECT_EQ(address.Length, 14u);
    EXPECT_EQ(std::string(address.PortName), "#Dialin8167");
    const char expected[] = "\0Dialin8167";
    EXPECT_EQ(std::memcmp(address.Storage.Unix.sun_path, expected, sizeof(expected)), 0);
    EXPECT_EQ(address.Storage.Unix.sun_family, AF_UNIX);
}

TEST(LiveTuningTransport, OneClientAtATimeAndStopWithIdleClients) {
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
    EXPECT_EQ(Count(capture, "Dialin client disconnected.  Resetting socket"), 2);

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
    for (int i = 0; i < 200 && Count(capture, "Dialin accepted data connection") < 5; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    worker.Stop();
    worker.Stop();
    EXPECT_FALSE(worker.IsRunning());
}

}  // namespace
}  // namespace livetuning_test
