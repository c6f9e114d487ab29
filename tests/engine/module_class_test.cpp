// The generated module class: creation from its prototype, loading its entry, and clones.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "engine_test_support.h"
#include "log_capture.h"

namespace engine_test {
namespace {

TEST(ModuleClass, CreateChecksVersionThenNameAndSharesInstancesById) {
    zyra_test::LogCapture capture;
    binwriter::TuningBinaryBuilder builder(FormatWithAlignment(1));
    uint32_t first = builder.AddModule("enginetest", kModuleVersion, 0, {});
    uint32_t copy = builder.AddSymbol({"enginetest", kModuleVersion, 0, {}, first, {}});
    uint32_t newer = builder.AddModule("enginetest", {1, 0, 1}, 0, {});
    uint32_t other = builder.AddModule("other", kModuleVersion, 0, {});
    uint32_t otherNewer = builder.AddModule("other", {2, 0, 0}, 0, {});
    LoadedBinary binary(builder);
    ASSERT_TRUE(binary.Loaded());

    enginetestTypeClass* pFirst = binary.Create(first);
    ASSERT_NE(pFirst, nullptr);
    EXPECT_STREQ(pFirst->Name, "enginetest");
    EXPECT_EQ(pFirst->ModuleID, first);
    EXPECT_EQ(binary.Create(first), pFirst);
    EXPECT_EQ(binary.Create(copy), pFirst);

    capture.Clear();
    EXPECT_EQ(binary.Create(newer), nullptr);
    EXPECT_EQ(binary.Create(other), nullptr);
    EXPECT_EQ(binary.Create(otherNewer), nullptr);
    EXPECT_EQ(Errors(capture),
              (Messages{"[ERROR] Unable to create enginetestTypeClass, binary version "
                        "(4294967297) does not match source version (1)\n",
                        "[ERROR] Unable to create enginetestTypeClass, binary name (other) does "
                        "not match source name (enginetest)\n",
                        "[ERROR] Unable to create enginetestTypeClass, binary version (2) does "
                        "not match source version (1)\n"}));

    const std::string twin = "enginetest_twin";
    EXPECT_NE(enginetestTypeClass::GetName(twin.c_str()), twin.c_str());
    EXPECT_STREQ(enginetestTypeClass::GetName(twin.c_str()), "enginetest_twin");
    const char* pUnknown = "enginetest_unknown";
    EXPECT_EQ(enginetestTypeClass::GetName(pUnknown), pUnknown);
}

TEST(ModuleClass, CloneSharesNothingWithItsSourceAndOutlivesIt) {
    zyra_test::LogCapture capture;
    binwriter::TuningBinaryBuilder builder(FormatWithAlignment(8));
    const zyra_test::ValueSource values{0xC10E, 0};
    const ParameterEngine::StructDescriptor& top = *enginetestTypeClass::Descriptor().top;
    uint32_t id = builder.AddModule("enginetest", kModuleVersion, 0,
                                    zyra_test::PathValueWriter(builder).Module(top, values));
    LoadedBinary binary(builder);
    enginetestTypeClass* pSource = binary.Create(id);
    ASSERT_NE(pSource, nullptr);
    ASSERT_TRUE(pSource->LoadModule(&binary.Table()));
    // A second load of a loaded module does nothing and counts nothing.
    ASSERT_TRUE(pSource->LoadModule(&binary.Table()));
    EXPECT_EQ(pSource->Modified, 1u);
    EXPECT_EQ(pSource->extraID, id);
    pSource->ModuleID |= 0x03000000;

    std::unique_ptr<enginetestTypeClass> pClone(pSource->Clone());
    ASSERT_NE(pClone, nullptr);
    EXPECT_TRUE(pClone->Loaded);
    EXPECT_EQ(pClone->Modified, 0u);
    EXPECT_EQ(pClone->ModuleID, pSource->ModuleID);
    EXPECT_STREQ(pClone->Name, pSource->Name);
    EXPECT_EQ(binary.Default().Find(id), pSource);
    const std::pair<const void*, const void*> copies[] = {
        {pSource->name, pClone->name},
        {pSource->samples, pClone->samples},
        {pSource->triggers, pClone->triggers},
        {pSource->regions, pClone->regions},
        {pSource->regions[0].label, pClone->regions[0].label},
        {pSource->regions[0].weights, pClone->regions[0].weights},
    };
    for (const auto& [pOriginal, pCopy] : copies) {
        ASSERT_NE(pCopy, nullptr);
        EXPECT_NE(pCopy, pOriginal);
    }

    // The source gives its memory back; the clone keeps every value, and frees its own copies
    // when deleted (the sanitizers see a use after free or a leak otherwise).
    pSource->UnloadModule();
    EXPECT_EQ(CheckValues(*pClone, values), "");
    EXPECT_EQ(Errors(capture), Messages{});
    EXPECT_EQ(pSource->name, nullptr);
    EXPECT_EQ(pSource->extra.weights, nullptr);

    // An ID the table lacks fails the load, logged, and still counts as a change.
    pSource->ModuleID = 0x999;
    EXPECT_FALSE(pSource->LoadModule(&binary.Table()));
    EXPECT_TRUE(capture.Contains("LoadModule Failed to find module ID (2457) in Symbol Table"));
    EXPECT_FALSE(pSource->Loaded);
    EXPECT_EQ(pSource->Modified, 2u);
}

}  // namespace
}  // namespace engine_test
