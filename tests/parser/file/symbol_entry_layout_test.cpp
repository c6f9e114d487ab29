// The reader held to symbol and data table entries written out by hand, and the cursor's
// rules on values of every width and on reads that run short.
#include <gtest/gtest.h>

#include "../../binwriter/golden_symbol_tables.h"
#include "log_capture.h"
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

TEST(EntryCursor, ValuesTakeTheirSlotAndShortReadsReadZero) {
    std::vector<uint8_t> bytes =
        Expected().Le(1, 4).Text("values", 32).Le(0, 8).Le(kNotAModule, 4).Le(0, 4).Le(16, 4)
            .Le(1, 4).Le(0x0807060504030201, 8).Le(0x100F0E0D0C0B0A09, 8).Bytes();
    TestSetManager setManager;
    ParameterFileSymbolTable table{&setManager, VersionUnion(4, 0, 0)};
    ASSERT_TRUE(table.Load(bytes.data(), static_cast<unsigned int>(bytes.size()), nullptr,
                           nullptr, 0, 60, 0, 0, 0, 16, 60, nullptr, 1));
    ParameterFileSymbolTableEntry entry;
    ASSERT_TRUE(table.Find(entry, 1, true));
    zyra_test::LogCapture capture;

    uint8_t u8 = 0;
    uint16_t u16 = 0;
    uint32_t u32 = 0;
    uint64_t u64 = 0;
    EXPECT_TRUE(entry.Read(&u8, 1) && entry.Read(&u16, 1) && entry.Read(&u32, 1) &&
                entry.Read(&u64, 1));
    EXPECT_EQ(u8, 0x01);
    EXPECT_EQ(u16, 0x0302);
    EXPECT_EQ(u32, 0x07060504u);
    EXPECT_EQ(u64, 0x0F0E0D0C0B0A0908ull);
    EXPECT_EQ(entry.GetPosition(), 15u);
    u16 = 0xFFFF;
    EXPECT_FALSE(entry.Read(&u16, 1));
    EXPECT_EQ(u16, 0);
    EXPECT_FALSE(entry.Read(&u16, 1, ParameterFileSymbolTableEntry::ShortRead::Quiet));
    EXPECT_EQ(entry.GetPosition(), 15u);
    EXPECT_EQ(Lines(capture, "[ERROR]"),
              (std::vector<std::string>{
                  "[ERROR] Failed to read 2 bytes from binary file offset 15, length 16\n"}));

    // An entry without values fails every read in silence.
    capture.Clear();
    ParameterFileSymbolTableEntry fresh;
    u32 = 7;
    EXPECT_FALSE(fresh.Read(&u32, 1));
    EXPECT_EQ(u32, 0u);
    EXPECT_FALSE(fresh.ReadBlock(reinterpret_cast<uint8_t*>(&u64), 3, 1));
    ParameterFileSymbolTableEntry target;
    EXPECT_FALSE(table.ReadPointerEntry(target, &fresh, 1));
    EXPECT_TRUE(capture.Lines().empty());
}

}  // namespace
