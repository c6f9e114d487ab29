// Texts shared by the entries of a duplicate group, invalid duplicate ids and requests, and
// loads that run out of memory.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "binwriter/tuning_binary_builder.h"
#include "failing_allocations.h"
#include "log_capture.h"
#include "parser/file/parameter_binary_file.h"
#include "parser/file/parameter_file_symbol_table.h"
#include "symbol_table_support.h"
#include "temp_dir.h"

namespace {

using namespace symbol_table_test;
using parser_test::CountLogged;

const binwriter::Version kVersion{4, 0, 0};
const char kSite[] = "loader.cpp";

// Data entries 1 and 2 form a group holding one text, 3 holds the same text alone, and 4
// names a duplicate id beyond the table; symbol entry 2 does the same.
std::vector<uint8_t> DuplicatesBinary() {
    binwriter::TuningBinaryBuilder builder(kVersion);
    const std::vector<uint8_t> text{'s', 'h', 'a', 'r', 'e', 'd', 0};
    builder.AddDataEntry({text, 1u, {}});
    builder.AddDataEntry({text, 1u, {}});
    builder.AddDataEntry({text, std::nullopt, {}});
    builder.AddDataEntry({{}, 9u, {}});
    builder.AddModule("module", {1, 0, 0}, 0, {});
    binwriter::SymbolEntry outOfRange{"module", {1, 0, 0}, 0, {}, 7u, {}};
    builder.AddSymbol(outOfRange);
    return builder.Build();
}

struct DuplicatesTable {
    DuplicatesTable() {
        loaded = LoadTable(table, bytes, kVersion, &modes);
        for (unsigned int id = 1; id <= 3; ++id) {
            table.Find(entries[id], id, false);
        }
    }

    TestSetManager setManager;
    TestModeTable modes{1};
    std::vector<uint8_t> bytes = DuplicatesBinary();
    ParameterFileSymbolTable table{&setManager, VersionUnion(kVersion.Word())};
    bool loaded = false;
    ParameterFileSymbolTableEntry entries[4];
};

TEST(DuplicateObjects, TextsOfOneGroupAreReadOnceAndInvalidRequestsAreLogged) {
    zyra_test::LogCapture capture;
    DuplicatesTable t;
    ASSERT_TRUE(t.loaded);
    EXPECT_EQ(CountLogged(capture, "[ERROR]", "Invalid DuplicateID value 7"), 1);
    EXPECT_EQ(CountLogged(capture, "[ERROR]", "Invalid DuplicateID value 9"), 1);
    char* pFirst = nullptr;
    char* pSecond = nullptr;
    char* pAlone = nullptr;
    ASSERT_TRUE(t.entries[1].ReadString(&pFirst, 7, 4));
    ASSERT_TRUE(t.entries[2].ReadString(&pSecond, 7, 4));
    ASSERT_TRUE(t.entries[3].ReadString(&pAlone, 7, 4));
    EXPECT_STREQ(pFirst, "shared");
    EXPECT_EQ(pSecond, pFirst);
    EXPECT_NE(pAlone, pFirst);
    // A read text moves the cursor by its padded length, a shared one by its bare length.
    EXPECT_EQ(t.entries[1].GetPosition(), 8u);
    EXPECT_EQ(t.entries[2].GetPosition(), 7u);
    for (char* pText : {pFirst, pSecond, pAlone}) {
        if (t.table.ReleaseDupObject(pText)) {
            ZyraFree(pText);
        }
    }

    // Invalid requests are logged.
    capture.Clear();
    EXPECT_EQ(t.table.GetDupObject(false, 5, 1, kSite, 3), nullptr);
    EXPECT_EQ(t.table.SetDupObject(false, 1, nullptr, 1, kSite, 3), nullptr);

    EXPECT_EQ(CountLogged(capture, "[ERROR]", "GetDupObject called with invalid values"), 1);
    EXPECT_EQ(CountLogged(capture, "[ERROR]", "SetDupObject called with invalid values"), 1);
}

// Every allocation of a load may fail: the load then ends, or goes on without what it could
// not get, and leaks nothing.
TEST(DuplicateObjects, LoadsSurviveEveryFailedAllocation) {
    zyra_test::TempDir dir;
    std::vector<uint8_t> bytes = DuplicatesBinary();
    std::string path = dir.Write("dup.bin", bytes);
    std::set<std::string> errors;
    for (bool fromFile : {false, true}) {
        zyra_test::FailEachAllocation([&](auto begin, auto end) {
            TestSetManager setManager;
            TestModeTable modes(1);
            ParameterBinaryFile file(path.c_str(), nullptr, false);
            ParameterFileSymbolTable table(&setManager, VersionUnion(kVersion.Word()));
            zyra_test::LogCapture capture;
            begin();
            LoadTable(table, bytes, kVersion, &modes, fromFile ? &file : nullptr,
                      fromFile ? path.c_str() : nullptr);
            const bool reached = end();
            for (const std::string& line : Lines(capture, "[ERROR]")) {
                errors.insert(line);
            }
            return reached;
        });
    }
    EXPECT_EQ(errors.count("[ERROR] Failed to allocate entry/lookup tables\n"), 1u);
    EXPECT_EQ(errors.count("[ERROR] Failed to allocate space for duplicates variable\n"), 1u);
}

}  // namespace
