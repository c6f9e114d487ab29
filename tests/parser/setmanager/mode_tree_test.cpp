// Mode paths in their three text forms, the searches of the tree, the texts the live tuning
// service reads from it, reference counts, and the instance lists of module types.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <list>
#include <memory>
#include <new>
#include <random>
#include <vector>

#include "binwriter/tuning_binary_builder.h"
#include "parser/foundation/parser_object.h"
#include "parser/setmanager/default_module.h"
#include "parser/setmanager/module_data.h"
#include "set_manager_test_support.h"

// While set, the standard allocator fails, as it does when the index of a type's instances
// cannot grow.
static thread_local bool t_failStandardAllocation = false;

// ThreadSanitizer's runtime defines the global allocator itself; there the failures are not
// made and the test checks the index without them.
#if defined(__SANITIZE_THREAD__)
#define ZYRA_TEST_REPLACES_NEW 0
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define ZYRA_TEST_REPLACES_NEW 0
#endif
#endif
#ifndef ZYRA_TEST_REPLACES_NEW
#define ZYRA_TEST_REPLACES_NEW 1
#endif

#if ZYRA_TEST_REPLACES_NEW
// Out of line, so that no caller sees the pairing of the allocator with malloc and free.
__attribute__((noinline)) void* operator new(std::size_t size) {
    void* pMemory = t_failStandardAllocation ? nullptr : std::malloc(size != 0 ? size : 1);
    if (pMemory == nullptr) {
        throw std::bad_alloc();
    }
    return pMemory;
}

__attribute__((noinline)) void operator delete(void* pMemory) noexcept { std::free(pMemory); }
__attribute__((noinline)) void operator delete(void* pMemory, std::size_t) noexcept {
    std::free(pMemory);
}
#endif

namespace setmanager_test {
namespace {

using binwriter::TuningBinaryBuilder;

std::string Branch(TestSetManager& manager, const char* pPath, bool* pResult = nullptr) {
    PList<TuningMode> branch;
    const bool result = manager.GetModeBranchFromPath(pPath, branch);
    if (pResult != nullptr) {
        *pResult = result;
    }
    char text[128] = "";
    manager.GetPathFromModeBranch(branch.Count() != 0 ? &branch[0] : nullptr, branch.Count(), text,
                                  sizeof(text));
    return text;
}

TEST(SetManagerModePaths, ParsingAndPrintingInAllThreeForms) {
    TestSetManager manager;
    struct Parse {
        const char* pPath;
        bool result;
        const char* pBranch;
    };
    const Parse parses[] = {
        {"0.0|2.1|4.5", true, "0.0|2.1|4.5"},
        {"0|2|23|.5", true, "0.0|0.0|0.3|0.5"},  // no dot: Mode 0, SubMode from index 1
        {"12.34|", true, "12.34"},
        {"1234567.8901|1", true, "1234567.8|0.1|0.0"},  // 9 characters, one lost, the rest goes on
        {"0.0|2.x|4.5", false, "0.0"},
        {"0.0|2.1.1", false, "0.0"},
        {"", false, ""},
        {"|0.0", false, ""},
    };
    for (const Parse& p : parses) {
        bool result = false;
        EXPECT_EQ(Branch(manager, p.pPath, &result), p.pBranch) << p.pPath;
        EXPECT_EQ(result, p.result) << p.pPath;
    }
    PList<TuningMode> branch;
    EXPECT_FALSE(manager.GetModeBranchFromPath(nullptr, branch));

    // Printing appends, and cuts each step at 11 characters and the text at its size.
    const TuningMode wide[] = {{4000000000u, 65535, 0}, {2, 1, 0}};
    char text[16] = "x";
    manager.GetPathFromModeBranch(wide, 2, text, sizeof(text));
    EXPECT_STREQ(text, "x4000000000.|2.");

    struct Shorthand {
        const char* pPath;
        const char* pText;
    };
    const Shorthand shorthands[] = {
        {"Default|Usecase.Preview", "0|2.0"},
        {"default||FEATURE2.mmfpostfilter|Feature2.13|Scene.", "0|4.13|4.13|5"},
        {"Unknown.Preview|Effect.Sketch|Effect.Snapshot", "0.0|6.8|6.0"},
    };
    for (const Shorthand& s : shorthands) {
        char out[64];
        EXPECT_TRUE(manager.GetModeShorthand(s.pPath, out, sizeof(out)));
        EXPECT_STREQ(out, s.pText) << s.pPath;
    }
    char small[4];
    manager.GetModeShorthand("Usecase.Video|Scene.Night", small, sizeof(small));
    EXPECT_STREQ(small, "2.2");
    EXPECT_EQ(ParameterSetManager::GetSubModeIndex(3, "Preview"), 0u);
    EXPECT_EQ(ParameterSetManager::GetSubModeIndex(0, "70000"), 65535u);
    EXPECT_EQ(ParameterSetManager::GetModeIndex(nullptr), 0u);

    char named[128];
    manager.GetDialinModesString("0.0|2.1|4.5;0.0|1.3|9.7|2.99|6.11", named, sizeof(named));
    EXPECT_STREQ(named,
                 "Default|Usecase.Snapshot|Feature2.MFNRPostFilter;"
                 "Default|Sensor.3|.7|Usecase.99|Effect.Whiteboard");
}

// Default; Usecase.Snapshot with Feature2 OISCapture below it and Feature2 HLG below that;
// Usecase.Video linked to Snapshot, with its own child Scene.Night; last, below Snapshot, a
// mode without a name (9.3).
class SetManagerModeTree : public ::testing::Test {
protected:
    void SetUp() override {
        TuningBinaryBuilder builder({5, 0, 0});
        builder.AddMode(Record(0, 0));
        builder.AddMode(Record(2, 1, 0));
        builder.AddMode(Record(4, 1, 1));
        builder.AddMode(Record(4, 2, 2));
        builder.AddMode(Record(2, 2, 0, 1));
        builder.AddMode(Record(5, 5, 4));
        builder.AddMode(Record(9, 3, 1));
        builder.AddModule("abc", {1, 0, 0}, 0, ValueBytes(builder, 1));
        builder.AddModule("abc", {1, 0, 0}, 2, ValueBytes(builder, 2));
        builder.AddModule("def", {1, 0, 0}, 1, ValueBytes(builder, 3));
        builder.AddModule("ghi", {1, 0, 0}, 1, ValueBytes(builder, 4));
        m_binary = builder.Build();
        m_manager.Register("abc");
        m_manager.Register("def");
        m_manager.Register("ghi");
        ASSERT_TRUE(m_manager.LoadBinaryParameters(m_binary.data(), m_binary.size()));
    }

