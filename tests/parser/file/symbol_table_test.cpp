// The refusals of symbol tables that are not well-formed, and ids out of range.
#include <gtest/gtest.h>

#include <string>

#include "binwriter/tuning_binary_builder.h"
#include "log_capture.h"
#include "parser/file/parameter_file_symbol_table.h"
#include "symbol_table_support.h"

namespace {

using namespace symbol_table_test;
using parser_test::CountLogged;
using binwriter_test::Section;

// A module of a few values, and an object that is no module.
struct Binary {
    explicit Binary(binwriter::EntryOverrides objectOverrides = {}) {
        binwriter::TuningBinaryBuilder builder(version);
        builder.AddModule("lumatrope_abf40", {4, 0, 1}, 2, {1, 2, 3, 4});
        binwriter::SymbolEntry object;
        object.overrides = objectOverrides;
        builder.AddSymbol(object);
        bytes = builder.Build();
        sections = SectionsOf(bytes, version);
    }
    binwriter::Version version{4, 0, 0};
    std::vector<uint8_t> bytes;
    std::map<uint32_t, Section> sections;
};

TEST(SymbolTable, MalformedTablesAreRefused) {
    Binary binary;
    Section symbols = binary.sections[0];
    auto* pBytes = binary.bytes.data();
    auto length = static_cast<unsigned int>(binary.bytes.size());
    struct Case {
        unsigned int symbolSize, symbolOffset, dataTableSize, dataTableOffset;
        const char* pError;
    };
    const Case cases[] = {
        {119, symbols.offset, 0, 0, "Invalid symbol table size: 119, expected: 60"},
        {120, symbols.offset, 17, 8, "Invalid data table size: 17, expected: 16"},
        {120, length - 60, 0, 0, "Failed to read symbol table from binary file"},
    };
    for (const Case& c : cases) {
        TestSetManager setManager;
        ParameterFileSymbolTable table(&setManager, VersionUnion(4, 0, 0));
        zyra_test::LogCapture capture;
        EXPECT_FALSE(table.Load(pBytes, length, nullptr, nullptr, 0, c.symbolSize,
                                c.symbolOffset, c.dataTableSize, c.dataTableOffset, 4, 8,
                                nullptr, 1));
        EXPECT_EQ(CountLogged(capture, "[ERROR]", c.pError), 1) << c.pError;
    }

    // Values that run past the buffer fail the table.
    Binary longValues({std::nullopt, std::nullopt, 1000});
    TestSetManager setManager;
    TestModeTable modes(3);
    ParameterFileSymbolTable table(&setManager, VersionUnion(4, 0, 0));
    zyra_test::LogCapture capture;
    EXPECT_FALSE(LoadTable(table, longValues.bytes, longValues.version, &modes));
    EXPECT_EQ(CountLogged(capture, "[ERROR]", "Failed to read 1000 bytes"), 1);
}

TEST(SymbolTable, AnIdOutOfRangeStopsTheTableButNotTheLoad) {
    binwriter::TuningBinaryBuilder builder({4, 0, 0});
    builder.AddModule("first", {1, 0, 0}, 0, {1, 2, 3, 4});
    binwriter::SymbolEntry bad;
    bad.overrides.id = 9;
    builder.AddSymbol(bad);
    builder.AddModule("third", {1, 0, 0}, 0, {});
    std::vector<uint8_t> bytes = builder.Build();

    TestSetManager setManager;
    TestModeTable modes(1);
    ParameterFileSymbolTable table(&setManager, VersionUnion(4, 0, 0));
    zyra_test::LogCapture capture;
    ASSERT_TRUE(LoadTable(table, bytes, {4, 0, 0}, &modes));
    EXPECT_EQ(CountLogged(capture, "[ERROR]", "entry ID 9 out of range 1 - 3"), 2);
    EXPECT_EQ(table.GetModules().Count(), 1u);

    // Ids run from 1 to the count; entry 3 exists, unfilled.
    capture.Clear();
    ParameterFileSymbolTableEntry entry;
    EXPECT_TRUE(table.Find(entry, 3, true));
    EXPECT_EQ(entry.GetData(), nullptr);
    EXPECT_FALSE(table.Find(entry, 4, true));
    EXPECT_FALSE(table.Find(entry, 0, true));
    // Without a data table a pointer names a symbol entry.
    EXPECT_TRUE(table.Find(entry, 1, false));
    EXPECT_EQ(CountLogged(capture, "[ERROR]", "Find: Symbol table entry ID"), 2);
}

}  // namespace
