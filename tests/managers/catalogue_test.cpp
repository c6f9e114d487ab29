// The generated set managers: their log lines, refusals of unknown types, prototypes freed with
// the manager, construction when memory runs out, and opaque modules read from a written binary
// and handed out by their accessors with the raw bytes of their entries.
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "abf_2_1_0.h"
#include "afsoftwarestatelements.h"
#include "binwriter/tuning_binary_builder.h"
#include "bitml_set_manager.h"
#include "failing_allocations.h"
#include "fd_set_manager.h"
#include "log_capture.h"
#include "parser/setmanager/default_module.h"
#include "temp_dir.h"
#include "tuning_set_manager.h"
#include "zyraflindices.h"

namespace {

TEST(Catalogue, ManagersLogTheirLifeRefuseUnknownTypesAndFreeEveryPrototype) {
    // A prototype that counts its own end.
    static int s_destroyed = 0;
    struct Watched : zyraflindices::FLIndicesTypeClass {
        Watched() : FLIndicesTypeClass("flIndices") {}
        ~Watched() override { ++s_destroyed; }
    };
    zyra_test::LogCapture capture;
    {
        bitmlSetManager bitml;
        fdSetManager fd;
        char unknown[] = "abf34_ife";
        EXPECT_EQ(bitml.GetDefaultModule(unknown), nullptr);
        EXPECT_EQ(fd.GetDefaultModule(nullptr), nullptr);
        // A later prototype of a Type takes the place of the earlier one, which stays until
        // the manager goes.
        char registered[] = "flIndices";
        ASSERT_NE(fd.GetDefaultModule(registered), nullptr);
        auto* pReplaced = new Watched;
        auto* pLater = new Watched;
        fd.AddModule(pReplaced);
        fd.AddModule(pLater);
        fd.AddModule(nullptr);
        EXPECT_EQ(fd.GetDefaultModule(registered)->Prototype, pLater);
        EXPECT_EQ(s_destroyed, 0);
    }
    EXPECT_EQ(s_destroyed, 2);
    EXPECT_TRUE(capture.Contains("bitmlSetManager constructed: Parameter Parser V5.5.1 (2411131018)"));
    EXPECT_TRUE(capture.Contains("Failed to find module abf34_ife in DefaultModuleMap"));
    EXPECT_TRUE(capture.Contains("fdSetManager deleting"));
}

TEST(Catalogue, ConstructionOutOfMemoryThrowsAndKeepsNothing) {
    zyra_test::LogCapture capture;
    const uint32_t failed = zyra_test::FailEachAllocation([&](auto begin, auto end) {
        std::unique_ptr<fdSetManager> pManager;
        begin();
        try {
            pManager.reset(new fdSetManager);
        } catch (const std::bad_alloc&) {
        }
        const bool reached = end();
        EXPECT_EQ(pManager == nullptr, reached);
        if (pManager != nullptr) {
            // Once construction succeeds, it registered every name.
            char config[] = "fdconfigdata";
            char indices[] = "flIndices";
            EXPECT_NE(pManager->GetDefaultModule(config), nullptr);
            EXPECT_NE(pManager->GetDefaultModule(indices), nullptr);
        }
        return reached;
    });
    EXPECT_GT(failed, 0u);
}

using Bytes = std::vector<uint8_t>;
using abf_2_1_0::lumatrope_abf21Type;

const TuningMode kRoot[] = {{0, 0, 0}};

struct Written {
    Bytes binary;
    uint32_t abfId;
};

// One root mode with abf21_tfe holding `abf`, and the long-named autofocus statistics
// module under the short form a binary stores.
Written Binary(const Bytes& abf) {
    binwriter::TuningBinaryBuilder builder({5, 0, 0});
    binwriter::ModeRecord root;
    builder.AddMode(root);
    Written written;
    written.abfId = builder.AddModule("abf21_tfe", {2, 1, 0}, 0, abf);
    builder.AddModule("AFTuningSoftwareStatistics", {7, 0, 0}, 0, {9, 8});
    written.binary = builder.Build();
    return written;
}

Bytes RawBytes(const lumatrope_abf21Type* pTop) {
    return pTop != nullptr && pTop->rawData != nullptr
               ? Bytes(pTop->rawData, pTop->rawData + pTop->rawDataSize)
               : Bytes{};
}

uint32_t References(lumatrope_abf21Type* pTop) {
    return static_cast<abf_2_1_0::lumatrope_abf21TypeClass*>(pTop)->GetReferenceCount();
}

TEST(OpaqueModule, AccessorsHandOutTheEntryBytesAndCountReferences) {
    zyra_test::TempDir dir;
    const Written written = Binary({1, 2, 3, 4, 5, 6, 7});
    const std::string path = dir.Write("tuning.bin", written.binary);
    TuningSetManager manager;
    ASSERT_TRUE(manager.LoadBinaryParameters(path.c_str())) << manager.GetError();

    lumatrope_abf21Type* pAbf = manager.GetModule_abf21_tfe(kRoot, 1, nullptr);
    ASSERT_NE(pAbf, nullptr);
    EXPECT_EQ(RawBytes(pAbf), (Bytes{1, 2, 3, 4, 5, 6, 7}));
    EXPECT_EQ(pAbf->ModuleID & 0xFFFFFF, written.abfId);
    EXPECT_EQ(pAbf->GetModified(), 1u);
    EXPECT_EQ(References(pAbf), 1u);
    // Passing the module back as the previous one trades its reference for the new one.
    EXPECT_EQ(manager.GetModule_abf21_tfe(kRoot, 1, pAbf), pAbf);
    EXPECT_EQ(References(pAbf), 1u);
    pAbf->Release();
    EXPECT_EQ(References(pAbf), 0u);

    // A name longer than a type is registered under its short form, the one binaries store.
    char fullName[] = "lumatropeAFTuningSoftwareStatistics";
    char shortName[] = "AFTuningSoftwareStatistics";
    EXPECT_EQ(manager.GetDefaultModule(fullName), nullptr);
    ASSERT_NE(manager.GetDefaultModule(shortName), nullptr);
    afsoftwarestatelements::lumatropeAFTuningSoftwareStatisticsType* pLong =
        manager.GetModule_lumatropeAFTuningSoftwareStatistics(kRoot, 1, nullptr);
    ASSERT_NE(pLong, nullptr);
    EXPECT_EQ(Bytes(pLong->rawData, pLong->rawData + pLong->rawDataSize), (Bytes{9, 8}));
    EXPECT_STREQ(ModuleOf(pLong)->Name, "lumatropeAFTuningSoftwareStatistics");
    pLong->Release();
    // Opaque modules have no fields to reflect.
    char value[16] = {};
    EXPECT_FALSE(ModuleOf(pLong)->GetValue("anything", value, sizeof(value)));
}

}  // namespace
