// The mode section: the refusals of a damaged table, and the tree shapes a table can give.
#include <gtest/gtest.h>

#include <functional>

#include "set_manager_test_support.h"

namespace setmanager_test {
namespace {

using binwriter::SectionType;
using binwriter::TuningBinaryBuilder;

TEST(SetManagerModeSection, DamagedTablesAreRefused) {
    struct Case {
        std::function<void(TuningBinaryBuilder&)> configure;
        const char* pError;  // the error text held; "" when the failure is only logged
        const char* pLine;   // the error line, when it is not the error text
    };
    // Two records of 24 bytes behind the 32-byte text make 80 bytes.
    const Case cases[] = {
        {[](TuningBinaryBuilder& b) { b.SetSections({SectionType::DataBlock, {2u, {}, 81u}}); },
         "", "[ERROR] ReadModeSection: ModeSize 81 does not match expected size 80"},
        {[](TuningBinaryBuilder& b) { b.SetSections({SectionType::DataBlock, {2u, 300u, 80u}}); },
         "", "[ERROR] Failed to read 80 bytes from binary file offset 300, length 316"},
        {[](TuningBinaryBuilder& b) { b.SetSections({SectionType::DataBlock, {2u, {}, 16u}}); },
         "", "[ERROR] ReadModeSection: ModeSize 16 does not match expected size 32"},
        {[](TuningBinaryBuilder& b) {
             binwriter::ModeRecord record = Record(2, 0, 0);
             record.idOverride = 7;
             b.AddMode(record);
         },
         "ReadModeSection: Mode ID exceeds mode count", nullptr},
        {[](TuningBinaryBuilder& b) { b.AddMode(Record(2, 0, 7)); },
         "ReadModeSection: Parent Mode ID exceeds mode count", nullptr},
        {[](TuningBinaryBuilder& b) { b.AddMode(Record(2, 0, 0, 7)); },
         "ReadModeSection: Link Mode ID exceeds mode count", nullptr},
    };
    for (const Case& c : cases) {
        TuningBinaryBuilder builder({5, 0, 0});
        builder.AddMode(Record(0, 0));
        builder.AddMode(Record(2, 1, 0));
        c.configure(builder);
        std::vector<uint8_t> binary = builder.Build();
        zyra_test::LogCapture capture;
        TestSetManager manager;
        EXPECT_FALSE(manager.LoadBinaryParameters(binary.data(), binary.size()));
        EXPECT_STREQ(manager.GetError(), c.pError);
        const std::string line = c.pLine != nullptr ? c.pLine : std::string("[ERROR] ") + c.pError;
        EXPECT_EQ(Errors(capture), Texts{line});
        // The table was made before the mode section failed: the binary counts as loaded.
        EXPECT_NE(manager.GetSymbolTable(), nullptr);
    }
}

TEST(SetManagerModeSection, ShapesOfTheTree) {
    TuningBinaryBuilder builder({5, 0, 0});
    builder.AddMode(Record(0, 0));                   // 0 root
    builder.AddMode(Record(2, 1, 3));                // 1 parent listed later: outside the tree
    builder.AddMode(Record(1, 4, 0));                // 2 Sensor: always pinned
    builder.AddMode(Record(2, 2, 0, 4));             // 3 Video, linked to 4
    builder.AddMode(Record(2, 3, 0, 3));             // 4 ZSL, linked back to 3: a ring
    builder.AddMode(Record(3, 1));                   // 5 a second node without parent
    const uint32_t alias = builder.AddModeAlias(3);  // 6 a second id of node 3
    builder.AddMode(Record(4, 1, 3));                // 7 under Video
    std::vector<uint8_t> binary = builder.Build();

    zyra_test::LogCapture capture;
    TestSetManager manager;
    ASSERT_TRUE(manager.LoadBinaryParameters(binary.data(), binary.size()));
    // Modes without symbols load, with no module.
    EXPECT_TRUE(capture.Contains("ReadModeSection: Binary missing symbol table or data "
                                 "SymbolOffset("));
    ModeEntry* pRoot = manager.GetRootMode();
    ModeEntry* pVideo = manager.GetModeEntry(3u);
    EXPECT_EQ(manager.GetModeEntry(alias), pVideo);
    EXPECT_EQ(pVideo->ID, 3u);
    EXPECT_EQ(manager.GetModeEntry(1u)->Parent, nullptr);
    EXPECT_EQ(manager.GetModeEntry(5u)->Parent, nullptr);
    EXPECT_TRUE(manager.GetModeEntry(2u)->Pinned);
    EXPECT_FALSE(pVideo->Pinned);
    EXPECT_EQ(pRoot->FirstChild, manager.GetModeEntry(2u));
    EXPECT_EQ(pRoot->LastChild, manager.GetModeEntry(4u));
    // A ring of links has no last node: lookups stay with the node asked.
    const TuningMode feature{4, 1, 0};
    EXPECT_EQ(pVideo->LinkTarget(), pVideo);
    EXPECT_EQ(pVideo->FindMode(&feature), manager.GetModeEntry(7u));
    EXPECT_EQ(manager.GetModeEntry(99u), nullptr);

    // Without a mode section the binary has one Default node, loaded and pinned.
    binary = TuningBinaryBuilder({5, 0, 0}).Build();
    capture.Clear();
    TestSetManager flat;
    ASSERT_TRUE(flat.LoadBinaryParameters(binary.data(), binary.size()));
    ASSERT_EQ(flat.GetModeCount(), 1u);
    EXPECT_EQ(flat.GetModeEntry(0u), flat.GetRootMode());
    EXPECT_TRUE(flat.GetRootMode()->Loaded && flat.GetRootMode()->Pinned);
    EXPECT_TRUE(capture.Contains("No mode table in binary"));
}

}  // namespace
}  // namespace setmanager_test
