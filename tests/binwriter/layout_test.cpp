// The bytes of each layout family compared with sequences written out by hand.
#include <gtest/gtest.h>

#include "binwriter/tuning_binary_builder.h"
#include "expected_bytes.h"

using binwriter::ModeRecord;
using binwriter::TuningBinaryBuilder;
using binwriter::Version;
using binwriter_test::Expected;
using binwriter_test::kModeSection;
using binwriter_test::kDataBlock;
using binwriter_test::kSymbolTable;
using binwriter_test::FindSection;
using binwriter_test::ReadSections;
using binwriter_test::Slice;

namespace {

const char kTag[] = "OVI Lumatrope Header";

TEST(BinaryWriterLayout, HeaderOfEachLayoutAndAnEightByteSectionTable) {
    struct Case {
        Version version;
        std::vector<uint8_t> header;
        size_t sectionWord;
    };
    // An empty binary is padded to 316 bytes, and headerSize holds the whole length.
    const Case cases[] = {
        {{1, 0, 1},
         Expected().Text(kTag, 28).Le(316, 4).Le(1, 2).Le(0, 2).Le(1, 4).Le(48, 4).Le(2, 4)
             .Bytes(),
         4},
        {{2, 5, 7},
         Expected().Text(kTag, 28).Le(316, 4).Le(2, 2).Le(5, 2).Le(7, 4).Text("tool", 48)
             .Text("tag", 64).Le(160, 4).Le(2, 4).Bytes(),
         8},
        {{3, 0, 0},
         Expected().Text(kTag, 28).Le(316, 4).Le(3, 2).Le(0, 2).Le(0, 4).Text("tool", 48)
             .Text("tag", 64).Le(0x40, 8).Le(168, 4).Le(2, 4).Bytes(),
         8},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.header.size());
        TuningBinaryBuilder builder(c.version);
        builder.SetTool("tool");
        builder.SetBinaryTag("tag");
        builder.SetFlags(0x40);
        const std::vector<uint8_t> binary = builder.Build();
        ASSERT_EQ(binary.size(), 316u);
        EXPECT_EQ(Slice(binary, 0, c.header.size()), c.header);

        // Symbol table (empty) and data block (one zero slot) follow the section table.
        const size_t word = c.sectionWord;
        const size_t tableEnd = c.header.size() + 2 * 3 * word;
        const std::vector<uint8_t> table =
            Expected().Le(kSymbolTable, word).Le(tableEnd, word).Le(0, word)
                .Le(kDataBlock, word).Le(tableEnd, word).Le(word, word).Bytes();
        EXPECT_EQ(Slice(binary, c.header.size(), table.size()), table);
    }
}

TEST(BinaryWriterLayout, SymbolEntryOfEachSize) {
    struct Case {
        Version version;
        size_t headerSize;
        size_t declaredSize;
        size_t stride;
        size_t sectionWord;
        std::vector<uint8_t> firstEntry;
    };
    constexpr uint64_t kModuleVersion = 0x0000000300020001;  // 1.2.3
    const Case cases[] = {
        {{1, 0, 0}, 48, 64, 64, 4,
         Expected().Le(1, 4).Text("abc", 32).Le(kModuleVersion, 8).Zeros(8).Le(5, 4).Le(0, 4)
             .Le(2, 4).Bytes()},
        {{3, 0, 1}, 168, 56, 56, 4,
         Expected().Le(1, 4).Text("abc", 32).Le(kModuleVersion, 8).Le(5, 4).Le(0, 4).Le(2, 4)
             .Bytes()},
        {{3, 0, 2}, 168, 60, 60, 4,
         Expected().Le(1, 4).Text("abc", 32).Le(kModuleVersion, 8).Le(5, 4).Le(0, 4).Le(2, 4)
             .Le(1, 4).Bytes()},
        // 8-byte binaries declare 76 bytes per entry while the fields take 72.
        {{2, 0, 0}, 160, 76, 72, 8,
         Expected().Le(1, 8).Text("abc", 32).Le(kModuleVersion, 8).Le(5, 8).Le(0, 8).Le(2, 8)
             .Bytes()},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.declaredSize);
        TuningBinaryBuilder builder(c.version);
        builder.AddModule("abc", {1, 2, 3}, 5, {0xAA, 0xBB});
        builder.AddModule("second", {1, 2, 3}, 5, {0xCC});
        const std::vector<uint8_t> binary = builder.Build();
        const auto sections = ReadSections(binary, c.headerSize, 2, c.sectionWord);
        const auto symbols = FindSection(sections, kSymbolTable);
        EXPECT_EQ(symbols.size, 2 * c.declaredSize);
        EXPECT_EQ(Slice(binary, symbols.offset, c.firstEntry.size()), c.firstEntry);
        EXPECT_EQ(binary[symbols.offset + c.stride], 2) << "second entry's id";
    }
}

