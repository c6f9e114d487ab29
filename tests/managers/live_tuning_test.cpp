// A TuningSetManager serving live tuning over loopback once a written binary is loaded: a
// client walks a typed tree-form module by path, changes it, and finds an opaque module
// without fields.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "binwriter/tuning_binary_builder.h"
#include "binwriter/value_writer.h"
#include "parser/livetuning/parameter_dialin_worker.h"
#include "temp_dir.h"
#include "tuning_set_manager.h"
#include "tuningclient/tuning_client.h"

namespace {

constexpr unsigned int kCurve = 65;

class ServedTuningSetManager : public TuningSetManager {
public:
    // Stopped here too, before this class's part of the object goes.
    ~ServedTuningSetManager() override { m_dialinWorker->Stop(); }
    ParameterDialinWorker* Worker() { return m_dialinWorker; }
};

// gamma16_ife_v2 with three control variables over one trigger node of one region, whose red
// curve counts up from 0.5 in steps of 1/4; and the opaque abf21_tfe.
std::vector<uint8_t> Binary() {
    binwriter::TuningBinaryBuilder builder({5, 0, 0});
    builder.AddMode(binwriter::ModeRecord{});
    binwriter::ValueWriter curves(builder);
    for (unsigned int channel = 0; channel < 3; ++channel) {
        std::vector<float> curve(kCurve);
        for (unsigned int i = 0; i < kCurve; ++i) {
            curve[i] = 0.5f + static_cast<float>(channel * 100 + i) / 4.f;
        }
        curves.Packed(curve);
    }
    const uint32_t regions = builder.AddPointerTarget(curves.Bytes());
    const uint32_t noChildren = builder.AddPointerTarget({});
    binwriter::ValueWriter node(builder);
    node.Float(1.f).Float(2.f).U32(0).Pointer(noChildren).U32(1).Pointer(regions);
    const uint32_t nodes = builder.AddPointerTarget(node.Bytes());
    binwriter::ValueWriter variables(builder);
    variables.U32(3).U32(1000).U32(76);
    const uint32_t variableEntry = builder.AddPointerTarget(variables.Bytes());
    binwriter::ValueWriter top(builder);
    top.I32(1).I32(1).I32(6).I32(1).String("rev 7");
    top.U32(3).Pointer(variableEntry).Float(0.25f).Float(0.75f).U32(1).Pointer(nodes);
    builder.AddModule("gamma16_ife_v2", {1, 6, 1}, 0, top.Bytes());
    builder.AddModule("abf21_tfe", {2, 1, 0}, 0, {1, 2, 3, 4});
    return builder.Build();
}

TEST(TuningSetManagerLiveTuning, ClientReadsAndChangesTheLoadedModules) {
    zyra_test::TempDir dir;
    const std::vector<uint8_t> binary = Binary();
    const std::string path = dir.Write("tuning.bin", std::string(binary.begin(), binary.end()));
    ServedTuningSetManager manager;
    ASSERT_NE(manager.Worker(), nullptr);
    EXPECT_FALSE(manager.Worker()->IsRunning());
    ASSERT_TRUE(manager.LoadBinaryParameters(path.c_str())) << manager.GetError();
    ASSERT_TRUE(manager.Worker()->IsRunning());

    tuningclient::TuningClient client;
    ASSERT_TRUE(client.Connect("127.0.0.1", manager.Worker()->Port()));
    const std::string gamma = "gamma16_ife_v2";
    const std::string curve =
        "lumatrope_gamma16_core.mod_gamma16_trigger_data[0].region[0].channel_r_tab.channel_r";
    EXPECT_EQ(client.Info("Default", ""), "abf21_tfe=Default,Module;gamma16_ife_v2=Default,Module");
    EXPECT_EQ(client.Info("Default", gamma),
              "enable_section,Structure;module_version,Structure;parameter_version,Structure;"
              "control_variables,Structure;private_information,Structure;"
              "lumatrope_gamma16_core,Structure");
    EXPECT_EQ(client.GetValues("Default", gamma, "parameter_version.revision," + curve + "[2]"),
              "parameter_version.revision=rev 7;" + curve + "[2]=1");
    EXPECT_EQ(client.GetValues("Default", gamma + ".control_variables.control_var_type"),
              "control_var_type=3,1000,76");

    const std::string trigger = "private_information.led_sensitivity_trigger.";
    EXPECT_EQ(client.SetValues("Default", gamma, trigger + "end=0.5;" + trigger + "nosuch=1"),
              trigger + "end=0.5");
    EXPECT_EQ(client.GetValues("Default", gamma, trigger + "start," + trigger + "end"),
              trigger + "start=0.25;" + trigger + "end=0.5");
    // An opaque module has no fields to describe.
    EXPECT_EQ(client.Info("Default", "abf21_tfe"), "");
    client.Close();
}

}  // namespace
