// Entries assembled byte by byte, so that the reader is held to the layout itself and not to
// the writer's idea of it, and the cursor's rules on values of every width.
#include <gtest/gtest.h>

#include "log_capture.h"
#include "parser/file/parameter_file_symbol_table.h"
#include "parser/setmanager/module_data.h"
#include "symbol_table_support.h"

namespace {

using namespace symbol_table_test;
using Messages = std::vector<std::string>;

// A name filling its 32 bytes, so that nothing but the field's end terminates it.
const char kName[] = "abcdefghijklmnopqrstuvwxyz012345";
constexpr uint64_t kVersion = 0x0000000300020001ull;  // 1.2.3
constexpr uint32_t kNotAModule = 0xFFFFFFFFu;
constexpr uint8_t kJunk = 0xEE;  // in bytes the reader must pass over

using EntryWriter = void (*)(Bytes&, uint32_t id, const char* pName, uint32_t mode,
                             uint32_t offset, uint32_t length);

void Entry64(Bytes& b, uint32_t id, const char* pName, uint32_t mode, uint32_t offset,
             uint32_t length) {
    b.U32(id).Text(pName, 32).U64(kVersion).Fill(8, kJunk).U32(mode).U32(offset).U32(length);
}
void Entry56(Bytes& b, uint32_t id, const char* pName, uint32_t mode, uint32_t offset,
             uint32_t length) {
    b.U32(id).Text(pName, 32).U64(kVersion).U32(mode).U32(offset).U32(length);
}
void Entry60(Bytes& b, uint32_t id, const char* pName, uint32_t mode, uint32_t offset,
             uint32_t length) {
    Entry56(b, id, pName, mode, offset, length);
    b.U32(id);  // its own duplicate id
}
// Every word in an 8-byte slot; 72 bytes, although the table counts 76 per entry.
void Entry72(Bytes& b, uint32_t id, const char* pName, uint32_t mode, uint32_t offset,
             uint32_t length) {
    b.U32(id).Fill(4, kJunk).Text(pName, 32).U64(kVersion);
    for (uint32_t word : {mode, offset, length}) {
        b.U32(word).Fill(4, kJunk);
    }
}

// A 4.0.0 table whose one entry, no module, holds `values`; `entry` views it.
struct OneEntryTable {
    explicit OneEntryTable(const std::vector<uint8_t>& values) {
        Entry60(bytes, 1, "values", kNotAModule, 0, static_cast<uint32_t>(values.size()));
        bytes.Append(values);
        table.Load(bytes.Data().data(), bytes.Size(), nullptr, nullptr, 0, 60, 0, 0, 0,
                   bytes.Size() - 60, 60, nullptr, 1);
        table.Find(entry, 1, true);
    }
    TestSetManager setManager;
    Bytes bytes;
    ParameterFileSymbolTable table{&setManager, VersionUnion(4, 0, 0)};
    ParameterFileSymbolTableEntry entry;
};

TEST(SymbolEntryLayout, EachEntrySizeDecodesFieldByField) {
    struct Case {
        VersionUnion version;
        unsigned char alignment;
        unsigned int entrySize;
        EntryWriter write;
    };
    const Case cases[] = {{VersionUnion(1, 0, 0), 1, 64, Entry64},
                          {VersionUnion(2, 0, 0), 8, 76, Entry72},
                          {VersionUnion(3, 0, 1), 1, 56, Entry56},
                          {VersionUnion(4, 0, 0), 1, 60, Entry60}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.entrySize);
        Bytes bytes;
        bytes.Fill(16, 0);
        c.write(bytes, 1, kName, 3, 4, 6);
        c.write(bytes, 2, "object", kNotAModule, 0, 2);
        bytes.Fill(16 + 2 * c.entrySize - bytes.Size(), 0);
        const unsigned int dataOffset = bytes.Size();
        bytes.Fill(16, 0x5A);
        const uint8_t* pBase = bytes.Data().data();

        TestSetManager setManager;
        TestModeTable modes(4);
        ParameterFileSymbolTable table(&setManager, c.version);
        ASSERT_EQ(table.GetSymbolEntrySize(c.alignment), c.entrySize);
        ASSERT_TRUE(table.Load(bytes.Data().data(), bytes.Size(), nullptr, nullptr, 0,
                               2 * c.entrySize, 16, 0, 0, 16, dataOffset, &modes, c.alignment));
        ParameterFileSymbolTableEntry entry;
        ASSERT_TRUE(table.Find(entry, 1, true));
        EXPECT_EQ(entry.GetId(), 1u);
        EXPECT_EQ(entry.GetDuplicateId(), 1u);
        EXPECT_EQ(entry.GetData(), pBase + dataOffset + 4);
        EXPECT_EQ(entry.GetLength(), 6u);
        ASSERT_TRUE(table.Find(entry, 2, true));
        EXPECT_EQ(entry.GetData(), pBase + dataOffset);
        EXPECT_EQ(entry.GetLength(), 2u);

        ASSERT_EQ(table.GetModules().Count(), 1u);
        const ModuleData& module = *table.GetModules()[0];
        EXPECT_EQ(module.ID, 1u);
        EXPECT_STREQ(module.Type, kName);
        EXPECT_EQ(module.Version.Word(), kVersion);
        EXPECT_EQ(module.ModeId, 3u);
        EXPECT_STREQ(module.ModulePath, "2.3");
    }
}