TEST(BinaryWriterLayout, ModeSectionOfEachRecordSize) {
    struct Case {
        Version version;
        size_t headerSize;
        size_t sectionWord;
        std::vector<uint8_t> section;
    };
    // A root Default node, then Usecase.Snapshot under it, linked to the root and pinned.
    constexpr uint64_t kSnapshot = 2 | 1 << 16;
    constexpr uint64_t kNoLink = 0xFFFFFFFF;
    const Case cases[] = {
        {{1, 0, 0}, 48, 4,
         Expected().Le(0, 4).Le(0, 8).Le(0, 4).Le(1, 4).Le(kSnapshot, 8).Le(0, 4).Bytes()},
        {{3, 0, 1}, 168, 4,
         Expected().Le(0, 4).Le(0, 8).Le(0, 4).Le(kNoLink, 4)
             .Le(1, 4).Le(kSnapshot, 8).Le(0, 4).Le(0, 4).Bytes()},
        {{5, 0, 0}, 168, 4,
         Expected().Text("modes", 32).Le(0, 4).Le(0, 8).Le(0, 4).Le(kNoLink, 4).Le(0, 4)
             .Le(1, 4).Le(kSnapshot, 8).Le(0, 4).Le(0, 4).Le(1, 4).Bytes()},
        {{1, 1, 0}, 160, 8,
         Expected().Le(0, 8).Le(0, 8).Le(0, 8).Le(1, 8).Le(kSnapshot, 8).Le(0, 8).Bytes()},
        {{2, 0, 0}, 160, 8,
         Expected().Le(0, 8).Le(0, 8).Le(0, 8).Le(kNoLink, 8)
             .Le(1, 8).Le(kSnapshot, 8).Le(0, 8).Le(0, 8).Bytes()},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.section.size());
        TuningBinaryBuilder builder(c.version);
        builder.SetModePrefix("modes");
        EXPECT_EQ(builder.AddMode({}), 0u);
        EXPECT_EQ(builder.AddMode(ModeRecord{2, 1, 0u, 0u, true, {}}), 1u);
        const std::vector<uint8_t> binary = builder.Build();
        const auto modes =
            FindSection(ReadSections(binary, c.headerSize, 3, c.sectionWord), kModeSection);
        EXPECT_EQ(modes.size, c.section.size());
        EXPECT_EQ(Slice(binary, modes.offset, modes.size), c.section);
    }

    // A second id for a node is a record under it with the same mode and submode.
    TuningBinaryBuilder builder({3, 0, 1});
    builder.AddMode({});
    builder.AddMode(ModeRecord{2, 1, 0u, {}, false, {}});
    EXPECT_EQ(builder.AddModeAlias(1), 2u);
    const std::vector<uint8_t> binary = builder.Build();
    const auto modes = FindSection(ReadSections(binary, 168, 3, 4), kModeSection);
    EXPECT_EQ(Slice(binary, modes.offset + 40, 20),
              Expected().Le(2, 4).Le(kSnapshot, 8).Le(1, 4).Le(kNoLink, 4).Bytes());
}

}  // namespace
