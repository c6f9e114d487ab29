// Structures that hold themselves: a loop of shared arrays that one module leaves behind, a
// pointer loop cut off, and the trigger tree form of the library's schemas with its head words.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "engine_test_support.h"
#include "enginetree_1_0_0.h"
#include "gamma_1_6_1.h"
#include "log_capture.h"

namespace engine_test {
namespace {

using enginetree_1_0_0::nodeType;
using enginetree_1_0_0::treeTopTypeClass;
using TreeBinary = LoadedBinaryOf<treeTopTypeClass>;

const binwriter::Version kTreeVersion{2, 1, 0};

// Module A's node holds S, whose node holds R, whose node closes the loop back to S. Module B
// shares R. When A goes, S goes with it, and the pointer to S inside R, which B keeps, is
// cleared rather than left dangling. A node whose child is itself, without duplicates to
// share it, is cut off deep down and fails its module's load.
TEST(Tree, LoopsOfSharedArraysAreForgottenAndPointerLoopsCutOff) {
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
    // Entries 11 and 12: the label and the node of the loop.
    ASSERT_EQ(builder.AddPointerTarget(node("loop", 12)), 12u);
    binwriter::ValueWriter topLoop(builder);
    topLoop.U32(1).Pointer(12);
    uint32_t a = builder.AddModule("enginetree", kTreeVersion, 0, topA.Bytes());
    uint32_t b = builder.AddModule("enginetree", kTreeVersion, 0, topB.Bytes());
    uint32_t loop = builder.AddModule("enginetree", kTreeVersion, 0, topLoop.Bytes());
    TreeBinary binary(builder, "enginetree");
    treeTopTypeClass* pA = binary.Create(a);
    treeTopTypeClass* pB = binary.Create(b);
    treeTopTypeClass* pLoop = binary.Create(loop);
    ASSERT_TRUE(pA != nullptr && pB != nullptr && pLoop != nullptr);
    EXPECT_FALSE(pLoop->LoadModule(&binary.Table()));
    EXPECT_EQ(pLoop->roots, nullptr);
    ASSERT_TRUE(pA->LoadModule(&binary.Table()));
    ASSERT_TRUE(pB->LoadModule(&binary.Table()));
    EXPECT_EQ(Errors(capture),
              Messages{"[ERROR] Counted array children nested deeper than 64 levels\n"});
    nodeType* pR = pB->roots[0].children;
    ASSERT_EQ(pA->roots[0].children[0].children, pR);
    ASSERT_EQ(pR[0].children, pA->roots[0].children);

    pA->UnloadModule();
    EXPECT_EQ(pR[0].children, nullptr);
    EXPECT_STREQ(pR[0].label, "r");
}

using gamma_1_6_1::lumatrope_gamma16TypeClass;
using gamma_1_6_1::triggerType;
using GammaBinary = LoadedBinaryOf<lumatrope_gamma16TypeClass>;

const binwriter::Version kGammaVersion{1, 6, 1};

struct Node {
    float start;
    std::vector<Node> children;
};

// The nodes as a counted array of trigger nodes, each without regions.
uint32_t WriteNodes(binwriter::TuningBinaryBuilder& builder, const std::vector<Node>& nodes) {
    binwriter::ValueWriter out(builder);
    for (const Node& node : nodes) {
        uint32_t children = WriteNodes(builder, node.children);
        out.Float(node.start).Float(node.start + 1.f);
        out.U32(static_cast<uint32_t>(node.children.size())).Pointer(children);
        out.U32(0).Pointer(children);
    }
    return builder.AddPointerTarget(out.Bytes());
}

// A gamma module with control variables `variables` over the trees `roots`.
uint32_t WriteGamma(binwriter::TuningBinaryBuilder& builder,
                    const std::vector<uint32_t>& variables, const std::vector<Node>& roots) {
    binwriter::ValueWriter values(builder);
    for (uint32_t variable : variables) {
        values.U32(variable);
    }
    uint32_t variableEntry = builder.AddPointerTarget(values.Bytes());
    uint32_t rootEntry = WriteNodes(builder, roots);
    binwriter::ValueWriter top(builder);
    top.I32(1).I32(1).I32(6).I32(1).String("rev 7");
    top.U32(static_cast<uint32_t>(variables.size())).Pointer(variableEntry);
    top.Float(0.25f).Float(0.75f);
    top.U32(static_cast<uint32_t>(roots.size())).Pointer(rootEntry);
    return builder.AddModule("gamma16_ife_v2", kGammaVersion, 0, top.Bytes());
}

// Compares the loaded nodes with the written ones; `heads` holds the expected controlVarIndex
// and controlVarType by depth, and depths beyond it expect zero in both.
void ExpectNodes(const triggerType* pNodes, uint32_t count, const std::vector<Node>& expected,
                 const std::vector<std::pair<uint32_t, uint32_t>>& heads, size_t depth) {
    ASSERT_EQ(count, expected.size());
    const std::pair<uint32_t, uint32_t> head =
        depth < heads.size() ? heads[depth] : std::pair<uint32_t, uint32_t>{0u, 0u};
    for (uint32_t i = 0; i < count; ++i) {
        const triggerType& node = pNodes[i];
        EXPECT_EQ(node.controlVarIndex, head.first) << "depth " << depth;
        EXPECT_EQ(node.controlVarType, head.second) << "depth " << depth;
        EXPECT_EQ(node.end, expected[i].start + 1.f);
        ExpectNodes(node.trigger, node.triggerCount, expected[i].children, heads, depth + 1);
    }
}

const std::vector<Node> kRoots{{1.f, {{10.f, {{100.f, {}}}}, {11.f, {}}}}, {2.f, {}}};

TEST(TriggerTree, RoundTripThroughSharedDeclarationsWithHeadWordsAsFarAsTheVariablesGo) {
    struct Case {
        const char* what;
        std::vector<uint32_t> variables;
        std::vector<std::pair<uint32_t, uint32_t>> heads;
        Messages errors;
    };
    const Case cases[] = {
        {"one variable a level", {3, 1000, 76}, {{0u, 3u}, {1u, 1000u}, {2u, 76u}}, {}},
        {"no variables", {}, {}, {}},
        {"more variables than levels, one unknown",
         {19, 1019, 100, 4},
         {{0u, 0u}, {1u, 1019u}, {2u, 100u}},
         {"[ERROR] Invalid value(19) converting UINT32 to trigger_types"}},
    };
    for (unsigned int alignment : {1u, 8u}) {
        for (const Case& c : cases) {
            SCOPED_TRACE(c.what);
            zyra_test::LogCapture capture;
            binwriter::TuningBinaryBuilder builder(FormatWithAlignment(alignment));
            uint32_t id = WriteGamma(builder, c.variables, kRoots);
            GammaBinary binary(builder, "gamma16_ife_v2");
            lumatrope_gamma16TypeClass* pModule = binary.Create(id);
            ASSERT_NE(pModule, nullptr);
            ASSERT_TRUE(pModule->LoadModule(&binary.Table()));
            EXPECT_EQ(Errors(capture), c.errors);
            EXPECT_EQ(pModule->control_variables.control_var_typeCount, c.variables.size());
            const auto& core = pModule->lumatrope_gamma16_core;
            ExpectNodes(core.mod_gamma16_trigger_data, core.mod_gamma16_trigger_dataCount,
                        kRoots, c.heads, 0);
            // The head words are the tree's own, not fields to read by path.
            char value[32] = {};
            EXPECT_FALSE(pModule->GetValue(
                "lumatrope_gamma16_core.mod_gamma16_trigger_data[0].controlVarType", value,
                sizeof(value)));

            pModule->UnloadModule();
            EXPECT_EQ(core.mod_gamma16_trigger_data, nullptr);
        }
    }
}

// Node arrays shared through duplicates can hold themselves: here each of two nodes has both
// as its children. The walk must end, however many variables the module names.
TEST(TriggerTree, SharedArraysThatHoldThemselvesEndTheWalk) {
    zyra_test::LogCapture capture;
    binwriter::TuningBinaryBuilder builder(FormatWithAlignment(1));
    binwriter::ValueWriter variables(builder);
    for (uint32_t i = 0; i < 200; ++i) {
        variables.U32(i % 19);
    }
    uint32_t variableEntry = builder.AddPointerTarget(variables.Bytes());
    // Entry `pair` holds two nodes whose children are entry pair + 1, a duplicate of `pair`.
    binwriter::ValueWriter nodes(builder);
    uint32_t pair = variableEntry + 1;
    for (int i = 0; i < 2; ++i) {
        nodes.Float(1.f).Float(2.f).U32(2).Pointer(pair + 1).U32(0).Pointer(variableEntry);
    }
    ASSERT_EQ(builder.AddPointerTarget(nodes.Bytes()), pair);
    ASSERT_EQ(builder.AddPointerTarget(nodes.Bytes(), pair), pair + 1);
    binwriter::ValueWriter root(builder);
    root.Float(0.f).Float(1.f).U32(2).Pointer(pair).U32(0).Pointer(variableEntry);
    uint32_t rootEntry = builder.AddPointerTarget(root.Bytes());
    binwriter::ValueWriter top(builder);
    top.I32(1).I32(1).I32(6).I32(1).String("loop");
    top.U32(200).Pointer(variableEntry).Float(0.f).Float(1.f).U32(1).Pointer(rootEntry);
    uint32_t id = builder.AddModule("gamma16_ife_v2", kGammaVersion, 0, top.Bytes());
    GammaBinary binary(builder, "gamma16_ife_v2");
    lumatrope_gamma16TypeClass* pModule = binary.Create(id);
    ASSERT_NE(pModule, nullptr);

    ASSERT_TRUE(pModule->LoadModule(&binary.Table()));
    EXPECT_EQ(Errors(capture), Messages{});
    const triggerType& rootNode = pModule->lumatrope_gamma16_core.mod_gamma16_trigger_data[0];
    ASSERT_EQ(rootNode.triggerCount, 2u);
    EXPECT_EQ(rootNode.trigger[0].trigger, rootNode.trigger);
    EXPECT_EQ(rootNode.trigger[1].controlVarIndex, 1u);
    EXPECT_EQ(rootNode.trigger[1].controlVarType, 1u);
}

}  // namespace
}  // namespace engine_test