TEST(SymbolEntryLayout, DataTableEntryDecodesFieldByField) {
    Bytes bytes;
    Entry60(bytes, 1, "module", kNotAModule, 0, 4);
    bytes.U32(1).U32(10).U32(5).U32(2).U32(2).U32(0).U32(3).U32(2);
    bytes.Fill(60, 0);  // a file read fetches a data table entry with a symbol entry's size
    const unsigned int dataOffset = bytes.Size();
    bytes.Fill(16, 0);

    TestSetManager setManager;
    ParameterFileSymbolTable table(&setManager, VersionUnion(4, 0, 0));
    EXPECT_EQ(table.GetDataTableEntrySize(), 16u);
    ASSERT_TRUE(table.Load(bytes.Data().data(), bytes.Size(), nullptr, nullptr, 0, 60, 0, 32,
                           60, 16, dataOffset, nullptr, 1));
    ParameterFileSymbolTableEntry entry;
    ASSERT_TRUE(table.Find(entry, 1, false));
    EXPECT_EQ(entry.GetId(), 1u);
    EXPECT_EQ(entry.GetData(), bytes.Data().data() + dataOffset + 10);
    EXPECT_EQ(entry.GetLength(), 5u);
    EXPECT_EQ(entry.GetDuplicateId(), 2u);
    EXPECT_EQ(entry.GetModuleData(), nullptr);
    EXPECT_EQ(table.GetDataCount(), 2u);
}

TEST(EntryCursor, ValuesTakeTheirSlotAndShortReadsReadZero) {
    std::vector<uint8_t> values;
    for (uint8_t value = 1; value <= 16; ++value) {
        values.push_back(value);
    }
    OneEntryTable t(values);
    ParameterFileSymbolTableEntry& entry = t.entry;
    zyra_test::LogCapture capture;

    uint8_t u8 = 0;
    uint16_t u16 = 0;
    uint32_t u32 = 0;
    uint64_t u64 = 0;
    EXPECT_TRUE(entry.Read(&u8, 1));
    EXPECT_TRUE(entry.Read(&u16, 1));
    EXPECT_TRUE(entry.Read(&u32, 1));
    EXPECT_TRUE(entry.Read(&u64, 1));
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
              (Messages{"[ERROR] Failed to read 2 bytes from binary file offset 15, length 16\n"}));

    // Alignment 8 gives every value an 8-byte slot; enumerations are 32-bit words.
    ASSERT_TRUE(t.table.Find(entry, 1, true));
    EXPECT_TRUE(entry.Read(&u8, 8));
    EXPECT_EQ(entry.GetPosition(), 8u);
    bool read = false;
    EXPECT_EQ(entry.ReadEnum(&read, 8), 0x0C0B0A09u);
    EXPECT_TRUE(read);
    EXPECT_EQ(entry.ReadEnum(&read, 8), 0u);
    EXPECT_FALSE(read);

    // A fixed array is one packed block, padded to the alignment.
    ASSERT_TRUE(t.table.Find(entry, 1, true));
    uint8_t block[3] = {};
    EXPECT_TRUE(entry.ReadBlock(block, 3, 8));
    EXPECT_EQ(block[2], 0x03);
    EXPECT_EQ(entry.GetPosition(), 8u);

    // An entry without values fails every read in silence.
    capture.Clear();
    ParameterFileSymbolTableEntry fresh;
    u32 = 7;
    EXPECT_FALSE(fresh.Read(&u32, 1));
    EXPECT_EQ(u32, 0u);
    EXPECT_FALSE(fresh.ReadBlock(block, 3, 1));
    ParameterFileSymbolTableEntry target;
    EXPECT_FALSE(t.table.ReadPointerEntry(target, &fresh, 1));
    EXPECT_TRUE(capture.Lines().empty());
}

}  // namespace
