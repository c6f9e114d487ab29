// A structure that holds itself: trees as deep as their data, and a pointer loop cut off.
#include <gtest/gtest.h>

#include <string>

#include "engine_test_support.h"
#include "enginetree_1_0_0.h"
#include "log_capture.h"

namespace engine_test {
namespace {

using enginetree_1_0_0::nodeType;
using enginetree_1_0_0::treeTopTypeClass;
using TreeBinary = LoadedBinaryOf<treeTopTypeClass>;

const binwriter::Version kTreeVersion{2, 1, 0};

struct Node {
    std::string label;
    std::vector<Node> children;
};

// Writes the nodes as the elements of one entry and returns its ID.
uint32_t WriteNodes(binwriter::TuningBinaryBuilder& builder, const std::vector<Node>& nodes) {
    binwriter::ValueWriter out(builder);
    for (const Node& node : nodes) {
        uint32_t children = WriteNodes(builder, node.children);
        out.String(node.label).Float(1.f).Float(2.f);
        out.U32(static_cast<uint32_t>(node.children.size())).Pointer(children);
    }
    return builder.AddPointerTarget(out.Bytes());
}

void ExpectNodes(const nodeType* pNodes, uint32_t count, const std::vector<Node>& expected) {
    ASSERT_EQ(count, expected.size());
    for (uint32_t i = 0; i < count; ++i) {
        EXPECT_EQ(pNodes[i].depth, 0u);
        ASSERT_NE(pNodes[i].label, nullptr);
        EXPECT_EQ(std::string(pNodes[i].label), expected[i].label);
        EXPECT_EQ(pNodes[i].end, 2.f);
        ExpectNodes(pNodes[i].children, pNodes[i].childrenCount, expected[i].children);
    }
}

TEST(Tree, LoadsAsDeepAsItsData) {
    zyra_test::LogCapture capture;
    binwriter::TuningBinaryBuilder builder(FormatWithAlignment(8));
    const std::vector<Node> roots{{"a", {{"a0", {{"a00", {}}}}, {"a1", {}}}}, {"b", {}}};
    binwriter::ValueWriter top(builder);
    top.U32(2).Pointer(WriteNodes(builder, roots));
    uint32_t id = builder.AddModule("enginetree", kTreeVersion, 0, top.Bytes());
    TreeBinary binary(builder, "enginetree");
    treeTopTypeClass* pModule = binary.Create(id);
    ASSERT_NE(pModule, nullptr);

    ASSERT_TRUE(pModule->LoadModule(&binary.Table()));
    EXPECT_EQ(Errors(capture), Messages{});
    ExpectNodes(pModule->roots, pModule->rootsCount, roots);
}

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

}  // namespace
}  // namespace engine_test
