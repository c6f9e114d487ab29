// The typed modules of the library against the layouts they are tuned by: how many structures
// and fields each one reaches, the shapes a few of them must keep, and a load of every field
// written by the writer.
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "../engine/loaded_binary.h"
#include "Zyra.h"
#include "abf_4_0_1.h"
#include "aecxconvergence.h"
#include "aecxdbconvbase.h"
#include "aecxtouch.h"
#include "afalgotuningelements.h"
#include "afcglobalelements.h"
#include "afpdafelements.h"
#include "afpdlibelements.h"
#include "eis_1_6_0.h"
#include "gamma_1_6_1.h"
#include "log_capture.h"
#include "path_values.h"
#include "modtemporalawbv1.h"
#include "statsnnpdnet.h"
#include "versions00004_1_0_0.h"
#include "versions00011_1_0_0.h"
#include "versions00013_1_0_0.h"
#include "versions00018_1_0_0.h"
#include "versions00019_1_0_0.h"
#include "versions690_1_0_0.h"
#include "versions780_1_0_0.h"
#include "versions880_1_0_0.h"

namespace schema_test {
namespace {

constexpr zyra_test::ValueSource kValues{0x5EED, 0};

using ParameterEngine::ElementKind;
using ParameterEngine::FieldDescriptor;
using ParameterEngine::FieldKind;
using ParameterEngine::ModuleDescriptor;
using ParameterEngine::StructDescriptor;

// Every structure that `type` reaches, itself included, each once by name.
void Reach(const StructDescriptor& type, std::map<std::string, const StructDescriptor*>& seen) {
    if (!seen.emplace(type.name, &type).second) {
        return;
    }
    for (uint32_t i = 0; i < type.fieldCount; ++i) {
        if (type.fields[i].element.structType != nullptr) {
            Reach(*type.fields[i].element.structType, seen);
        }
    }
}

struct Layout {
    const ModuleDescriptor* module;
    uint32_t structures;
    uint32_t fields;
    // Structures whose number of fields is known on its own, by name.
    std::map<std::string, uint32_t> fieldsOf;
};

// A module that holds only a schema version: an empty enable section, the two version
// sections and a reserve of one string.
Layout VersionsOnly(const ModuleDescriptor& module, const std::string& reserve) {
    std::string top = module.top->name;
    return {&module, 5, 9, {{top, 4}, {top + "::enable_sectionStruct", 0}, {reserve, 1}}};
}

TEST(SchemaLayout, ModulesReachTheirStructuresAndFields) {
    const std::vector<Layout> layouts{
        {&afpdlibelements::lumatropePDLibTypeClass::Descriptor(), 42, 213,
         {{"lumatropePDLibType", 30}, {"lumatropeTuningHardwareGeometry", 12},
          {"statsExtensionParamType", 4}}},
        {&statsnnpdnet::lumatropeStatsNNPDNetTypeClass::Descriptor(), 21, 68,
         {{"lumatropeStatsNNPDNetType", 15}}},
        {&afpdafelements::lumatropePDAFTypeClass::Descriptor(), 77, 271,
         {{"lumatropePDAFType", 36}, {"confidenceSensitivityModifierArr", 7}}},
        {&afalgotuningelements::lumatropeAFAlgoTuningTypeClass::Descriptor(), 80, 380,
         {{"lumatropeAFAlgoTuningType::spotlightDetectionStruct", 32}}},
        {&aecxdbconvbase::AECXDBConvBaseTypeClass::Descriptor(), 13, 37,
         {{"AECXDBConvBaseType", 4}}},
        {&aecxtouch::AECXTouchTypeClass::Descriptor(), 3, 6, {{"AECXTouchType", 2}}},
        {&modtemporalawbv1::lumatropeTemporalAWBV1TypeClass::Descriptor(), 42, 128,
         {{"lumatropeTemporalAWBV1Type", 4}, {"Gyro2DOrientationConfigType", 9},
          {"SCDetectorConfigType", 10}, {"awbWeightLUTLevel1Type", 2},
          {"SenorRefreshConfigType", 2}}},
        {&eis_1_6_0::lumatrope_eis16TypeClass::Descriptor(), 42, 219,
         {{"lumatrope_eis16_reserveType", 11}, {"lumatrope_eis16_reserveType::topStruct", 52}}},
        {&abf_4_0_1::lumatrope_abf40TypeClass::Descriptor(), 28, 83, {}},
        {&aecxconvergence::AECXConvergenceTypeClass::Descriptor(), 6, 29,
         {{"AECXConvergenceType", 8}, {"SmartADRCType", 9}}},
        {&gamma_1_6_1::lumatrope_gamma16TypeClass::Descriptor(), 13, 28, {}},
        {&Zyra::ActuatorDriverDataClass::Descriptor(), 17, 62, {}},
        {&Zyra::EEbinDriverClass::Descriptor(), 10, 36, {}},
        {&Zyra::EEPROMDriverDataClass::Descriptor(), 35, 264, {}},
        {&Zyra::FlashDriverDataClass::Descriptor(), 10, 41, {}},
        {&Zyra::CameraModuleDataClass::Descriptor(), 8, 56, {}},
        {&Zyra::OISDriverDataClass::Descriptor(), 13, 74, {}},
        {&Zyra::PDAFConfigurationDataClass::Descriptor(), 10, 47, {}},
        {&Zyra::SensorDriverDataClass::Descriptor(), 43, 299, {}},
        {&Zyra::SensorBinSocIdMapClass::Descriptor(), 3, 7, {}},
        VersionsOnly(versions00004_1_0_0::lumatrope_versions00004TypeClass::Descriptor(),
                     "lumatrope_versions00004_reserveType"),
        VersionsOnly(versions00011_1_0_0::lumatrope_versions00011TypeClass::Descriptor(),
                     "lumatrope_versions00011_reserveType"),
        VersionsOnly(versions00013_1_0_0::lumatrope_versions00013TypeClass::Descriptor(),
                     "lumatrope_versions00013_reserveType"),
        VersionsOnly(versions00018_1_0_0::lumatrope_versions00018TypeClass::Descriptor(),
                     "lumatrope_versions00018_reserveType"),
        VersionsOnly(versions00019_1_0_0::lumatrope_versions00019TypeClass::Descriptor(),
                     "lumatrope_versions00019_reserveType"),
        VersionsOnly(versions690_1_0_0::lumatrope_versions690TypeClass::Descriptor(),
                     "lumatrope_versions690_reserveType"),
        VersionsOnly(versions780_1_0_0::lumatrope_versions780TypeClass::Descriptor(),
                     "lumatrope_versions780_reserveType"),
        VersionsOnly(versions880_1_0_0::lumatrope_versions880TypeClass::Descriptor(),
                     "lumatrope_versions880_reserveType"),
    };
    for (const Layout& layout : layouts) {
        SCOPED_TRACE(layout.module->className);
        std::map<std::string, const StructDescriptor*> seen;
        Reach(*layout.module->top, seen);
        uint32_t fields = 0;
        for (const auto& entry : seen) {
            fields += entry.second->fieldCount;
        }
        EXPECT_EQ(seen.size(), layout.structures);
        EXPECT_EQ(fields, layout.fields);
        for (const auto& expected : layout.fieldsOf) {
            auto found = seen.find(expected.first);
            ASSERT_NE(found, seen.end()) << expected.first;
            EXPECT_EQ(found->second->fieldCount, expected.second) << expected.first;
        }
    }
}

// A `_tab` wrapper: one structure holding one block of scalars.
bool IsTable(const FieldDescriptor& field) {
    const StructDescriptor* pTab = field.element.structType;
    return pTab != nullptr && pTab->fieldCount == 1 &&
           pTab->fields[0].kind == FieldKind::ScalarBlock &&
           std::string(field.name) == std::string(pTab->fields[0].name) + "_tab";
}

// The shared trigger chains of the contrast modules nest three levels above each payload;
// stabilisation has no triggers: each of its reserve sections is one flat record of scalars
// and scalar tables, with nothing counted or optional.
TEST(SchemaLayout, TriggerChainsAndFlatRecordsKeepTheirShape) {
    const StructDescriptor* pLevel = &afcglobalelements::kStruct_AFCTriggerFloatType;
    std::vector<std::string> chain;
    while (pLevel != nullptr && pLevel->fieldCount == 2) {
        chain.push_back(pLevel->name);
        pLevel = pLevel->fields[1].element.structType;
    }
    ASSERT_NE(pLevel, nullptr);
    EXPECT_EQ(chain, (std::vector<std::string>{"AFCTriggerFloatType", "AFCFloatLevel1Type",
                                               "AFCFloatLevel2Type", "AFCFloatLevel3Type"}));
    EXPECT_STREQ(pLevel->name, "AFCFloatDataType");

    const StructDescriptor& top = *eis_1_6_0::lumatrope_eis16TypeClass::Descriptor().top;
    const StructDescriptor& reserve = *top.fields[2].element.structType;
    ASSERT_STREQ(reserve.name, "lumatrope_eis16_reserveType");
    for (uint32_t i = 0; i < reserve.fieldCount; ++i) {
        const StructDescriptor& section = *reserve.fields[i].element.structType;
        SCOPED_TRACE(section.name);
        for (uint32_t j = 0; j < section.fieldCount; ++j) {
            const FieldDescriptor& field = section.fields[j];
            bool scalar = field.element.kind == ElementKind::Scalar &&
                          (field.kind == FieldKind::Inline || field.kind == FieldKind::ScalarBlock);
            EXPECT_TRUE(scalar || (field.kind == FieldKind::Inline && IsTable(field)))
                << field.name;
        }
    }
}

// Writes one value into every member, loads it at `alignment` and compares, then unloads:
// the sanitizers see whether everything went back.
template <typename Class, typename Top>
void RoundTrip(unsigned int alignment) {
    const ModuleDescriptor& module = Class::Descriptor();
    SCOPED_TRACE(module.className);
    zyra_test::LogCapture capture;
    binwriter::TuningBinaryBuilder builder(engine_test::FormatWithAlignment(alignment));
    std::vector<uint8_t> top = zyra_test::PathValueWriter(builder).Module(*module.top, kValues);
    // The binary names a module by its short form, without the family prefix.
    char type[ModuleData::kTypeLength + 1] = {};
    uint32_t id = builder.AddModule(ModuleData::GetType(type, module.names[0]),
                                    {module.major, module.minor, module.patch}, 0, top);
    engine_test::LoadedBinaryOf<Class> binary(builder, module.names[0]);
    ASSERT_TRUE(binary.Loaded());
    Class* pModule = binary.Create(id);
    ASSERT_NE(pModule, nullptr);
    ASSERT_TRUE(pModule->LoadModule(&binary.Table()));
    EXPECT_EQ(engine_test::Errors(capture), engine_test::Messages{});
    // The tables' offsets lie within the plain top structure, which the class holds second.
    EXPECT_EQ(zyra_test::CheckModule(*module.top, static_cast<const Top*>(pModule), kValues), "");
    pModule->UnloadModule();
}

// The large modules at the wide alignment; the small ones and the large flat tables of
// stabilisation packed.
TEST(SchemaLayout, EveryFieldRoundTrips) {
    namespace algo = afalgotuningelements;
    namespace awb = modtemporalawbv1;
    namespace eis = eis_1_6_0;
    namespace net = statsnnpdnet;
    namespace pdaf = afpdafelements;
    namespace pdlib = afpdlibelements;
    namespace versions = versions880_1_0_0;
    RoundTrip<algo::lumatropeAFAlgoTuningTypeClass, algo::lumatropeAFAlgoTuningType>(8);
    RoundTrip<pdaf::lumatropePDAFTypeClass, pdaf::lumatropePDAFType>(8);
    RoundTrip<pdlib::lumatropePDLibTypeClass, pdlib::lumatropePDLibType>(8);
    RoundTrip<net::lumatropeStatsNNPDNetTypeClass, net::lumatropeStatsNNPDNetType>(1);
    // Counted arrays three levels deep, and a counted array of enums.
    RoundTrip<aecxdbconvbase::AECXDBConvBaseTypeClass, aecxdbconvbase::AECXDBConvBaseType>(1);
    RoundTrip<aecxtouch::AECXTouchTypeClass, aecxtouch::AECXTouchType>(8);
    RoundTrip<awb::lumatropeTemporalAWBV1TypeClass, awb::lumatropeTemporalAWBV1Type>(8);
    RoundTrip<eis::lumatrope_eis16TypeClass, eis::lumatrope_eis16Type>(1);
    RoundTrip<versions::lumatrope_versions880TypeClass, versions::lumatrope_versions880Type>(8);
}

}  // namespace
}  // namespace schema_test
