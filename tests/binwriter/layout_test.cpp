// The header and symbol table of each layout family compared with bytes written out by hand;
// the reader is held to the same hand-written symbol tables, and to its own mode records.
#include <gtest/gtest.h>

#include "binwriter/tuning_binary_builder.h"
#include "expected_bytes.h"
#include "golden_symbol_tables.h"

using binwriter::TuningBinaryBuilder;
using binwriter::Version;
using binwriter_test::Expected;
using binwriter_test::kDataBlock;
using binwriter_test::kSymbolTable;
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

TEST(BinaryWriterLayout, SymbolTableOfEachEntryLayoutIsTheGoldenOne) {
    for (const binwriter_test::GoldenSymbolTable& golden : binwriter_test::GoldenSymbolTables()) {
        SCOPED_TRACE(golden.declaredSize);
        TuningBinaryBuilder builder(golden.version);
        builder.AddModule("abc", {1, 2, 3}, 5, {0xAA, 0xBB});
        builder.AddModule("second", {1, 2, 3}, 5, {0xCC});
        const std::vector<uint8_t> binary = builder.Build();
        const size_t word = golden.alignment == 8 ? 8 : 4;
        // The symbol table is the first section.
        const auto symbols = ReadSections(binary, golden.headerSize, 1, word)[0];
        EXPECT_EQ(symbols.type, kSymbolTable);
        EXPECT_EQ(symbols.size, 2 * golden.declaredSize);
        EXPECT_EQ(Slice(binary, symbols.offset, golden.bytes.size()), golden.bytes);
    }
}

}  // namespace
