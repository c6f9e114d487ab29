// The mode section: the refusals of a damaged table.
#include <gtest/gtest.h>

#include <functional>

#include "set_manager_test_support.h"

namespace setmanager_test {
namespace {

using binwriter::SectionType;
using binwriter::TuningBinaryBuilder;

TEST(SetManagerModeSection, DamagedTablesAreRefused) {
    struct Case {
        std::function<void(TuningBinaryBuilder&)> configure;
        const char* pError;  // the error text held; "" when the failure is only logged
        const char* pLine;   // the error line, when it is not the error text
    };
    // Two records of 24 bytes behind the 32-byte text make 80 bytes.
    const Case cases[] = {
        {[](TuningBinaryBuilder& b) { b.SetSections({SectionType::DataBlock, {2u, {}, 81u}}); },
         "", "[ERROR] ReadModeSection: ModeSize 81 does not match expected size 80"},
        {[](TuningBinaryBuilder& b) { b.SetSections({SectionType::DataBlock, {2u, 300u, 80u}}); },
         "", "[ERROR] Failed to read 80 bytes from binary file offset 300, length 316"},
        {[](TuningBinaryBuilder& b) { b.SetSections({SectionType::DataBlock, {2u, {}, 16u}}); },
         "", "[ERROR] ReadModeSection: ModeSize 16 does not match expected size 32"},
        {[](TuningBinaryBuilder& b) {
             binwriter::ModeRecord record = Record(2, 0, 0);
             record.idOverride = 7;
             b.AddMode(record);
         },
         "ReadModeSection: Mode ID exceeds mode count", nullptr},
        {[](TuningBinaryBuilder& b) { b.AddMode(Record(2, 0, 7)); },
         "ReadModeSection: Parent Mode ID exceeds mode count", nullptr},
        {[](TuningBinaryBuilder& b) { b.AddMode(Record(2, 0, 0, 7)); },
         "ReadModeSection: Link Mode ID exceeds mode count", nullptr},
    };
    for (const Case& c : cases) {
        TuningBinaryBuilder builder({5, 0, 0});
        builder.AddMode(Record(0, 0));
        builder.AddMode(Record(2, 1, 0));
        c.configure(builder);
        std::vector<uint8_t> binary = builder.Build();
        zyra_test::LogCapture capture;
        TestSetManager manager;
        EXPECT_FALSE(manager.LoadBinaryParameters(binary.data(), binary.size()));
        EXPECT_STREQ(manager.GetError(), c.pError);
        const std::string line = c.pLine != nullptr ? c.pLine : std::string("[ERROR] ") + c.pError;
        EXPECT_EQ(Errors(capture), Texts{line});
        // The table was made before the mode section failed: the binary counts as loaded.
        EXPECT_NE(manager.GetSymbolTable(), nullptr);
    }
}

}  // namespace
}  // namespace setmanager_test
