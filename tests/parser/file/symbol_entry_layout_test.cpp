// The reader held to symbol and data table entries written out by hand.
#include <gtest/gtest.h>

#include "../../binwriter/golden_symbol_tables.h"
#include "parser/file/parameter_file_symbol_table.h"
#include "parser/setmanager/module_data.h"
#include "symbol_table_support.h"

namespace {

using namespace symbol_table_test;
using binwriter_test::Expected;
using binwriter_test::GoldenSymbolTable;

constexpr uint32_t kNotAModule = 0xFFFFFFFFu;

TEST(SymbolEntryLayout, GoldenTablesOfEachLayoutDecodeFieldByField) {
    for (const GoldenSymbolTable& golden : binwriter_test::GoldenSymbolTables()) {
        SCOPED_TRACE(golden.declaredSize);
        std::vector<uint8_t> bytes(16, 0);
        bytes.insert(bytes.end(), golden.bytes.begin(), golden.bytes.end());
        bytes.resize(16 + 2 * golden.declaredSize, 0);
        const auto dataOffset = static_cast<unsigned int>(bytes.size());
        bytes.resize(dataOffset + 16, 0x5A);
        const uint8_t* pData = bytes.data() + dataOffset;

        TestSetManager setManager;
        TestModeTable modes(6);
        ParameterFileSymbolTable table(&setManager, VersionUnion(golden.version.Word()));
        ASSERT_EQ(table.GetSymbolEntrySize(golden.alignment), golden.declaredSize);
        ASSERT_TRUE(table.Load(bytes.data(), static_cast<unsigned int>(bytes.size()), nullptr,
                               nullptr, 0, 2 * golden.declaredSize, 16, 0, 0, 16, dataOffset, &modes,
                               golden.alignment));
        ParameterFileSymbolTableEntry entry;
        ASSERT_TRUE(table.Find(entry, 2, true));
        EXPECT_EQ(entry.GetId(), 2u);
        EXPECT_EQ(entry.GetDuplicateId(), 2u);
        EXPECT_EQ(entry.GetData(), pData + golden.secondOffset);
        EXPECT_EQ(entry.GetLength(), 1u);

        ASSERT_EQ(table.GetModules().Count(), 2u);
        const ModuleData& module = *table.GetModules()[0];
        EXPECT_EQ(module.ID, 1u);
        EXPECT_STREQ(module.Type, "abc");
        EXPECT_EQ(module.Version.Word(), binwriter_test::kGoldenModuleVersion);
        EXPECT_EQ(module.ModeId, 5u);
        EXPECT_STREQ(module.ModulePath, "2.5");
        EXPECT_STREQ(table.GetModules()[1]->Type, "second");
    }
}

TEST(SymbolEntryLayout, DataTableEntryDecodesFieldByField) {
    std::vector<uint8_t> bytes =
        Expected().Le(1, 4).Text("module", 32).Le(0, 8).Le(kNotAModule, 4).Le(0, 4).Le(4, 4)
            .Le(1, 4).Le(1, 4).Le(10, 4).Le(5, 4).Le(2, 4).Le(2, 4).Le(0, 4).Le(3, 4).Le(2, 4)
            .Zeros(60)  // a file read fetches a data table entry with a symbol entry's size
            .Bytes();
    const auto dataOffset = static_cast<unsigned int>(bytes.size());
    bytes.resize(dataOffset + 16, 0);

    TestSetManager setManager;
    ParameterFileSymbolTable table(&setManager, VersionUnion(4, 0, 0));
    EXPECT_EQ(table.GetDataTableEntrySize(), 16u);
    ASSERT_TRUE(table.Load(bytes.data(), static_cast<unsigned int>(bytes.size()), nullptr,
                           nullptr, 0, 60, 0, 32, 60, 16, dataOffset, nullptr, 1));
    ParameterFileSymbolTableEntry entry;
    ASSERT_TRUE(table.Find(entry, 1, false));
    EXPECT_EQ(entry.GetId(), 1u);
    EXPECT_EQ(entry.GetData(), bytes.data() + dataOffset + 10);
    EXPECT_EQ(entry.GetLength(), 5u);
    EXPECT_EQ(entry.GetDuplicateId(), 2u);
    EXPECT_EQ(entry.GetModuleData(), nullptr);
    EXPECT_EQ(table.GetDataCount(), 2u);
}

}  // namespace
