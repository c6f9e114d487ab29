// Modules of every field kind written by the writer and loaded through the generated class,
// packed and in 8-byte slots.
#include <gtest/gtest.h>

#include "engine_test_support.h"
#include "log_capture.h"

namespace engine_test {
namespace {

constexpr zyra_test::ValueSource kValues{0xE261, 0};

class RoundTrip : public ::testing::TestWithParam<unsigned int> {};

TEST_P(RoundTrip, EveryFieldKindLoadsAndUnloads) {
    zyra_test::LogCapture capture;
    binwriter::TuningBinaryBuilder builder(FormatWithAlignment(GetParam()));
    const ParameterEngine::StructDescriptor& top = *enginetestTypeClass::Descriptor().top;
    std::vector<uint8_t> bytes = zyra_test::PathValueWriter(builder).Module(top, kValues);
    uint32_t moduleId = builder.AddModule("enginetest", kModuleVersion, 0, bytes);
    LoadedBinary binary(builder);
    ASSERT_TRUE(binary.Loaded());

    enginetestTypeClass* pModule = binary.Create(moduleId);
    ASSERT_NE(pModule, nullptr);
    ASSERT_TRUE(pModule->LoadModule(&binary.Table()));
    EXPECT_EQ(Errors(capture), Messages{});
    EXPECT_EQ(CheckValues(*pModule, kValues), "");
    EXPECT_EQ(pModule->ModuleID, moduleId);
    EXPECT_EQ(pModule->extraID, moduleId);
    EXPECT_NE(pModule->samplesID, 0u);
    EXPECT_EQ(pModule->GetModified(), 1u);

    // A second load of a loaded module does nothing and counts nothing.
    ASSERT_TRUE(pModule->LoadModule(&binary.Table()));
    EXPECT_EQ(pModule->Modified, 1u);

    // Unloading gives back the memory and keeps the scalars, counts and exists words.
    const uint32_t regions = pModule->regionsCount;
    const uint64_t u64 = pModule->u64;
    pModule->UnloadModule();
    EXPECT_FALSE(pModule->Loaded);
    EXPECT_EQ(pModule->name, nullptr);
    EXPECT_EQ(pModule->samples, nullptr);
    EXPECT_EQ(pModule->regions, nullptr);
    EXPECT_EQ(pModule->extra.label, nullptr);
    EXPECT_EQ(pModule->extra.weights, nullptr);
    EXPECT_EQ(pModule->regionsCount, regions);
    EXPECT_EQ(pModule->u64, u64);

    // Loading again after an unload reads everything anew; a change generation in the top
    // byte of the ID does not hide the entry.
    pModule->ModuleID |= 0x05000000;
    ASSERT_TRUE(pModule->LoadModule(&binary.Table()));
    EXPECT_EQ(CheckValues(*pModule, kValues), "");
    EXPECT_EQ(pModule->ModuleID >> 24, 5u);
    EXPECT_EQ(pModule->Modified, 2u);

    pModule->UnloadModule();
    pModule->ModuleID = 0x999;
    capture.Clear();
    EXPECT_FALSE(pModule->LoadModule(&binary.Table()));
    Messages errors = Errors(capture);
    ASSERT_EQ(errors.size(), 2u);
    EXPECT_EQ(errors[1],
              "[ERROR] enginetestTypeClass::LoadModule Failed to find module ID (2457) in Symbol "
              "Table\n");
    EXPECT_FALSE(pModule->Loaded);
    EXPECT_EQ(pModule->Modified, 3u);
}

INSTANTIATE_TEST_SUITE_P(Alignment, RoundTrip, ::testing::Values(1u, 8u));

}  // namespace
}  // namespace engine_test
