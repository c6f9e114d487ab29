// The binary's header and section table: every refusal with the error text it leaves, and the
// edges that still load.
#include <gtest/gtest.h>

#include <functional>

#include "set_manager_test_support.h"

namespace setmanager_test {
namespace {

using binwriter::SectionType;
using binwriter::TuningBinaryBuilder;
using binwriter::Version;

const char kTag[] = "OVI Lumatrope Header";

TEST(SetManagerContainer, RefusalsOfHeaderAndSectionTable) {
    using Configure = std::function<void(TuningBinaryBuilder&)>;
    struct Refusal {
        Version version;
        Configure configure;
        size_t cutTo;  // 0: the whole binary
        const char* pError;
        size_t linesBefore;  // error lines logged before the error itself
    };
    const char kGeneral[] = "General error parsing binary header data header";
    const char kCount[] = "Invalid binary file section count";
    const Refusal refusals[] = {
        {{5, 0, 0}, nullptr, 20, kGeneral, 2},
        {{5, 0, 0}, nullptr, 164, kGeneral, 1},
        {{5, 0, 0}, [](TuningBinaryBuilder& b) { b.Overrides().headerTag = "OVI Lumatrope Headex"; },
         0, "Invalid binary header tag: OVI Lumatrope Headex", 0},
        {{5, 0, 0}, [](TuningBinaryBuilder& b) { b.Overrides().headerSize = 999; }, 0,
         "Binary header data too small: Expected: 999 bytes, Actual: 316 bytes", 0},
        // Compressed sections pass the size test and are refused with the sections.
        {{3, 0, 0}, [](TuningBinaryBuilder& b) { b.Overrides().headerSize = 999; b.SetFlags(2); },
         0, "Compressed binary file not supported (support ended with V5.1.0)", 0},
        {{5, 0, 1}, nullptr, 0,
         "Unsupported binary header version : 5.0.1. Please re-generate parser code using the "
         "latest version of ParameterParser", 0},
        {{5, 0, 0}, [](TuningBinaryBuilder& b) { b.Overrides().sectionCount = 1; }, 0, kCount, 1},
        {{5, 0, 0}, [](TuningBinaryBuilder& b) { b.Overrides().sectionCount = 5; }, 0, kCount, 1},
        {{2, 0, 0},
         [](TuningBinaryBuilder& b) { b.SetSections({SectionType::SymbolTable, 7u}); }, 0, kCount, 1},
        {{5, 0, 0}, [](TuningBinaryBuilder& b) { b.Overrides().sectionTableOffset = 310; }, 0,
         kCount, 2},
    };
    for (const Refusal& refusal : refusals) {
        SCOPED_TRACE(refusal.pError);
        TuningBinaryBuilder builder(refusal.version);
        if (refusal.configure) {
            refusal.configure(builder);
        }
        std::vector<uint8_t> binary = builder.Build();
        zyra_test::LogCapture capture;
        TestSetManager manager;
        EXPECT_FALSE(manager.LoadBinaryParameters(
            binary.data(), refusal.cutTo != 0 ? refusal.cutTo : binary.size()));
        EXPECT_FALSE(manager.IsValid());
        EXPECT_EQ(manager.GetSymbolTable(), nullptr);
        EXPECT_STREQ(manager.GetError(), refusal.pError);
        const Texts errors = Errors(capture);
        ASSERT_EQ(errors.size(), refusal.linesBefore + 1);
        EXPECT_EQ(errors.back(), std::string("[ERROR] ") + refusal.pError);
    }
}

TEST(SetManagerContainer, EdgesOfHeaderAndSections) {
    // The tag ends at its zero byte; an old version records its warning and loads.
    TuningBinaryBuilder old({1, 0, 1});
    old.Overrides().headerTag = std::string(kTag) + std::string("\0junk", 5);
    std::vector<uint8_t> binary = old.Build();
    TestSetManager oldManager;
    EXPECT_TRUE(oldManager.LoadBinaryParameters(binary.data(), binary.size()));
    EXPECT_STREQ(oldManager.GetError(),
                 "Warning: This is an older binary format, only Default mode data is supported.\n"
                 "To support multiple modes, please re-generate binary using the latest version "
                 "of Lumatrope");

    // Sections in any order, a later row of a type replacing an earlier one.
    TuningBinaryBuilder newest({5, 0, 0});
    newest.AddMode(Record(0, 0));
    newest.AddMode(Record(2, 1, 0));
    newest.SetSections({{2u, 9999u, 1u}, SectionType::DataBlock, SectionType::ModeSection,
                        SectionType::SymbolTable});
    binary = newest.Build();
    TestSetManager manager;
    EXPECT_TRUE(manager.LoadBinaryParameters(binary.data(), binary.size()));
    EXPECT_EQ(manager.GetModeCount(), 2u);

    // A second load of either kind is refused; a buffer must fit in 32 bits.
    zyra_test::LogCapture capture;
    EXPECT_FALSE(manager.LoadBinaryParameters(binary.data(), binary.size()));
    TestSetManager fresh;
    EXPECT_FALSE(fresh.LoadBinaryParameters(binary.data(), 0x100000000UL));
    EXPECT_EQ(Errors(capture),
              (Texts{"[ERROR] Binary file already loaded",
                     "[ERROR] Buffer length (4294967296) exceeds maximum 4294967295\n"}));

    // A bad CRC is logged by the check; the set manager repeats the error text it held.
    TuningBinaryBuilder corrupt({5, 0, 0});
    corrupt.Overrides().corruptCrc = true;
    binary = corrupt.Build();
    capture.Clear();
    EXPECT_FALSE(fresh.LoadBinaryParameters(binary.data(), binary.size()));
    const Texts errors = Errors(capture);
    ASSERT_EQ(errors.size(), 2u);
    EXPECT_EQ(errors[0].rfind("[ERROR] Binary file CRC validation failed. Expected: ", 0), 0u);
    EXPECT_EQ(errors[1], "[ERROR] ");
}

}  // namespace
}  // namespace setmanager_test
