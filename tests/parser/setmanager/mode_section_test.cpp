// The mode section: hand-written records of every size decoded field by field, the refusals
// of a damaged table, and the tree shapes a table can give.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "../../binwriter/expected_bytes.h"
#include "binwriter/crc_tail.h"
#include "set_manager_test_support.h"

namespace setmanager_test {
namespace {

using binwriter::SectionType;
using binwriter::TuningBinaryBuilder;
using binwriter::Version;
using binwriter_test::Expected;

constexpr uint64_t kNone = 0xFFFFFFFF;
// Usecase.Snapshot, and Feature2.MFNRPostFilter with upper bits that mean nothing.
constexpr uint64_t kSnapshot = 0x00010002;
constexpr uint64_t kPostFilter = 0xDEADBEEF00050004;

// A binary of `version` whose mode section holds `section`, which must have the size the
// writer gives three records.
std::vector<uint8_t> WithModeSection(const Version& version, const std::vector<uint8_t>& section) {
    TuningBinaryBuilder builder(version);
    for (int i = 0; i < 3; ++i) {
        builder.AddMode(Record(0, 0));
    }
    std::vector<uint8_t> binary = builder.Build();
    const size_t headerEnd = version < Version{1, 0, 2} ? 48 : version < Version{3, 0, 0} ? 160 : 168;
    const auto tableOffset = static_cast<size_t>(binwriter_test::ReadLe(binary, headerEnd - 8, 4));
    const auto count = static_cast<size_t>(binwriter_test::ReadLe(binary, headerEnd - 4, 4));
    const size_t word = builder.Alignment() == 8 ? 8 : 4;
    const binwriter_test::Section modes = binwriter_test::FindSection(
        binwriter_test::ReadSections(binary, tableOffset, count, word), 2);
    EXPECT_EQ(modes.size, section.size());
    std::copy(section.begin(), section.end(), binary.begin() + modes.offset);
    binwriter::RewriteCrcTail(binary);
    return binary;
}

TEST(SetManagerModeSection, RecordsOfEachSizeAreDecodedFieldByField) {
    struct Case {
        Version version;
        Expected records;
        bool hasLink;
        bool hasPin;
    };
    // Records: the root; Snapshot under it, pinned where pins exist; PostFilter under
    // Snapshot and linked to it where links exist.
    const Case cases[] = {
        {{1, 0, 0},  // 16 bytes
         Expected().Le(0, 4).Le(0, 8).Le(0, 4)
             .Le(1, 4).Le(kSnapshot, 8).Le(0, 4)
             .Le(2, 4).Le(kPostFilter, 8).Le(1, 4),
         false, false},
        {{1, 1, 0},  // 24 bytes, aligned
         Expected().Le(0, 8).Le(0, 8).Le(0, 8)
             .Le(1, 8).Le(kSnapshot, 8).Le(0, 8)
             .Le(2, 8).Le(kPostFilter, 8).Le(1, 8),
         false, false},
        {{2, 0, 0},  // 32 bytes, aligned
         Expected().Le(0, 8).Le(0, 8).Le(0, 8).Le(kNone, 8)
             .Le(1, 8).Le(kSnapshot, 8).Le(0, 8).Le(kNone, 8)
             .Le(2, 8).Le(kPostFilter, 8).Le(1, 8).Le(1, 8),
         true, false},
        {{3, 0, 1},  // 20 bytes
         Expected().Le(0, 4).Le(0, 8).Le(0, 4).Le(kNone, 4)
             .Le(1, 4).Le(kSnapshot, 8).Le(0, 4).Le(kNone, 4)
             .Le(2, 4).Le(kPostFilter, 8).Le(1, 4).Le(1, 4),
         true, false},
        {{4, 0, 0},  // a 32-byte text, then 20-byte records
         Expected().Text("anything", 32)
             .Le(0, 4).Le(0, 8).Le(0, 4).Le(kNone, 4)
             .Le(1, 4).Le(kSnapshot, 8).Le(0, 4).Le(kNone, 4)
             .Le(2, 4).Le(kPostFilter, 8).Le(1, 4).Le(1, 4),
         true, false},
        {{5, 0, 0},  // the text, then 24-byte records; only bit 0 of the pin word counts
         Expected().Text("", 32)
             .Le(0, 4).Le(0, 8).Le(0, 4).Le(kNone, 4).Le(0, 4)
             .Le(1, 4).Le(kSnapshot, 8).Le(0, 4).Le(kNone, 4).Le(1, 4)
             .Le(2, 4).Le(kPostFilter, 8).Le(1, 4).Le(1, 4).Le(0xFFFFFFFE, 4),
         true, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.version.major * 100 + c.version.minor * 10 + c.version.patch);
        std::vector<uint8_t> binary = WithModeSection(c.version, c.records.Bytes());
        TestSetManager manager;
        ASSERT_TRUE(manager.LoadBinaryParameters(binary.data(), binary.size()));
        ASSERT_EQ(manager.GetModeCount(), 3u);
        ModeEntry* pRoot = manager.GetModeEntry(0u);
        ModeEntry* pSnapshot = manager.GetModeEntry(1u);
        ModeEntry* pPostFilter = manager.GetModeEntry(2u);
        ASSERT_EQ(pRoot, manager.GetRootMode());
        EXPECT_TRUE(pRoot->Loaded && pRoot->Pinned);
        EXPECT_EQ(pRoot->FirstChild, pSnapshot);
        EXPECT_EQ(pSnapshot->ID, 1u);
        EXPECT_EQ(pSnapshot->Mode.Word(), kSnapshot);
        EXPECT_EQ(pSnapshot->Parent, pRoot);
        EXPECT_EQ(pSnapshot->Pinned, c.hasPin);
        EXPECT_TRUE(pSnapshot->Loaded);
        EXPECT_EQ(pPostFilter->Mode.Word(), 0x00050004u);
        EXPECT_EQ(pPostFilter->Parent, pSnapshot);
        EXPECT_FALSE(pPostFilter->Pinned);
        EXPECT_EQ(pPostFilter->LinkTarget(), c.hasLink ? pSnapshot : pPostFilter);
    }
}

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
    EXPECT_EQ(Messages(capture).at(2),
              "[DEBUG] ReadModeSection: No mode table in binary, ModeOffset(0) ModeSize(0), "
              "creating default");
}

}  // namespace
}  // namespace setmanager_test
