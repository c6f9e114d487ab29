// Damaged values: a module cut short, counted arrays and optional elements whose words do not
// hold, and the counted array of strings of the sensor driver records with a text that cannot
// be found and every allocation failing in turn. Enum values outside their set are in the
// trigger tree test.
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "Zyra.h"
#include "engine_test_support.h"
#include "failing_allocations.h"
#include "log_capture.h"
#include "module_values.h"
#include "parser/engine/structure_engine.h"
#include "parser/file/parameter_file_symbol_table_entry.h"

namespace engine_test {
namespace {

const std::string kScalarFailure = "[ERROR] Failed to read symbol table entry\n";

// The module ends after i32: every later field with a scalar step (scalars, and the length,
// count and exists words) logs once; enums, nested structures and blocks are skipped in silence.
TEST(CutShort, LaterFieldsLogOnceEachAndStayZero) {
    for (unsigned int alignment : {1u, 8u}) {
        zyra_test::LogCapture capture;
        binwriter::TuningBinaryBuilder builder(FormatWithAlignment(alignment));
        binwriter::ValueWriter out(builder);
        out.U8(1).U16(2).U32(3).I32(-4);
        uint32_t moduleId = builder.AddModule("enginetest", kModuleVersion, 0, out.Bytes());
        LoadedBinary binary(builder);
        enginetestTypeClass* pModule = binary.Create(moduleId);
        ASSERT_NE(pModule, nullptr);

        EXPECT_FALSE(pModule->LoadModule(&binary.Table()));
        // u64 i64 f32 f64 flag gain, name, samples triggers regions extra level, tail.
        EXPECT_EQ(Errors(capture), Messages(13, kScalarFailure));
        // The ID word of an optional element names the entry being read, failure or not.
        EXPECT_EQ((std::vector<uint64_t>{pModule->u8, static_cast<uint64_t>(pModule->i32),
                                         pModule->u64, pModule->module_version.major,
                                         pModule->samplesCount, pModule->extraExists,
                                         pModule->extraID, pModule->levelID, pModule->ModuleID}),
                  (std::vector<uint64_t>{1, static_cast<uint64_t>(-4), 0, 0, 0, 0, moduleId,
                                         moduleId, moduleId}));
        EXPECT_FALSE(pModule->Loaded);
        EXPECT_EQ(pModule->Modified, 1u);
    }
}

// A word that does not hold fails the load at its field. `first` starts the first error;
// `second`, when given, is the second.
TEST(Damaged, WordsThatDoNotHoldFailTheLoadAtTheirField) {
    const std::string noEntry = "[ERROR] Find: Symbol table entry ID 0 out of range 1 - ";
    struct Case {
        const char* what;
        std::function<void(ModuleValues&)> damage;
        std::string first;
        std::string second;
        std::function<void(const enginetestTypeClass&)> expectLeft;
    };
    const Case cases[] = {
        {"an empty counted array with pointer entry 0",
         [](ModuleValues& v) { v.samples = {}, v.samplesPointer = 0; }, noEntry, kScalarFailure,
         [](const enginetestTypeClass& m) { EXPECT_EQ(m.samplesCount + m.samplesID, 0u); }},
        {"a scalar array longer than its entry", [](ModuleValues& v) { v.samplesCount = 5; },
         "[ERROR] ReadBuffer failed, read 12 bytes, expected 20 bytes\n",
         "[ERROR] Failed to allocate samples\n",
         [](const enginetestTypeClass& m) {
             EXPECT_EQ(m.samplesCount, 0u);
             EXPECT_EQ(m.samples, nullptr);
         }},
        // Each region takes 20 bytes packed: a shape word and two pairs of words.
        {"a structure array count beyond its entry",
         [](ModuleValues& v) { v.regionsCount = 0x40000000; },
         "[ERROR] Failed to read 21474836480 bytes from binary file offset 0, length 40\n", "",
         [](const enginetestTypeClass& m) { EXPECT_EQ(m.regionsCount, 0u); }},
        // The region's weights count is read by a scalar step of its own after the failure;
        // the failed load was unloaded: the count stays, the memory is back.
        {"a bad element", [](ModuleValues& v) { v.regions[1].labelPointer = 0; }, noEntry,
         kScalarFailure,
         [](const enginetestTypeClass& m) {
             EXPECT_EQ(m.regionsCount, 2u);
             EXPECT_EQ(m.regions, nullptr);
         }},
        // An optional element needs its pointer entry even when absent.
        {"an absent optional element with pointer entry 0",
         [](ModuleValues& v) { v.extraExists = 0, v.extraPointer = 0; }, noEntry, "",
         [](const enginetestTypeClass& m) { EXPECT_EQ(m.extraExists + m.levelExists, 0u); }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        zyra_test::LogCapture capture;
        ModuleValues values;
        c.damage(values);
        binwriter::TuningBinaryBuilder builder(FormatWithAlignment(1));
        const uint32_t id =
            builder.AddModule("enginetest", kModuleVersion, 0, WriteModule(builder, values));
        LoadedBinary binary(builder);
        enginetestTypeClass* pModule = binary.Create(id);
        ASSERT_NE(pModule, nullptr);
        EXPECT_FALSE(pModule->LoadModule(&binary.Table()));
        Messages errors = Errors(capture);
        ASSERT_FALSE(errors.empty());
        EXPECT_EQ(errors[0].rfind(c.first, 0), 0u) << errors[0];
        if (!c.second.empty()) {
            ASSERT_GE(errors.size(), 2u);
            EXPECT_EQ(errors[1], c.second);
        }
        c.expectLeft(*pModule);
    }
}

using SocIdMapBinary = LoadedBinaryOf<Zyra::SensorBinSocIdMapClass>;
using Texts = std::vector<std::string>;

// A map of one SoC whose binary names are `names`; the name at `badAt` points to entry 999,
// which is not there.
uint32_t AddSocIdMap(binwriter::TuningBinaryBuilder& builder, const Texts& names,
                     size_t badAt = SIZE_MAX) {
    binwriter::ValueWriter namesOut(builder);
    for (size_t i = 0; i < names.size(); ++i) {
        if (i == badAt) {
            namesOut.U32(static_cast<uint32_t>(names[i].size() + 1)).Pointer(999);
        } else {
            namesOut.String(names[i]);
        }
    }
    uint32_t namesId = builder.AddPointerTarget(namesOut.Bytes());
    binwriter::ValueWriter soc(builder);
    soc.String("soc 7").U32(static_cast<uint32_t>(names.size())).Pointer(namesId);
    uint32_t socId = builder.AddPointerTarget(soc.Bytes());
    binwriter::ValueWriter out(builder);
    out.U32(1).U32(0).U32(0).U32(1).Pointer(socId);
    return builder.AddModule("sensorBinSocIdMap", {1, 0, 0}, 0, out.Bytes());
}

Texts BinNames(const Zyra::SocIdInfo& soc) {
    Texts names;
    for (uint32_t i = 0; i < soc.binNameCount; ++i) {
        names.push_back(soc.binName[i] != nullptr ? soc.binName[i] : "(null)");
    }
    return names;
}

// A text that cannot be found ends the load there: the names before it stay, the count stays,
// and Unload gives back what was read. Then every allocation of a sound load fails in turn:
// the one of the name array is logged with the field's name and leaves the names out without
// failing the load; none leaks or crashes.
TEST(SensorRecords, CountedStringsStopAtABadTextAndSurviveEachFailedAllocation) {
    zyra_test::LogCapture capture;
    binwriter::TuningBinaryBuilder builder(FormatWithAlignment(8));
    uint32_t broken = AddSocIdMap(builder, {"a.bin", "bb.bin", "ccc.bin"}, 1);
    uint32_t id = AddSocIdMap(builder, {"a.bin", "bb.bin"});
    SocIdMapBinary binary(builder, "sensorBinSocIdMap");

    ParameterFileSymbolTableEntry entry;
    ASSERT_TRUE(binary.Table().Find(entry, broken, true));
    Zyra::SensorBinSocIdMap map{};
    const ParameterEngine::StructDescriptor& type = *Zyra::SensorBinSocIdMapClass::Descriptor().top;
    EXPECT_FALSE(ParameterEngine::Load(type, &map, &entry, binary.Table().GetAlignment()));
    ASSERT_EQ(map.socIdInfoCount, 1u);
    EXPECT_EQ(BinNames(map.socIdInfo[0]), (Texts{"a.bin", "(null)", "(null)"}));
    EXPECT_EQ(Errors(capture),
              Messages{"[ERROR] Find: Symbol table entry ID 999 out of range 1 - 12\n"});
    ParameterEngine::Unload(type, &map, &binary.Table());
    EXPECT_EQ(map.socIdInfo, nullptr);

    Zyra::SensorBinSocIdMapClass* pModule = binary.Create(id);
    ASSERT_NE(pModule, nullptr);
    bool namesLeftOut = false;
    zyra_test::FailEachAllocation([&](auto begin, auto end) {
        capture.Clear();
        begin();
        const bool result = pModule->LoadModule(&binary.Table());
        const bool reached = end();
        const Messages errors = Errors(capture);
        if (errors == Messages{"[ERROR] Failed to allocate binName\n"}) {
            namesLeftOut = true;
            EXPECT_TRUE(result);
            EXPECT_EQ(pModule->socIdInfo[0].binNameCount, 0u);
        }
        // A load that reached no failing allocation is a sound one.
        EXPECT_TRUE(reached || (result && errors.empty()));
        pModule->UnloadModule();
        return reached;
    });
    EXPECT_TRUE(namesLeftOut);
}

}  // namespace
}  // namespace engine_test
