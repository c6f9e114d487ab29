// The CRC tail, shared copies of duplicates, and sections and fields set by the caller.
#include <gtest/gtest.h>

#include "binwriter/crc_tail.h"
#include "binwriter/tuning_binary_builder.h"
#include "expected_bytes.h"
#include "parser/file/crc32.h"

using binwriter::SectionEntry;
using binwriter::SectionType;
using binwriter::SymbolEntry;
using binwriter::TuningBinaryBuilder;
using binwriter::Version;
using binwriter_test::Expected;
using binwriter_test::kSymbolTable;
using binwriter_test::FindSection;
using binwriter_test::ReadLe;
using binwriter_test::ReadSections;
using binwriter_test::Slice;

namespace {


TEST(BinaryWriterContainer, CrcTailCoversEverythingBeforeIt) {
    std::vector<uint8_t> digits{'1', '2', '3', '4', '5', '6', '7', '8', '9'};
    binwriter::AppendCrcTail(digits);
    EXPECT_EQ(Slice(digits, 9, 4), Expected().Le(0xCBF43926, 4).Bytes());

    TuningBinaryBuilder builder({5, 0, 0});
    builder.AddMode({});
    builder.AddModule("m", {1, 0, 0}, 0, {1, 2, 3});
    const std::vector<uint8_t> binary = builder.Build();
    const size_t body = binary.size() - 4;
    EXPECT_EQ(ReadLe(binary, body, 4), ParameterCrc32::Compute(binary.data(), body));

    builder.Overrides().corruptCrc = true;
    std::vector<uint8_t> corrupt = builder.Build();
    EXPECT_EQ(Slice(corrupt, 0, body), Slice(binary, 0, body));
    EXPECT_NE(Slice(corrupt, body, 4), Slice(binary, body, 4));
    binwriter::RewriteCrcTail(corrupt);
    EXPECT_EQ(corrupt, binary);
}

TEST(BinaryWriterContainer, DuplicateGroupsShareOneStoredCopy) {
    struct Case {
        Version version;
        size_t entrySize;
        std::vector<uint32_t> offsets;
    };
    // Only versions with duplicate ids share; a differing copy in a group keeps its own.
    const Case cases[] = {{{4, 0, 0}, 60, {0, 0, 4, 6}}, {{3, 0, 1}, 56, {0, 4, 8, 10}}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.entrySize);
        TuningBinaryBuilder builder(c.version);
        builder.AddModule("a", {1, 0, 0}, 0, {1, 2, 3, 4});
        builder.AddSymbol(SymbolEntry{"b", {1, 0, 0}, 0, {1, 2, 3, 4}, 1u, {}});
        builder.AddSymbol(SymbolEntry{"c", {1, 0, 0}, 0, {9, 9}, 1u, {}});
        builder.AddModule("d", {1, 0, 0}, 0, {1, 2, 3, 4});
        const std::vector<uint8_t> binary = builder.Build();
        const auto symbols = FindSection(ReadSections(binary, 168, 2, 4), kSymbolTable);
        constexpr size_t kOffsetField = 48;
        for (size_t i = 0; i < c.offsets.size(); ++i) {
            EXPECT_EQ(ReadLe(binary, symbols.offset + i * c.entrySize + kOffsetField, 4),
                      c.offsets[i]) << "entry " << i + 1;
        }
        if (c.entrySize == 60) {
            constexpr size_t kDuplicateField = 56;
            EXPECT_EQ(ReadLe(binary, symbols.offset + 1 * 60 + kDuplicateField, 4), 1u);
            EXPECT_EQ(ReadLe(binary, symbols.offset + 3 * 60 + kDuplicateField, 4), 4u);
        }
    }
}

TEST(BinaryWriterContainer, SectionsAndRawFieldsFollowTheCaller) {
    TuningBinaryBuilder builder({4, 0, 0});
    builder.AddMode({});
    builder.AddModule("m", {1, 0, 0}, 0, {7});
    SymbolEntry bad{"bad", {1, 0, 0}, 0, {8}, {}, {}};
    bad.overrides.id = 0;
    bad.overrides.dataOffset = 1000;
    bad.overrides.dataLength = 5;
    builder.AddSymbol(bad);
    // The mode section is left out, the symbol table listed twice, and an unknown type added.
    builder.SetSections({SectionType::DataBlock, SectionType::SymbolTable,
                         SectionType::SymbolTable, SectionEntry(9, 500u, 600u)});
    binwriter::ContainerOverrides& raw = builder.Overrides();
    raw.headerTag = "Wrong Header";
    raw.headerSize = 99999;
    raw.sectionTableOffset = 7;
    raw.sectionCount = 5;
    const std::vector<uint8_t> binary = builder.Build();

    EXPECT_EQ(Slice(binary, 0, 28), Expected().Text("Wrong Header", 28).Bytes());
    EXPECT_EQ(ReadLe(binary, 28, 4), 99999u);
    EXPECT_EQ(ReadLe(binary, 160, 4), 7u);
    EXPECT_EQ(ReadLe(binary, 164, 4), 5u);

    // The table still stands behind the header; sections follow in the caller's order.
    const auto sections = ReadSections(binary, 168, 4, 4);
    const uint32_t blockOffset = 168 + 4 * 12;
    EXPECT_EQ(sections[0].type, 1u);
    EXPECT_EQ(sections[0].offset, blockOffset);
    EXPECT_EQ(sections[0].size, 2u);
    EXPECT_EQ(sections[1].type, 0u);
    EXPECT_EQ(sections[1].offset, blockOffset + 2);
    EXPECT_EQ(sections[1].size, 120u);
    EXPECT_EQ(sections[2].offset, sections[1].offset);
    EXPECT_EQ(sections[2].size, sections[1].size);
    EXPECT_EQ(sections[3].type, 9u);
    EXPECT_EQ(sections[3].offset, 500u);
    EXPECT_EQ(sections[3].size, 600u);
    EXPECT_EQ(Slice(binary, sections[1].offset + 60, 4), Expected().Le(0, 4).Bytes());
    EXPECT_EQ(Slice(binary, sections[1].offset + 60 + 48, 12),
              Expected().Le(1000, 4).Le(5, 4).Le(0, 4).Bytes());
}

}  // namespace
