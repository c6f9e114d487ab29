// The binary's header, section table and mode section: every refusal with the error text it
// leaves, and the edges that still load.
#include <gtest/gtest.h>

#include <functional>
#include <optional>

#include "set_manager_test_support.h"

namespace setmanager_test {
namespace {

using binwriter::SectionType;
using binwriter::TuningBinaryBuilder;
using binwriter::Version;

const char kTag[] = "OVI Lumatrope Header";

using Configure = std::function<void(TuningBinaryBuilder&)>;

// Default and Usecase.Snapshot, then `damage`.
Configure WithModes(Configure damage) {
    return [damage](TuningBinaryBuilder& b) {
        b.AddMode(Record(0, 0));
        b.AddMode(Record(2, 1, 0));
        damage(b);
    };
}

// Default and Usecase.Snapshot behind a mode section row of this offset and size.
Configure WithModeSection(std::optional<uint32_t> offset, uint32_t size) {
    return WithModes([offset, size](TuningBinaryBuilder& b) {
        b.SetSections({SectionType::DataBlock, {2u, offset, size}});
    });
}

TEST(SetManagerContainer, RefusalsOfHeaderSectionTableAndModeSection) {
    struct Refusal {
        Version version;
        Configure configure;
        size_t cutTo;  // 0: the whole binary
        const char* pError;
        size_t linesBefore;  // error lines logged before the error itself
        const char* pLine;   // the last error line, when it is not the error text
    };
    const char kGeneral[] = "General error parsing binary header data header";
    const char kCount[] = "Invalid binary file section count";
    const Refusal refusals[] = {
        {{5, 0, 0}, nullptr, 20, kGeneral, 2, nullptr},
        {{5, 0, 0}, nullptr, 164, kGeneral, 1, nullptr},
        {{5, 0, 0},
         [](TuningBinaryBuilder& b) { b.Overrides().headerTag = "OVI Lumatrope Headex"; }, 0,
         "Invalid binary header tag: OVI Lumatrope Headex", 0, nullptr},
        {{5, 0, 0}, [](TuningBinaryBuilder& b) { b.Overrides().headerSize = 999; }, 0,
         "Binary header data too small: Expected: 999 bytes, Actual: 316 bytes", 0, nullptr},
        // Compressed sections pass the size test and are refused with the sections.
        {{3, 0, 0}, [](TuningBinaryBuilder& b) { b.Overrides().headerSize = 999; b.SetFlags(2); },
         0, "Compressed binary file not supported (support ended with V5.1.0)", 0, nullptr},
        {{5, 0, 1}, nullptr, 0,
         "Unsupported binary header version : 5.0.1. Please re-generate parser code using the "
         "latest version of ParameterParser", 0, nullptr},
        {{5, 0, 0}, [](TuningBinaryBuilder& b) { b.Overrides().sectionCount = 1; }, 0, kCount, 1,
         nullptr},
        {{5, 0, 0}, [](TuningBinaryBuilder& b) { b.Overrides().sectionCount = 5; }, 0, kCount, 1,
         nullptr},
        {{2, 0, 0},
         [](TuningBinaryBuilder& b) { b.SetSections({SectionType::SymbolTable, 7u}); }, 0, kCount,
         1, nullptr},
        {{5, 0, 0}, [](TuningBinaryBuilder& b) { b.Overrides().sectionTableOffset = 310; }, 0,
         kCount, 2, nullptr},
        // A damaged mode section: the table was made before, so the binary counts as loaded.
        // Two records of 24 bytes behind the 32-byte text make 80 bytes.
        {{5, 0, 0}, WithModeSection({}, 81), 0, "", 0,
         "[ERROR] ReadModeSection: ModeSize 81 does not match expected size 80"},
        {{5, 0, 0}, WithModeSection(300, 80), 0, "", 0,
         "[ERROR] Failed to read 80 bytes from binary file offset 300, length 316"},
        {{5, 0, 0}, WithModeSection({}, 16), 0, "", 0,
         "[ERROR] ReadModeSection: ModeSize 16 does not match expected size 32"},
        {{5, 0, 0},
         WithModes([](TuningBinaryBuilder& b) {
             binwriter::ModeRecord record = Record(2, 0, 0);
             record.idOverride = 7;
             b.AddMode(record);
         }),
         0, "ReadModeSection: Mode ID exceeds mode count", 0, nullptr},
        {{5, 0, 0}, WithModes([](TuningBinaryBuilder& b) { b.AddMode(Record(2, 0, 7)); }), 0,
         "ReadModeSection: Parent Mode ID exceeds mode count", 0, nullptr},
        {{5, 0, 0}, WithModes([](TuningBinaryBuilder& b) { b.AddMode(Record(2, 0, 0, 7)); }), 0,
         "ReadModeSection: Link Mode ID exceeds mode count", 0, nullptr},
    };
    for (const Refusal& refusal : refusals) {
        const std::string line =
            refusal.pLine != nullptr ? refusal.pLine : std::string("[ERROR] ") + refusal.pError;
        SCOPED_TRACE(line);
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
        // The mode section is read after the table: its refusals leave the table made.
        const bool modeSection =
            refusal.pLine != nullptr || line.find("ReadModeSection") != std::string::npos;
        EXPECT_EQ(manager.GetSymbolTable() != nullptr, modeSection);
        EXPECT_STREQ(manager.GetError(), refusal.pError);
        const Texts errors = Errors(capture);
        ASSERT_EQ(errors.size(), refusal.linesBefore + 1);
        EXPECT_EQ(errors.back(), line);
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
