// The autofocus, PD and exposure modules against the layouts they are tuned by: how many
// structures and fields each one reaches, and a load of every field of each written by the
// writer.
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "../engine/loaded_binary.h"
#include "aecxdbconvbase.h"
#include "aecxtouch.h"
#include "afalgotuningelements.h"
#include "afcglobalelements.h"
#include "afpdafelements.h"
#include "afpdlibelements.h"
#include "layout_values.h"
#include "log_capture.h"
#include "statsnnpdnet.h"

namespace schema_test {
namespace {

using ParameterEngine::ModuleDescriptor;
using ParameterEngine::StructDescriptor;

// Every structure that `type` reaches, itself included, each once.
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

const std::vector<Layout> kLayouts{
    {&afpdlibelements::lumatropePDLibTypeClass::Descriptor(), 42, 213,
     {{"lumatropePDLibType", 30}, {"lumatropeTuningHardwareGeometry", 12},
      {"statsExtensionParamType", 4}}},
    {&statsnnpdnet::lumatropeStatsNNPDNetTypeClass::Descriptor(), 21, 68,
     {{"lumatropeStatsNNPDNetType", 15}}},
    {&afpdafelements::lumatropePDAFTypeClass::Descriptor(), 77, 271,
     {{"lumatropePDAFType", 36}, {"confidenceSensitivityModifierArr", 7}}},
    {&afalgotuningelements::lumatropeAFAlgoTuningTypeClass::Descriptor(), 80, 380,
     {{"lumatropeAFAlgoTuningType::spotlightDetectionStruct", 32}}},
    {&aecxdbconvbase::AECXDBConvBaseTypeClass::Descriptor(), 13, 37, {{"AECXDBConvBaseType", 4}}},
    {&aecxtouch::AECXTouchTypeClass::Descriptor(), 3, 6, {{"AECXTouchType", 2}}},
};

TEST(SchemaLayout, ModulesReachTheirStructuresAndFields) {
    for (const Layout& layout : kLayouts) {
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

// The shared trigger chains of the contrast modules: three levels above each payload.
TEST(SchemaLayout, SharedTriggerChainsNestThreeLevels) {
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
}

template <typename Class, typename Top>
void RoundTrip(unsigned int alignment) {
    const ModuleDescriptor& module = Class::Descriptor();
    SCOPED_TRACE(module.className);
    zyra_test::LogCapture capture;
    binwriter::TuningBinaryBuilder builder(engine_test::FormatWithAlignment(alignment));
    std::vector<uint8_t> top = WriteValues(builder, *module.top);
    // The binary names a module by its short form, without the family prefix.
    char type[ModuleData::kTypeLength + 1] = {};
    uint32_t id = builder.AddModule(ModuleData::GetType(type, module.names[0]),
                                    binwriter::Version{module.major, module.minor, module.patch},
                                    0, top);
    engine_test::LoadedBinaryOf<Class> binary(builder, module.names[0]);
    ASSERT_TRUE(binary.Loaded());
    Class* pModule = binary.Create(id);
    ASSERT_NE(pModule, nullptr);
    ASSERT_TRUE(pModule->LoadModule(&binary.Table()));
    EXPECT_EQ(engine_test::Errors(capture), engine_test::Messages{});
    // The tables' offsets lie within the plain top structure, which the class holds second.
    ExpectValues(*module.top, static_cast<const Top*>(pModule));
    pModule->UnloadModule();
}

// The large modules at the wide alignment, the small ones packed.
TEST(SchemaLayout, EveryFieldRoundTrips) {
    namespace algo = afalgotuningelements;
    namespace pdaf = afpdafelements;
    namespace pdlib = afpdlibelements;
    namespace net = statsnnpdnet;
    RoundTrip<algo::lumatropeAFAlgoTuningTypeClass, algo::lumatropeAFAlgoTuningType>(8);
    RoundTrip<pdaf::lumatropePDAFTypeClass, pdaf::lumatropePDAFType>(8);
    RoundTrip<pdlib::lumatropePDLibTypeClass, pdlib::lumatropePDLibType>(8);
    RoundTrip<net::lumatropeStatsNNPDNetTypeClass, net::lumatropeStatsNNPDNetType>(1);
    // Counted arrays three levels deep, and a counted array of enums.
    RoundTrip<aecxdbconvbase::AECXDBConvBaseTypeClass, aecxdbconvbase::AECXDBConvBaseType>(1);
    RoundTrip<aecxtouch::AECXTouchTypeClass, aecxtouch::AECXTouchType>(8);
}

}  // namespace
}  // namespace schema_test
