// The generated set managers: their log lines, refusals of unknown types, prototypes freed with
// the manager, and construction when memory runs out.
#include <gtest/gtest.h>

#include <memory>

#include "bitml_set_manager.h"
#include "fd_set_manager.h"
#include "log_capture.h"
#include "parser/setmanager/default_module.h"
#include "zyra/memory.h"
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
    for (uint32_t nth = 1;; ++nth) {
        SCOPED_TRACE(nth);
        std::unique_ptr<fdSetManager> pManager;
        Zyra::Memory::FailNthAllocation(nth);
        try {
            pManager.reset(new fdSetManager);
        } catch (const std::bad_alloc&) {
        }
        Zyra::Memory::FailNthAllocation(0);
        if (pManager != nullptr) {
            // Once construction succeeds, it registered every name.
            char config[] = "fdconfigdata";
            char indices[] = "flIndices";
            EXPECT_NE(pManager->GetDefaultModule(config), nullptr);
            EXPECT_NE(pManager->GetDefaultModule(indices), nullptr);
            EXPECT_GT(nth, 1u);
            break;
        }
    }
}

}  // namespace
