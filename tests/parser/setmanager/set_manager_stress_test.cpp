// Several threads on one on-demand set manager: clients swapping modules along different
// branches, a tuner setting values by path, and updates replacing the binary underneath; and
// the control and trigger tables written and read from several threads, where a reader must
// find one whole trigger table or the other, never a mix. Every thread runs a fixed number of
// rounds and stops by itself.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "binwriter/tuning_binary_builder.h"
#include "parser/setmanager/module_data.h"
#include "parser/setmanager/parameter_ct_value.h"
#include "set_manager_test_support.h"
#include "temp_dir.h"

namespace setmanager_test {
namespace {

constexpr unsigned int kUseCases = 24;
constexpr unsigned int kReaders = 4;
constexpr unsigned int kReaderRounds = 1500;
constexpr unsigned int kTunerRounds = 300;
constexpr unsigned int kUpdates = 3;

// Default "abc"; use cases 0 to 23, each with "abc" and a Feature2.MFNRBlend child holding
// "abc" and Scene.Night below that. Values are `base` plus 100 + use case, and plus 200 + use
// case in the children.
std::vector<uint8_t> Binary(uint32_t base) {
    binwriter::TuningBinaryBuilder builder({5, 0, 0});
    builder.AddMode(Record(0, 0));
    builder.AddModule("abc", {1, 0, 0}, 0, ValueBytes(builder, base + 1));
    for (uint16_t i = 0; i < kUseCases; ++i) {
        const uint32_t useCase = builder.AddMode(Record(2, i, 0));
        builder.AddModule("abc", {1, 0, 0}, useCase, ValueBytes(builder, base + 100 + i));
        const uint32_t blend = builder.AddMode(Record(4, 4, useCase));
        builder.AddModule("abc", {1, 0, 0}, blend, ValueBytes(builder, base + 200 + i));
        builder.AddMode(Record(5, 5, blend));
    }
    return builder.Build();
}

// A branch of depth 4 or 2 for round `round` of reader `reader`.
std::string PathFor(unsigned int reader, unsigned int round) {
    const unsigned int useCase = (reader * 7 + round) % kUseCases;
    const std::string useCasePath = "0.0|2." + std::to_string(useCase);
    return round % 3 == 0 ? useCasePath : useCasePath + "|4.4|5.5";
}

TEST(SetManagerStress, ClientsTunerAndUpdatesOnOneSetManager) {
    zyra_test::TempDir dir;
    const std::vector<uint8_t> original = Binary(0);
    const std::string path = dir.Write("stress.bin", std::string(original.begin(), original.end()));
    TestSetManager manager;
    manager.Register("abc");
    manager.SetOnDemand(true);
    manager.SetMaxActiveModes(17);
    manager.SetLogging(true, true, false);
    ASSERT_TRUE(manager.LoadBinaryParameters(path.c_str()));

    std::atomic<unsigned int> failures{0};
    std::atomic<bool> start{false};
    std::atomic<unsigned int> readerRounds{0};
    const auto waitForStart = [&start] {
        while (!start.load()) {
            std::this_thread::yield();
        }
    };
    std::vector<std::thread> threads;
    for (unsigned int reader = 0; reader < kReaders; ++reader) {
        threads.emplace_back([&, reader] {
            waitForStart();
            ParameterModule* pHeld = nullptr;
            for (unsigned int round = 0; round < kReaderRounds; ++round) {
                const std::vector<TuningMode> branch = Branch(PathFor(reader, round));
                auto* pModule = static_cast<Module*>(manager.GetModule(
                    "abc", branch.data(), static_cast<unsigned int>(branch.size()), pHeld));
                // Whatever binary is current, the value belongs to the branch's use case.
                const uint32_t value = pModule != nullptr ? pModule->u32 % 1000 : 0;
                if (value < 100 || value >= 200 + kUseCases) {
                    ++failures;
                }
                pHeld = pModule;
                ++readerRounds;
                std::this_thread::yield();
            }
            if (pHeld != nullptr) {
                pHeld->Release();
            }
        });
    }
    threads.emplace_back([&] {
        waitForStart();
        for (unsigned int round = 0; round < kTunerRounds; ++round) {
            const std::string modePath = PathFor(kReaders, round);
            if (!manager.SetValue(modePath.c_str(), "abc", "samples[0]",
                                  std::to_string(round).c_str())) {
                ++failures;
            }
        }
    });
    threads.emplace_back([&] {
        waitForStart();
        for (uint32_t update = 1; update <= kUpdates; ++update) {
            // Spread over the clients' run; they finish on their own, so this wait ends.
            while (readerRounds.load() < update * kReaders * kReaderRounds / (kUpdates + 1)) {
                std::this_thread::yield();
            }
            std::vector<uint8_t> binary = Binary(1000 * update);
            if (!manager.UpdateBinaryParameters(binary.data(), binary.size())) {
                ++failures;
            }
        }
    });
    start = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(failures.load(), 0u);
    EXPECT_EQ(manager.UpdateSetCount(), kUpdates);
    EXPECT_EQ(manager.ValueSetCount(), kTunerRounds);
    EXPECT_EQ(Get(manager, "abc", "0.0|2.5|4.4")->u32, 1000 * kUpdates + 205);
}

TEST(ControlValuesConcurrency, SetAndGetFromSeveralThreads) {
    constexpr int kIterations = 1000;
    TestSetManager manager;
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int w = 0; w < 4; ++w) {
        threads.emplace_back([&manager, w] {
            for (int i = 1; i <= kIterations; ++i) {
                manager.SetControlValue(ParameterCTValue(w * 10, i));
                char text[256];
                manager.GetControlValues(text, sizeof(text));
            }
        });
    }
    for (int t = 0; t < 2; ++t) {
        threads.emplace_back([&manager, &failures, t] {
            for (int i = 0; i < kIterations; ++i) {
                manager.SetTriggerValues((i + t) % 2 == 0 ? "1=1,2=2,5=5" : "3=3,4=4");
                char text[64];
                if (!manager.GetTriggerValues(text, sizeof(text)) ||
                    (std::strcmp(text, "1=1,2=2,5=5") != 0 && std::strcmp(text, "3=3,4=4") != 0)) {
                    ++failures;
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(failures.load(), 0);
    char text[256];
    EXPECT_TRUE(manager.GetControlValues(text, sizeof(text)));
    EXPECT_STREQ(text, "0=1000,10=1000,20=1000,30=1000");
}

}  // namespace
}  // namespace setmanager_test