    std::string Children(const char* pPath, unsigned int size = 256) {
        std::vector<unsigned char> text(size, 0xAA);
        const unsigned int written = m_manager.GetChildModes(pPath, text.data(), size);
        EXPECT_EQ(written, std::strlen(reinterpret_cast<char*>(text.data())) + 1);
        return reinterpret_cast<char*>(text.data());
    }

    std::vector<uint8_t> m_binary;
    TestSetManager m_manager;
};

TEST_F(SetManagerModeTree, BranchesGroupsAndLinks) {
    ModeEntry* pOis = m_manager.GetModeEntry(2u);
    ModeEntry* pHlg = m_manager.GetModeEntry(3u);
    // Step 0 stands for the root whatever it says, and a branch of one step is the root.
    EXPECT_EQ(m_manager.GetModeEntry("7.7"), m_manager.GetRootMode());
    EXPECT_EQ(m_manager.GetModeEntry("0.0|2.1|4.1"), pOis);
    // Two Feature2 steps are one group, found in either order.
    EXPECT_EQ(m_manager.GetModeEntry("0.0|2.1|4.1|4.2"), pHlg);
    EXPECT_EQ(m_manager.GetModeEntry("0.0|2.1|4.2|4.1"), pHlg);
    EXPECT_EQ(m_manager.GetModeEntry("0.0|2.1|4.2|4.3"), nullptr);
    EXPECT_EQ(m_manager.GetModeEntry("0.0|2.1|4.2"), nullptr);
    EXPECT_EQ(m_manager.GetModeEntry("0.0|x"), nullptr);
    // Only the low 16 bits of a step's Mode meet a node; grouping compares all 32.
    const TuningMode high[] = {{0, 0, 0}, {0x10002, 1, 0}};
    EXPECT_EQ(m_manager.GetModeEntry(high, 2), m_manager.GetModeEntry(1u));
    const TuningMode split[] = {{0, 0, 0}, {2, 1, 0}, {4, 1, 0}, {0x10004, 2, 0}};
    EXPECT_EQ(m_manager.GetModeEntry(split, 4), pHlg);

    // Video is linked to Snapshot: it finds Snapshot's children and modules, while its own
    // child list is its own.
    EXPECT_EQ(m_manager.GetModeEntry("0.0|2.2|4.1"), pOis);
    EXPECT_EQ(m_manager.GetModeEntry("0.0|2.2|5.5"), nullptr);
    EXPECT_EQ(m_manager.GetModeEntry(4u)->FindModule("def"),
              m_manager.GetModeEntry(1u)->FindModule("def"));
    EXPECT_EQ(Children("0.0|2.2"), "Scene.Night");
    EXPECT_EQ(Children("0.0|2.1"), "Feature2.OISCapture,9.3");
    EXPECT_EQ(Children("nonsense"), "Usecase.Snapshot,Usecase.Video");

    char path[10] = "";
    pHlg->GetModePath(path, sizeof(path));
    EXPECT_STREQ(path, "0.0|2.1|4");
    EXPECT_TRUE(pHlg->IsParent(m_manager.GetRootMode()));
    EXPECT_FALSE(pHlg->IsParent(pHlg));
    EXPECT_FALSE(pHlg->IsParent(nullptr));
}

TEST(SetManagerModeGroups, RepeatedStepsAgainstADeepChainEndQuickly) {
    // A chain of eight Feature2 nodes, OISCapture and HLG in turn (a child repeating its
    // parent's mode would be that parent). A group of forty such steps cannot be placed, and
    // each level must be searched once, not once per matching step.
    TuningBinaryBuilder builder({5, 0, 0});
    builder.AddMode(Record(0, 0));
    std::vector<TuningMode> branch(41, TuningMode{0, 0, 0});
    for (uint16_t i = 1; i < branch.size(); ++i) {
        branch[i] = TuningMode{4, static_cast<uint16_t>(i % 2 != 0 ? 1 : 2), 0};
        if (i <= 8) {
            builder.AddMode(Record(4, branch[i].SubMode, i - 1u));
        }
    }
    std::vector<uint8_t> binary = builder.Build();
    TestSetManager manager;
    ASSERT_TRUE(manager.LoadBinaryParameters(binary.data(), binary.size()));
    EXPECT_EQ(manager.GetModeEntry(branch.data(), 41), nullptr);
    EXPECT_EQ(manager.GetModeEntry(branch.data(), 9), manager.GetModeEntry(8u));
}

TEST_F(SetManagerModeTree, ChildListThatDoesNotFit) {
    zyra_test::LogCapture capture;
    // Each piece is written whole or not at all, always leaving room for the terminator.
    EXPECT_EQ(Children(nullptr, 10), "Usecase.,");
    EXPECT_EQ(Errors(capture).size(), 4u);
    EXPECT_EQ(Errors(capture)[0], "[ERROR] Failed to write 8 bytes to binary offset 8, length 10");
    EXPECT_EQ(Children(nullptr, 1), "");
    unsigned char text[4] = {};
    EXPECT_EQ(m_manager.GetChildModes("0.0", text, 0), 0u);
    EXPECT_EQ(m_manager.GetChildModes("0.0", nullptr, sizeof(text)), 0u);
}

TEST_F(SetManagerModeTree, ReferenceCountsAndActiveModes) {
    ModeEntry* pRoot = m_manager.GetRootMode();
    ModeEntry* pSnapshot = m_manager.GetModeEntry(1u);
    ModeEntry* pOis = m_manager.GetModeEntry(2u);
    ParameterModule* pDef = pSnapshot->FindModule("def");
    ParameterModule* pGhi = pSnapshot->FindModule("ghi");
    ParameterModule* pAbc = pRoot->FindModule("abc");

    zyra_test::LogCapture capture;
    pSnapshot->AddReference(nullptr);
    pSnapshot->AddReference(pDef);
    pSnapshot->AddReference(pGhi);
    pSnapshot->AddReference(pGhi);
    pSnapshot->AddReference(pAbc);
    pSnapshot->ReleaseReference(pAbc);
    pRoot->ReleaseReference(pAbc);
    EXPECT_EQ(Errors(capture).size(), 3u);
    EXPECT_TRUE(capture.Contains("Attempt to release unreferenced module.  Mode: 0, SubMode: 0, "
                                 "Module abc"));
    // Named, the count runs from that module to the end of the map's order.
    EXPECT_EQ(pSnapshot->GetReferenceCount(nullptr), 3u);
    const bool defFirst = pSnapshot->Modules.begin()->first == "def";
    EXPECT_EQ(pDef->GetReferenceCount(), defFirst ? 3u : 1u);
    EXPECT_EQ(pGhi->GetReferenceCount(), defFirst ? 2u : 3u);

    // Listed: active modes only, a deeper mode in place of its ancestor, and a pinned mode
    // only while no inactive one was passed.
    ModeEntry* pVideo = m_manager.GetModeEntry(4u);
    pOis->AddReference(pOis->FindModule("abc"));
    pRoot->AddReference(pAbc);
    PList<ModeEntry*>& active = m_manager.ActiveModes();
    for (ModeEntry* pMode : {pRoot, pSnapshot, pOis, pVideo, pSnapshot}) {
        active.Insert(active.Count(), pMode);
    }
    char text[256];
    EXPECT_TRUE(m_manager.GetActiveModes(text, sizeof(text)));
    EXPECT_STREQ(text, "Default|Usecase.Snapshot|Feature2.OISCapture");
    while (active.Remove(0)) {
    }
    active.Insert(0, pRoot);
    EXPECT_TRUE(m_manager.GetActiveModes(text, sizeof(text)));
    EXPECT_STREQ(text, "Default");
    active.Insert(0, pVideo);
    EXPECT_TRUE(m_manager.GetActiveModes(text, sizeof(text)));
    EXPECT_STREQ(text, "");

    capture.Clear();
    pSnapshot->ReleaseReferences();
    EXPECT_EQ(pSnapshot->GetReferenceCount(nullptr), 0u);
    EXPECT_EQ(Errors(capture).size(), 2u);
    EXPECT_FALSE(pSnapshot->IsActive());
}

// Find against a walk of the list, over seeded runs of adding, removing and emptying the list
// as a reload does, with instances of repeated entries, now and then one without ModuleData,
// and now and then one whose entry the index had no room for.
TEST(SetManagerModules, FindAnswersAsAWalkOfTheListDoes) {
    std::mt19937 random(7u);
    std::vector<std::unique_ptr<ModuleData>> data;
    for (unsigned int id = 0; id < 6; ++id) {
        data.push_back(std::make_unique<ModuleData>(id, 0, nullptr, "abc", 0, 0, nullptr));
    }
    std::vector<std::unique_ptr<Module>> modules;
    DefaultModule* pDefault = ParserNew<DefaultModule>(new Module("abc"));
    std::vector<Module*> listed;
    for (int step = 0; step < 4000; ++step) {
        const unsigned int action = random() % 10;
        if (action < 4) {
            ModuleData* pData = random() % 25 == 0 ? nullptr : data[random() % data.size()].get();
            modules.push_back(std::make_unique<Module>("abc", pData));
            t_failStandardAllocation = random() % 20 == 0;
            const bool added = pDefault->AddModule(modules.back().get());
            t_failStandardAllocation = false;
            ASSERT_TRUE(added);
            listed.push_back(modules.back().get());
        } else if (action < 6 && !listed.empty()) {
            const size_t index = random() % listed.size();
            pDefault->RemoveModule(listed[index]);
            listed.erase(listed.begin() + static_cast<std::ptrdiff_t>(index));
        } else if (action == 6 && random() % 8 == 0) {
            // Emptied as a whole: the links go, the modules stay with their owner.
            std::list<ParameterModule*> taken;
            pDefault->TakeInstances(taken);
            EXPECT_EQ(taken.size(), listed.size());
            listed.clear();
        } else {
            const unsigned int id = random() % (data.size() + 1);
            auto walked = std::find_if(listed.begin(), listed.end(), [id](Module* pModule) {
                return pModule->Data == nullptr || pModule->Data->ID == id;
            });
            ASSERT_EQ(pDefault->Find(id), walked != listed.end() ? *walked : nullptr)
                << "step " << step << ", id " << id;
        }
    }
    for (Module* pModule : listed) {
        pDefault->RemoveModule(pModule);
    }
    ParserDelete(pDefault);
}

}  // namespace
}  // namespace setmanager_test
