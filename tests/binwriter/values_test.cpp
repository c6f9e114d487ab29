// Module values as generated loaders read them, composed with ValueWriter, and duplicates
// stored once.
#include <gtest/gtest.h>

#include "binwriter/tuning_binary_builder.h"
#include "binwriter/value_writer.h"
#include "expected_bytes.h"

using binwriter::SymbolEntry;
using binwriter::TuningBinaryBuilder;
using binwriter::ValueWriter;
using binwriter::Version;
using binwriter_test::Expected;
using binwriter_test::kDataTable;
using binwriter_test::kDataBlock;
using binwriter_test::kSymbolTable;
using binwriter_test::FindSection;
using binwriter_test::ReadLe;
using binwriter_test::ReadSections;
using binwriter_test::Slice;

namespace {

TEST(BinaryWriterValues, ScalarsTakeSlotsAndFixedArraysArePacked) {
    struct Case {
        Version version;
        std::vector<uint8_t> expected;
    };
    const Case cases[] = {
        {{4, 0, 0},
         Expected().Le(0x11, 1).Le(0x2233, 2).Le(0xFFFFFFFF, 4).Le(0x3F800000, 4)
             .Le(0x4000000000000000, 8).Le(0xFE, 1).Le(1, 2).Le(2, 2).Le(3, 2).Le(7, 8).Bytes()},
        {{2, 0, 0},
         Expected().Le(0x11, 8).Le(0x2233, 8).Le(0xFFFFFFFF, 8).Le(0x3F800000, 8)
             .Le(0x4000000000000000, 8).Le(0xFE, 8).Le(1, 2).Le(2, 2).Le(3, 2).Zeros(2)
             .Le(7, 8).Bytes()},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.expected.size());
        TuningBinaryBuilder builder(c.version);
        ValueWriter values(builder);
        values.U8(0x11).U16(0x2233).I32(-1).Float(1.0f).Double(2.0).I8(-2);
        values.Packed(std::vector<uint16_t>{1, 2, 3}).U64(7);
        EXPECT_EQ(values.Bytes(), c.expected);
    }
}

TEST(BinaryWriterValues, StringsPointAtAnEntryHoldingTheirText) {
    // From 4.0.0 the text lies in a data table entry.
    TuningBinaryBuilder builder({4, 0, 0});
    ValueWriter values(builder);
    values.U8(9).String("hi");
    EXPECT_EQ(values.Bytes(), Expected().Le(9, 1).Le(3, 4).Le(1, 4).Bytes());
    builder.AddModule("m", {1, 0, 0}, 0, values.Bytes());
    std::vector<uint8_t> binary = builder.Build();
    auto sections = ReadSections(binary, 168, 3, 4);
    const auto dataTable = FindSection(sections, kDataTable);
    const auto block = FindSection(sections, kDataBlock);
    EXPECT_EQ(Slice(binary, dataTable.offset, dataTable.size),
              Expected().Le(1, 4).Le(9, 4).Le(3, 4).Le(1, 4).Bytes());
    // Symbol entries' values come first in the data block, the module's nine bytes here.
    EXPECT_EQ(Slice(binary, block.offset + 9, 3), (std::vector<uint8_t>{'h', 'i', 0}));
    // Loading from a file fetches every data table entry with a symbol entry's 60 bytes.
    EXPECT_GE(block.offset, dataTable.offset + 60);

    // Before 4.0.0 the text becomes a symbol entry that is no module.
    TuningBinaryBuilder older({3, 0, 2});
    ValueWriter olderValues(older);
    olderValues.String("hi");
    EXPECT_EQ(olderValues.Bytes(), Expected().Le(3, 4).Le(1, 4).Bytes());
    EXPECT_EQ(older.AddModule("m", {1, 0, 0}, 0, olderValues.Bytes()), 2u);
    binary = older.Build();
    const auto symbols = FindSection(ReadSections(binary, 168, 2, 4), kSymbolTable);
    EXPECT_EQ(Slice(binary, symbols.offset, 60),
              Expected().Le(1, 4).Zeros(32).Le(0, 8).Le(0xFFFFFFFF, 4).Le(0, 4).Le(3, 4)
                  .Le(1, 4).Bytes());
}

// Shared targets: equal values one entry, a fixed entry serving as well, a duplicate group once
// a site names the values twice, and equal values stored once.
TEST(BinaryWriterValues, EqualValuesShareAnEntryAndFormAGroupWhereASiteRepeats) {
    TuningBinaryBuilder builder({4, 0, 0});
    builder.AddPointerTargetAt(3, {7, 7});
    builder.SetShareEqualValues(true);
    EXPECT_EQ(builder.AddSharedTarget({7, 7}, std::nullopt), 3u);
    EXPECT_EQ(builder.AddSharedTarget({1}, "site"), 1u);
    EXPECT_EQ(builder.AddSharedTarget({1}, "other site"), 1u);
    EXPECT_EQ(builder.AddSharedTarget({1}, "site"), 1u);
    EXPECT_EQ(builder.AddSharedTarget({1}, "site"), 1u);
    EXPECT_EQ(builder.AddSharedTarget({7}, std::nullopt), 4u);
    std::vector<uint8_t> binary = builder.Build();
    auto sections = ReadSections(binary, 168, 3, 4);
    const auto dataTable = FindSection(sections, kDataTable);
    // Entry 2 makes entry 1 a group; it was free below the fixed id 3.
    EXPECT_EQ(Slice(binary, dataTable.offset, dataTable.size),
              Expected().Le(1, 4).Le(0, 4).Le(1, 4).Le(1, 4).Le(2, 4).Le(0, 4).Le(1, 4).Le(1, 4)
                  .Le(3, 4).Le(1, 4).Le(2, 4).Le(3, 4).Le(4, 4).Le(3, 4).Le(1, 4).Le(4, 4)
                  .Bytes());
}

TEST(BinaryWriterValues, DuplicateGroupsShareOneStoredCopy) {
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

}  // namespace
