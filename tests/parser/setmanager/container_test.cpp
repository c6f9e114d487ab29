// The binary's header and section table: hand-written headers of the three layouts decoded
// field by field, and every refusal with its exact texts.
#include <gtest/gtest.h>

#include <functional>

#include "../../binwriter/expected_bytes.h"
#include "binwriter/crc_tail.h"
#include "set_manager_test_support.h"

namespace setmanager_test {
namespace {

using binwriter::SectionType;
using binwriter::TuningBinaryBuilder;
using binwriter::Version;
using binwriter_test::Expected;

const char kTag[] = "OVI Lumatrope Header";

TEST(SetManagerContainer, HeadersOfEachLayoutAreReadFieldByField) {
    struct Case {
        Expected header;
        VersionUnion version;
        const char* pBinaryTag;
        uint64_t flags;
        unsigned int tableOffset;
        uint32_t sectionCount;
        unsigned char alignment;
        const char* pDebugLine;
    };
    // headerSize covers the header, 8 bytes of padding and the CRC tail.
    const Case cases[] = {
        {Expected().Text(kTag, 28).Le(60, 4).Le(1, 2).Le(0, 2).Le(1, 4).Le(0x1234, 4).Le(2, 4),
         {1, 0, 1}, nullptr, 0, 0x1234, 2, 1,
         "[DEBUG] ReadHeader: Version 1.0.1 < ModeTreeMinVersion, BinaryTag not set\n"},
        {Expected().Text(kTag, 28).Le(172, 4).Le(1, 2).Le(1, 2).Le(0, 4).Text("tool", 48)
             .Text("tag", 64).Le(0x2345, 4).Le(3, 4),
         {1, 1, 0}, "tag", 0, 0x2345, 3, 8,
         "[DEBUG] ReadHeader: Version 1.1.0 BinaryTag: tag, Tool: tool\n"},
        {Expected().Text(kTag, 28).Le(180, 4).Le(3, 2).Le(0, 2).Le(0, 4).Text("t", 48)
             .Text("b", 64).Le(0x41, 8).Le(0x3456, 4).Le(4, 4),
         {3, 0, 0}, "b", 0x41, 0x3456, 4, 8,
         "[DEBUG] ReadHeader: Version 3.0.0 BinaryTag: b, Tool: t\n"},
        {Expected().Text(kTag, 28).Le(180, 4).Le(3, 2).Le(0, 2).Le(1, 4).Text("t", 48)
             .Text("b", 64).Le(0, 8).Le(0x4567, 4).Le(4, 4),
         {3, 0, 1}, "b", 0, 0x4567, 4, 1,
         "[DEBUG] ReadHeader: Version 3.0.1 BinaryTag: b, Tool: t\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.pDebugLine);
        std::vector<uint8_t> bytes = c.header.Bytes();
        const size_t headerEnd = bytes.size();
        bytes.resize(headerEnd + 8, 0);
        binwriter::AppendCrcTail(bytes);

        zyra_test::LogCapture capture;
        TestSetManager manager;
        unsigned int position = 0;
        unsigned int tableOffset = 0;
        unsigned char alignment = 0;
        ASSERT_TRUE(manager.ReadHeader(bytes.data(), static_cast<unsigned int>(bytes.size()),
                                       &position, &tableOffset, &alignment));
        EXPECT_EQ(position, headerEnd);
        EXPECT_EQ(tableOffset, c.tableOffset);
        EXPECT_EQ(alignment, c.alignment);
        EXPECT_EQ(manager.GetBinaryVersion(), c.version);
        EXPECT_EQ(manager.SectionCount(), c.sectionCount);
        EXPECT_EQ(manager.Flags(), c.flags);
        EXPECT_STREQ(manager.GetLoggingIdentifier(), c.pBinaryTag);
        EXPECT_EQ(Messages(capture).at(0), c.pDebugLine);
    }
}

TEST(SetManagerContainer, RefusalsOfHeaderAndSectionTable) {
    using Configure = std::function<void(TuningBinaryBuilder&)>;
    struct Refusal {
        Version version;
        Configure configure;
        size_t cutTo;  // 0: the whole binary
        const char* pError;
        Texts linesBefore;  // error lines logged before the error itself
    };
    const char kGeneral[] = "General error parsing binary header data header";
    const char kCount[] = "Invalid binary file section count";
    const Refusal refusals[] = {
        {{5, 0, 0}, nullptr, 20, kGeneral,
         {"[ERROR] Failed to read 4 bytes from binary file offset 28, length 20\n",
          "[ERROR] Failed to read 8 bytes from binary file offset 28, length 20\n"}},
        {{5, 0, 0}, nullptr, 164, kGeneral,
         {"[ERROR] Failed to read 4 bytes from binary file offset 164, length 164\n"}},
        {{5, 0, 0}, [](TuningBinaryBuilder& b) { b.Overrides().headerTag = "OVI Lumatrope Headex"; },
         0, "Invalid binary header tag: OVI Lumatrope Headex", {}},
        {{5, 0, 0}, [](TuningBinaryBuilder& b) { b.Overrides().headerSize = 999; }, 0,
         "Binary header data too small: Expected: 999 bytes, Actual: 316 bytes", {}},
        // Compressed sections pass the size test and are refused with the sections.
        {{3, 0, 0}, [](TuningBinaryBuilder& b) { b.Overrides().headerSize = 999; b.SetFlags(2); },
         0, "Compressed binary file not supported (support ended with V5.1.0)", {}},
        {{5, 0, 1}, nullptr, 0,
         "Unsupported binary header version : 5.0.1. Please re-generate parser code using the "
         "latest version of ParameterParser", {}},
        {{5, 0, 0}, [](TuningBinaryBuilder& b) { b.Overrides().sectionCount = 1; }, 0, kCount,
         {"[ERROR] ReadSectionInfo: Section count 1 is less than Min sections 2\n"}},
        {{5, 0, 0}, [](TuningBinaryBuilder& b) { b.Overrides().sectionCount = 5; }, 0, kCount,
         {"[ERROR] ReadSectionInfo: Section count 5 is greater than Max sections 4\n"}},
        {{2, 0, 0},
         [](TuningBinaryBuilder& b) { b.SetSections({SectionType::SymbolTable, 7u}); }, 0, kCount,
         {"[ERROR] Invalid binary section type 7\n"}},
        {{5, 0, 0}, [](TuningBinaryBuilder& b) { b.Overrides().sectionTableOffset = 310; }, 0,
         kCount,
         {"[ERROR] Failed to read 4 bytes from binary file offset 314, length 316\n",
          "[ERROR] Error reading data from header sections"}},
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
        Texts expected = refusal.linesBefore;
        expected.push_back(std::string("[ERROR] ") + refusal.pError);
        EXPECT_EQ(Errors(capture), expected);
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
