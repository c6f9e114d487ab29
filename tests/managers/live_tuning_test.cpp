// A TuningSetManager serving live tuning over loopback: its constructor makes the worker, a load
// starts it, a client finds the loaded modules, and the worker stops before the modules go.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "binwriter/tuning_binary_builder.h"
#include "parser/livetuning/parameter_dialin_worker.h"
#include "temp_dir.h"
#include "tuning_set_manager.h"
#include "tuningclient/tuning_client.h"

namespace {

class ServedTuningSetManager : public TuningSetManager {
public:
    // Stopped here too, before this class's part of the object goes.
    ~ServedTuningSetManager() override { m_dialinWorker->Stop(); }
    ParameterDialinWorker* Worker() { return m_dialinWorker; }
};

TEST(TuningSetManagerLiveTuning, ClientFindsTheLoadedModules) {
    binwriter::TuningBinaryBuilder builder({5, 0, 0});
    builder.AddMode(binwriter::ModeRecord{});
    builder.AddModule("abf21_tfe", {2, 1, 0}, 0, {1, 2, 3, 4});
    const std::vector<uint8_t> binary = builder.Build();
    zyra_test::TempDir dir;
    const std::string path = dir.Write("tuning.bin", binary);
    ServedTuningSetManager manager;
    ASSERT_NE(manager.Worker(), nullptr);
    EXPECT_FALSE(manager.Worker()->IsRunning());
    ASSERT_TRUE(manager.LoadBinaryParameters(path.c_str())) << manager.GetError();
    ASSERT_TRUE(manager.Worker()->IsRunning());

    tuningclient::TuningClient client;
    ASSERT_TRUE(client.Connect("127.0.0.1", manager.Worker()->Port()));
    EXPECT_EQ(client.Info("Default", ""), "abf21_tfe=Default,Module");
    // An opaque module has no fields to describe.
    EXPECT_EQ(client.Info("Default", "abf21_tfe"), "");
    client.Close();
}

}  // namespace
