// A structure that holds itself: a pointer loop cut off, and a loop of shared arrays that one
// module leaves behind.
#include <gtest/gtest.h>

#include <vector>

#include "engine_test_support.h"
#include "enginetree_1_0_0.h"
#include "log_capture.h"

namespace engine_test {
namespace {

using enginetree_1_0_0::nodeType;
using enginetree_1_0_0::treeTopTypeClass;
using TreeBinary = LoadedBinaryOf<treeTopTypeClass>;

const binwriter::Version kTreeVersion{2, 1, 0};

TEST(Tree, PointerLoopIsCutOffAndUnloaded) {
    zyra_test::LogCapture capture;
    binwriter::TuningBinaryBuilder builder(FormatWithAlignment(1));
    // Data entry 1 is the label, entry 2 the node whose one child is entry 2 itself.
    binwriter::ValueWriter node(builder);
    node.String("loop").Float(1.f).Float(2.f).U32(1).Pointer(2);
    ASSERT_EQ(builder.AddPointerTarget(node.Bytes()), 2u);
    binwriter::ValueWriter top(builder);
    top.U32(1).Pointer(2);
    uint32_t id = builder.AddModule("enginetree", kTreeVersion, 0, top.Bytes());
    TreeBinary binary(builder, "enginetree");
    treeTopTypeClass* pModule = binary.Create(id);
    ASSERT_NE(pModule, nullptr);

    EXPECT_FALSE(pModule->LoadModule(&binary.Table()));
    EXPECT_EQ(Errors(capture),
              Messages{"[ERROR] Counted array children nested deeper than 64 levels\n"});
    EXPECT_EQ(pModule->roots, nullptr);
}

// Module A's node holds S, whose node holds R, whose node closes the loop back to S. Module B
// shares R. When A goes, S goes with it, and the pointer to S inside R, which B keeps, is
// cleared rather than left dangling.
TEST(Tree, AnArrayThatStaysForgetsTheLoopItClosed) {
    zyra_test::LogCapture capture;
    binwriter::TuningBinaryBuilder builder(FormatWithAlignment(1));
    auto node = [&](const char* pLabel, uint32_t children) {
        binwriter::ValueWriter out(builder);
        out.String(pLabel).Float(1.f).Float(2.f).U32(1).Pointer(children);
        return out.Bytes();
    };
    // Entries: 1 label s, 2 S, 3 label r, 4 R, 5 duplicate of S, 6 duplicate of R.
    const std::vector<uint8_t> s = node("s", 4);
    ASSERT_EQ(builder.AddPointerTarget(s), 2u);
    const std::vector<uint8_t> r = node("r", 5);
    ASSERT_EQ(builder.AddPointerTarget(r), 4u);
    ASSERT_EQ(builder.AddPointerTarget(s, 2u), 5u);
    ASSERT_EQ(builder.AddPointerTarget(r, 4u), 6u);
    binwriter::ValueWriter topA(builder);
    topA.U32(1).Pointer(builder.AddPointerTarget(node("a", 2)));
    binwriter::ValueWriter topB(builder);
    topB.U32(1).Pointer(builder.AddPointerTarget(node("b", 6)));
    uint32_t a = builder.AddModule("enginetree", kTreeVersion, 0, topA.Bytes());
    uint32_t b = builder.AddModule("enginetree", kTreeVersion, 0, topB.Bytes());
    TreeBinary binary(builder, "enginetree");
    treeTopTypeClass* pA = binary.Create(a);
    treeTopTypeClass* pB = binary.Create(b);
    ASSERT_TRUE(pA != nullptr && pB != nullptr);
    ASSERT_TRUE(pA->LoadModule(&binary.Table()));
    ASSERT_TRUE(pB->LoadModule(&binary.Table()));
    EXPECT_EQ(Errors(capture), Messages{});
    nodeType* pR = pB->roots[0].children;
    ASSERT_EQ(pA->roots[0].children[0].children, pR);
    ASSERT_EQ(pR[0].children, pA->roots[0].children);

    pA->UnloadModule();
    EXPECT_EQ(pR[0].children, nullptr);
    EXPECT_STREQ(pR[0].label, "r");
}

}  // namespace
}  // namespace engine_test
