// Run-time schemas through TuningSetManager: an opaque module whose namespace has one answers
// the text interface and takes changes while its accessor keeps handing out the raw bytes;
// a schema of a compiled namespace, a broken schema and a layout the bytes do not fit leave
// their module opaque with one message each, and nothing else changes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "../parser/file/symbol_table_support.h"
#include "abf_2_1_0.h"
#include "binwriter/tuning_binary_builder.h"
#include "binwriter/value_writer.h"
#include "log_capture.h"
#include "parser/setmanager/parameter_parser_info.h"
#include "temp_dir.h"
#include "tuning_set_manager.h"

namespace {

using Bytes = std::vector<uint8_t>;

const TuningMode kRoot[] = {{0, 0, 0}};
const char kRootPath[] = "0.0";

// abf21_tfe laid out with a shared structure of the library; the same fields serve the
// companion abf21_tfe_v2 of another namespace.
std::string Schema(const std::string& nameSpace, const std::string& version,
                   const std::string& name, const std::string& fields) {
    return "namespace " + nameSpace + "\nversion " + version + "\nmodule lumatrope_abf21Type " +
           name + "\nflags reflection\nuse ispglobalelements\n\nstruct lumatrope_abf21Type\n" +
           fields + "end\n";
}

const std::string kFields =
    "  module_version struct\n    major_revision Int32\n    minor_revision Int32\n"
    "    incr_revision Int32\n  end\n  gain Float\n  curve UInt16 [4]\n"
    "  range ispglobalelements::trigger_pt_type\n  label String\n";

std::string Abf21(const std::string& fields) {
    return Schema("abf_2_1_0", "2.1.0", "abf21_tfe", fields);
}

struct Written {
    Bytes binary;
    Bytes abf;
};

// The modules laid out as kFields has it, abf21_tfe with `gain`.
Written Binary(float gain) {
    binwriter::TuningBinaryBuilder builder({5, 0, 0});
    builder.AddMode(binwriter::ModeRecord{});
    binwriter::ValueWriter abf(builder);
    abf.I32(2).I32(1).I32(0).Float(gain).Packed(std::vector<uint16_t>{1, 2, 3, 4});
    abf.Float(0.25f).Float(0.75f).String("abc");
    builder.AddModule("abf21_tfe", {2, 1, 0}, 0, abf.Bytes());
    builder.AddModule("abf21_tfe_v2", {2, 1, 1}, 0, abf.Bytes());
    return {builder.Build(), abf.Bytes()};
}

std::string Values(TuningSetManager& manager, const char* pModule, const char* pNames) {
    char text[256] = "";
    return manager.GetValue(kRootPath, pModule, pNames, text, sizeof(text)) ? text : "false";
}

std::vector<std::string> Problems(const zyra_test::LogCapture& capture) {
    std::vector<std::string> problems = symbol_table_test::Lines(capture, "[ERROR]");
    const std::vector<std::string> warnings = symbol_table_test::Lines(capture, "[WARNING]");
    problems.insert(problems.end(), warnings.begin(), warnings.end());
    return problems;
}

TEST(RuntimeSchema, AnOpaqueModuleWithASchemaAnswersByFieldAndKeepsItsBytes) {
    zyra_test::TempDir dir;
    dir.Write("abf_2_1_0.schema", Abf21(kFields));
    zyra_test::LogCapture capture;
    // Read from the path at construction, or added by the call before the load.
    ::setenv("ZYRA_SCHEMA_PATH", ("/nonexistent:" + dir.Path()).c_str(), 1);
    TuningSetManager fromPath;
    ::unsetenv("ZYRA_SCHEMA_PATH");
    TuningSetManager byCall;
    EXPECT_FALSE(byCall.AddSchemaDirectory(nullptr));
    ASSERT_TRUE(byCall.AddSchemaDirectory(dir.Path().c_str()));
    EXPECT_EQ(Problems(capture),
              (std::vector<std::string>{
                  "[ERROR] Cannot read schema directory /nonexistent\n",
                  "[ERROR] AddSchemaDirectory called with a null directory\n"}));

    Written written = Binary(1.5f);
    for (TuningSetManager* pManager : {&fromPath, &byCall}) {
        TuningSetManager& manager = *pManager;
        ASSERT_TRUE(manager.LoadBinaryParameters(written.binary.data(), written.binary.size()));
        EXPECT_EQ(Values(manager, "abf21_tfe", "gain,curve,range.end,label"),
                  "gain=1.5;curve=1,2,3,4;range.end=0.75;label=abc");
        EXPECT_EQ(Values(manager, "abf21_tfe.module_version", nullptr),
                  "major_revision=2;minor_revision=1;incr_revision=0");
        PList<ParameterParserInfo> info;
        ASSERT_TRUE(manager.GetInfo(kRootPath, "abf21_tfe", info));
        ASSERT_EQ(info.Count(), 5u);
        EXPECT_EQ(info[2].Count, 4u);

        ASSERT_TRUE(manager.SetValue(kRootPath, "abf21_tfe", "curve", "9,8"));
        EXPECT_FALSE(manager.SetValue(kRootPath, "abf21_tfe", "label", "x"));
        EXPECT_EQ(Values(manager, "abf21_tfe", "curve"), "curve=9,8,3,4");
        // Compiled clients see the module as before, its change counted.
        abf_2_1_0::lumatrope_abf21Type* pTop = manager.GetModule_abf21_tfe(kRoot, 1, nullptr);
        ASSERT_NE(pTop, nullptr);
        EXPECT_EQ(Bytes(pTop->rawData, pTop->rawData + pTop->rawDataSize), written.abf);
        EXPECT_EQ(pTop->GetModified(), 2u);
        EXPECT_EQ(pTop->ModuleID >> 24, 1u);
        pTop->Release();
        // A namespace without a schema stays opaque.
        EXPECT_EQ(Values(manager, "abf21_tfe_v2", "gain"), "false");
    }
    // Too late once a binary is loaded; an update reads with the schemas of the set manager.
    EXPECT_FALSE(byCall.AddSchemaDirectory(dir.Path().c_str()));
    EXPECT_TRUE(capture.Contains("Schema directory " + dir.Path() +
                                 " is added after a load; it is ignored\n"));
    Written update = Binary(4.25f);
    EXPECT_TRUE(byCall.UpdateBinaryParameters(update.binary.data(), update.binary.size()));
    EXPECT_EQ(Values(byCall, "abf21_tfe", "gain"), "gain=4.25");
}

TEST(RuntimeSchema, RefusedSchemasLeaveOnlyTheirModuleOpaque) {
    struct Case {
        std::string schema;
        // The message, behind the path of the schema or of its folder.
        std::string problem;
    };
    std::string useOfModules = Abf21(kFields);
    useOfModules.replace(useOfModules.find("ispglobalelements"), 17, "abf_2_1_1");
    // Lines that end in CR LF, each pair one line break, and no "end" to the top structure.
    std::string crlf = Abf21(kFields).substr(0, Abf21(kFields).size() - 4);
    for (size_t at = crlf.find('\n'); at != std::string::npos; at = crlf.find('\n', at + 2)) {
        crlf.insert(at, "\r");
    }
    const std::vector<Case> cases{
        {crlf, "abf_2_1_0.schema:16: 'lumatrope_abf21Type' has no end"},
        {useOfModules,
         "abf_2_1_0.schema:5: 'abf_2_1_1' registers modules; only a shared namespace is used"},
        {Abf21(kFields + "  spare UInt16 as Float\n"),
         "abf_2_1_0.schema:17: only Int32 and UInt32 are held as Float"},
        {Abf21(kFields + "  spare_tab Int32 tab\n"),
         "abf_2_1_0.schema:17: a tab field is '<name>_tab' over a fixed scalar array"},
        {Abf21(kFields + "  enum modeEnum 0-3 2\n"),
         "abf_2_1_0.schema:17: '2' overlaps another value"},
        {Schema("abf_2_1_0", "2.1.3", "abf21_tfe", kFields),
         "abf_2_1_0.schema:7: version 2.1.3 of 'lumatrope_abf21Type' differs from the "
         "catalogue's 2.1.0"},
        {Schema("abf_2_1_0", "2.1.0", "abf21_tfe abf21_other", kFields),
         "abf_2_1_0.schema:7: names abf21_tfe abf21_other of 'lumatrope_abf21Type' differ "
         "from the catalogue's abf21_tfe"},
        {Abf21(kFields + "  more UInt32 [2]\n"), "does not fit"},
    };
    for (const Case& refused : cases) {
        SCOPED_TRACE(refused.problem);
        zyra_test::TempDir dir;
        dir.Write("abf_2_1_0.schema", refused.schema);
        dir.Write("abf_2_1_1.schema", Schema("abf_2_1_1", "2.1.1", "abf21_tfe_v2", kFields));
        std::ifstream compiled(std::string(ZYRA_SCHEMA_DIR) + "/gamma_1_6_1.schema");
        dir.Write("gamma_1_6_1.schema", std::string(std::istreambuf_iterator<char>(compiled), {}));
        // A namespace no class of this set manager has is not read until a schema uses it.
        dir.Write("unused_1_0_0.schema", "nonsense\n");
        zyra_test::LogCapture capture;
        TuningSetManager manager;
        const bool accepted = refused.problem == "does not fit";
        EXPECT_EQ(manager.AddSchemaDirectory(dir.Path().c_str()), accepted);
        Written written = Binary(1.5f);
        ASSERT_TRUE(manager.LoadBinaryParameters(written.binary.data(), written.binary.size()));
        EXPECT_EQ(Values(manager, "abf21_tfe", "gain"), "false");
        EXPECT_EQ(Values(manager, "abf21_tfe_v2", "gain"), "gain=1.5");
        abf_2_1_0::lumatrope_abf21Type* pTop = manager.GetModule_abf21_tfe(kRoot, 1, nullptr);
        ASSERT_NE(pTop, nullptr);
        EXPECT_EQ(Bytes(pTop->rawData, pTop->rawData + pTop->rawDataSize), written.abf);
        pTop->Release();

        const std::vector<std::string> problems = Problems(capture);
        EXPECT_THAT(problems,
                    ::testing::Contains("[WARNING] " + dir.File("gamma_1_6_1.schema") +
                                        ": namespace gamma_1_6_1 is compiled into the library; "
                                        "the schema is ignored\n"));
        const std::string expected = accepted
                                         ? "[ERROR] Module abf21_tfe does not fit its schema " +
                                               dir.File("abf_2_1_0.schema") + ": field more\n"
                                         : "[ERROR] " + dir.Path() + "/" + refused.problem + "\n";
        EXPECT_THAT(problems, ::testing::Contains(expected));
        if (!accepted) {
            EXPECT_EQ(std::string(manager.GetError()), dir.Path() + "/" + refused.problem);
        }
    }
}

TEST(RuntimeSchema, SchemasAreReadInTheOrderOfTheirNames) {
    const std::vector<std::string> names{"abf_3_4_0", "abf_4_0_0", "bpcbcc_5_0_0", "cac_2_2_0",
                                         "cac_2_3_0"};
    zyra_test::TempDir dir;
    for (auto name = names.rbegin(); name != names.rend(); ++name) {
        dir.Write(*name + ".schema", "nonsense\n");
    }
    zyra_test::LogCapture capture;
    TuningSetManager manager;
    EXPECT_FALSE(manager.AddSchemaDirectory(dir.Path().c_str()));
    const std::vector<std::string> problems = Problems(capture);
    ASSERT_EQ(problems.size(), names.size());
    for (size_t i = 0; i < names.size(); ++i) {
        EXPECT_EQ(problems[i].rfind("[ERROR] " + dir.File(names[i] + ".schema:1: "), 0), 0u)
            << problems[i];
    }
    // The last refusal is the one the set manager keeps.
    EXPECT_EQ(std::string(manager.GetError()).rfind(dir.File("cac_2_3_0.schema:1: "), 0), 0u);
}

}  // namespace
