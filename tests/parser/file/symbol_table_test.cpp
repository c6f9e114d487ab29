// Tables the writer made for every layout, read from memory and from a file, and the
// refusals of tables that are not well-formed.
#include <gtest/gtest.h>

#include <string>

#include "binwriter/tuning_binary_builder.h"
#include "binwriter/value_writer.h"
#include "log_capture.h"
#include "parser/file/parameter_binary_file.h"
#include "parser/file/parameter_file_symbol_table.h"
#include "parser/setmanager/module_data.h"
#include "symbol_table_support.h"
#include "temp_dir.h"
#include "zyra/memory.h"

namespace {

using namespace symbol_table_test;
using parser_test::CountLogged;
using binwriter_test::Section;

// A module of one value of each width and a text, and an object that is no module.
struct Binary {
    explicit Binary(const binwriter::Version& writtenVersion,
                    binwriter::EntryOverrides objectOverrides = {})
        : version(writtenVersion) {
        binwriter::TuningBinaryBuilder builder(version);
        binwriter::ValueWriter values(builder);
        values.U8(0x11).U16(0x2233).U32(0x44556677).U64(0x8899AABBCCDDEEFFull).String("tuned");
        module = builder.AddModule("lumatrope_abf40", {4, 0, 1}, 2, values.Bytes());
        binwriter::SymbolEntry object;
        object.data = {};
        object.overrides = objectOverrides;
        builder.AddSymbol(object);
        bytes = builder.Build();
        sections = SectionsOf(bytes, version);
    }
    bool Load(ParameterFileSymbolTable& table, IModeTable* pModeTable,
              ParameterBinaryFile* pFile = nullptr, const char* pFileName = nullptr) {
        return LoadTable(table, bytes, version, pModeTable, pFile, pFileName);
    }
    binwriter::Version version;
    std::vector<uint8_t> bytes;
    std::map<uint32_t, Section> sections;
    uint32_t module = 0;
};

void ExpectModuleValues(ParameterFileSymbolTable& table, ParameterFileSymbolTableEntry& entry) {
    const unsigned char alignment = table.GetAlignment();
    uint8_t u8 = 0;
    uint16_t u16 = 0;
    uint32_t u32 = 0;
    uint64_t u64 = 0;
    uint32_t length = 0;
    EXPECT_TRUE(entry.Read(&u8, alignment) && entry.Read(&u16, alignment) &&
                entry.Read(&u32, alignment) && entry.Read(&u64, alignment) &&
                entry.Read(&length, alignment));
    EXPECT_EQ(u8, 0x11);
    EXPECT_EQ(u16, 0x2233);
    EXPECT_EQ(u32, 0x44556677u);
    EXPECT_EQ(u64, 0x8899AABBCCDDEEFFull);
    ParameterFileSymbolTableEntry text;
    ASSERT_TRUE(table.ReadPointerEntry(text, &entry, alignment));
    char* pText = nullptr;
    ASSERT_TRUE(text.ReadString(&pText, length, alignment));
    EXPECT_STREQ(pText, "tuned");
    EXPECT_TRUE(table.ReleaseDupObject(pText));
    ZyraFree(pText);
}

const binwriter::Version kVersions[] = {{1, 0, 0}, {1, 1, 0}, {2, 0, 0}, {3, 0, 1},
                                        {3, 5, 0}, {4, 0, 0}, {5, 0, 0}};

// From a file, only the lookups stay after the load, and each Find reads its entry and
// values from the file again.
TEST(SymbolTable, WriterTablesOfEveryLayoutLoadFromMemoryAndFromAFile) {
    zyra_test::TempDir dir;
    for (const binwriter::Version& version : kVersions) {
        for (bool fromFile : {false, true}) {
            SCOPED_TRACE(std::to_string(version.major) + "." + std::to_string(version.minor) +
                         (fromFile ? " file" : " memory"));
            Binary binary(version);
            std::string path = dir.Write("tuning.bin", std::string(binary.bytes.begin(),
                                                                  binary.bytes.end()));
            TestSetManager setManager;
            TestModeTable modes(3);
            ParameterBinaryFile file(path.c_str(), nullptr, true);
            ParameterFileSymbolTable table(&setManager, VersionUnion(version.Word()));
            ASSERT_TRUE(binary.Load(table, &modes, fromFile ? &file : nullptr,
                                    fromFile ? path.c_str() : nullptr));
            // Where there is no data table the text is a symbol entry.
            EXPECT_EQ(table.GetSymbolCount(), binwriter::HasDataTable(version) ? 2u : 3u);
            ASSERT_EQ(table.GetModules().Count(), 1u);
            const ModuleData& module = *table.GetModules()[0];
            EXPECT_EQ(module.ID, binary.module);
            EXPECT_STREQ(module.Type, "lumatrope_abf40");
            EXPECT_EQ(module.Version, VersionUnion(4, 0, 1));
            EXPECT_STREQ(module.ModulePath, "2.2");
            if (fromFile) {
                table.FreeEntryData();
                table.FileReference(-1);
            }

            zyra_test::LogCapture capture;
            ParameterFileSymbolTableEntry entry;
            ASSERT_TRUE(table.Find(entry, binary.module, true));
            EXPECT_EQ(entry.GetModuleData() != nullptr, fromFile);
            ExpectModuleValues(table, entry);
            // Read from a file, an empty entry has no values at all, and fails in silence.
            ASSERT_TRUE(table.Find(entry, binary.module + 1, true));
            uint8_t u8 = 0;
            EXPECT_FALSE(entry.Read(&u8, 1));
            EXPECT_EQ(Lines(capture, "[ERROR]").size(), fromFile ? 0u : 1u);
        }
    }
}

TEST(SymbolTable, MalformedTablesAreRefused) {
    Binary binary({4, 0, 0});
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
    Binary longValues({4, 0, 0}, {std::nullopt, std::nullopt, 1000});
    TestSetManager setManager;
    TestModeTable modes(3);
    ParameterFileSymbolTable table(&setManager, VersionUnion(4, 0, 0));
    zyra_test::LogCapture capture;
    EXPECT_FALSE(longValues.Load(table, &modes));
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
