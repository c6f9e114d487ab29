// The set manager when memory runs out and when its file is cut under it. Each allocation of
// a load and an update fails in turn: every answer is a refusal or the right data, nothing
// crashes or leaks, and the next clean run works.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <string>
#include <vector>

#include "binwriter/tuning_binary_builder.h"
#include "failing_allocations.h"
#include "log_capture.h"
#include "set_manager_test_support.h"
#include "temp_dir.h"

namespace setmanager_test {
namespace {

using zyra_test::FailEachAllocation;

// The value of the module `pName` along `path`, the module given back; 0 when there is none.
uint32_t ValueAt(TestSetManager& manager, const char* pName, const std::string& path) {
    Module* pModule = Get(manager, pName, path);
    if (pModule == nullptr) {
        return 0;
    }
    const uint32_t value = pModule->u32;
    manager.ReleaseModule(pModule);
    return value;
}

// The values of the modules of Tree() at its four depths.
std::vector<uint32_t> TreeValues(TestSetManager& manager) {
    return {ValueAt(manager, "abc", "0.0"), ValueAt(manager, "abc", "0.0|2.0|4.4"),
            ValueAt(manager, "ghi", "0.0|2.0|4.4|4.5"), ValueAt(manager, "dup", "0.0|2.1")};
}

std::vector<uint32_t> ExpectedTree(uint32_t base) {
    return {base + 11, base + 22, base + 44, base + 55};
}

// Whether each value is the expected one or missing (0): a symbol table whose bookkeeping
// could not be allocated is left empty, but no module may hold wrong data. A module whose
// entry could not be read is skipped, so MFNRBlend may answer with Default's "abc".
bool RightOrMissing(const std::vector<uint32_t>& values, const std::vector<uint32_t>& expected) {
    for (size_t i = 0; i < values.size(); ++i) {
        const bool defaultAbc = i == 1 && values[i] == expected[0];
        if (values[i] != 0 && values[i] != expected[i] && !defaultAbc) {
            return false;
        }
    }
    return true;
}

void SetModifiedTime(const std::string& path, time_t seconds) {
    struct timespec times[2] = {{seconds, 0}, {seconds, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
}

class FaultInjection : public ::testing::Test {
protected:
    void ExpectEachLoadFailureHandled(bool onDemand) {
        const uint32_t failures = FailEachAllocation([&](const auto& begin, const auto& end) {
            TestSetManager manager;
            RegisterTree(manager);
            manager.SetOnDemand(onDemand);
            begin();
            const bool loaded = onDemand ? manager.LoadBinaryParameters(m_path.c_str())
                                         : manager.LoadBinaryParameters(m_binary.data(),
                                                                        m_binary.size());
            const bool hit = end();
            EXPECT_TRUE(loaded || hit);
            EXPECT_EQ(manager.IsValid(), loaded);
            // After a refused load the caller knows: what was made may still answer.
            const std::vector<uint32_t> values = TreeValues(manager);
            if (!hit) {
                EXPECT_EQ(values, ExpectedTree(0));
            } else if (loaded) {
                EXPECT_TRUE(RightOrMissing(values, ExpectedTree(0)))
                    << ::testing::PrintToString(values);
            }
            return hit;
        });
        EXPECT_GT(failures, 10u);
    }

    zyra_test::LogCapture m_capture;
    zyra_test::TempDir m_dir;
    std::vector<uint8_t> m_binary = Tree();
    std::string m_path = m_dir.Write("tree.bin", m_binary);
};

TEST_F(FaultInjection, EachAllocationOfALoadFailsInTurn) {
    ExpectEachLoadFailureHandled(false);
    ExpectEachLoadFailureHandled(true);
    // Without a mode section the load makes the one Default mode itself.
    std::vector<uint8_t> binary = binwriter::TuningBinaryBuilder({5, 0, 0}).Build();
    FailEachAllocation([&](const auto& begin, const auto& end) {
        TestSetManager manager;
        RegisterTree(manager);
        begin();
        const bool loaded = manager.LoadBinaryParameters(binary.data(), binary.size());
        const bool hit = end();
        EXPECT_TRUE(loaded || hit);
        if (loaded) {
            EXPECT_NE(manager.GetRootMode(), nullptr);
        }
        return hit;
    });
}

TEST_F(FaultInjection, EachAllocationOfAnUpdateFailsInTurn) {
    std::vector<uint8_t> update = Tree(100);
    // What a clean update makes of the tree, to compare the injected runs with.
    std::vector<uint32_t> updated;
    {
        TestSetManager manager;
        ASSERT_TRUE(LoadTree(manager, m_binary, m_path, false));
        ASSERT_TRUE(manager.UpdateBinaryParameters(update.data(), update.size()));
        updated = TreeValues(manager);
        ASSERT_NE(updated, ExpectedTree(0));
    }
    const uint32_t failures = FailEachAllocation([&](const auto& begin, const auto& end) {
        TestSetManager manager;
        EXPECT_TRUE(LoadTree(manager, m_binary, m_path, false));
        Module* pHeld = Get(manager, "abc", "0.0|2.0|4.4");
        begin();
        // A failed update keeps the old data and still answers true.
        EXPECT_TRUE(manager.UpdateBinaryParameters(update.data(), update.size()));
        const bool hit = end();
        EXPECT_EQ(pHeld->u32, 22u);
        const std::vector<uint32_t> values = TreeValues(manager);
        // A table whose bookkeeping could not be allocated reads as empty here too, and the
        // modules taken from it have nothing to load from.
        EXPECT_TRUE(values == updated || (hit && (RightOrMissing(values, ExpectedTree(0)) ||
                                                  RightOrMissing(values, updated))))
            << ::testing::PrintToString(values);
        EXPECT_TRUE(manager.UpdateBinaryParameters(update.data(), update.size()));
        EXPECT_EQ(TreeValues(manager), updated);
        return hit;
    });
    EXPECT_GT(failures, 10u);
}

TEST_F(FaultInjection, FileCutUnderAnOnDemandLoad) {
    // Cut with its time of modification kept: the reads come back short, are retried, and the
    // failed reload leaves nothing loaded until the next load.
    SetModifiedTime(m_path, 1000);
    TestSetManager manager;
    ASSERT_TRUE(LoadTree(manager, m_binary, m_path, true));
    ASSERT_EQ(truncate(m_path.c_str(), static_cast<off_t>(m_binary.size() / 2)), 0);
    SetModifiedTime(m_path, 1000);
    EXPECT_EQ(Get(manager, "ghi", "0.0|2.0|4.4|4.5"), nullptr);

    m_dir.Write("tree.bin", m_binary);
    EXPECT_EQ(TreeValues(manager), (std::vector<uint32_t>{0, 0, 0, 0}));
    EXPECT_TRUE(manager.LoadBinaryParameters(m_path.c_str()));
    EXPECT_EQ(TreeValues(manager), ExpectedTree(0));
}

}  // namespace
}  // namespace setmanager_test
