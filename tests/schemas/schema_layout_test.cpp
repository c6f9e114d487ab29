// The typed modules of the library through their generated classes: one value written by the
// writer into every member, created under a registered name, loaded and compared.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "../engine/loaded_binary.h"
#include "Zyra.h"
#include "aecxdbconvbase.h"
#include "aecxtouch.h"
#include "afalgotuningelements.h"
#include "afpdafelements.h"
#include "afpdlibelements.h"
#include "eis_1_6_0.h"
#include "log_capture.h"
#include "modtemporalawbv1.h"
#include "path_values.h"
#include "statsnnpdnet.h"
#include "versions880_1_0_0.h"

namespace schema_test {
namespace {

constexpr zyra_test::ValueSource kValues{0x5EED, 0};

// Loads the module at `alignment` under its registered name `nameIndex` and compares every
// member, then unloads: the sanitizers see whether everything went back.
template <typename Class, typename Top>
void RoundTrip(unsigned int alignment, uint32_t nameIndex = 0) {
    const ParameterEngine::ModuleDescriptor& module = Class::Descriptor();
    const char* pName = module.names[nameIndex];
    SCOPED_TRACE(pName);
    zyra_test::LogCapture capture;
    binwriter::TuningBinaryBuilder builder(engine_test::FormatWithAlignment(alignment));
    std::vector<uint8_t> top = zyra_test::PathValueWriter(builder).Module(*module.top, kValues);
    // The binary names a module by its short form, without the family prefix.
    char type[ModuleData::kTypeLength + 1] = {};
    uint32_t id = builder.AddModule(ModuleData::GetType(type, pName),
                                    {module.major, module.minor, module.patch}, 0, top);
    engine_test::LoadedBinaryOf<Class> binary(builder, pName);
    ASSERT_TRUE(binary.Loaded());
    Class* pModule = binary.Create(id);
    ASSERT_NE(pModule, nullptr);
    EXPECT_STREQ(pModule->Name, pName);
    ASSERT_TRUE(pModule->LoadModule(&binary.Table()));
    EXPECT_EQ(engine_test::Errors(capture), engine_test::Messages{});
    EXPECT_EQ(pModule->ModuleID, id);
    // The tables' offsets lie within the plain top structure, which the class holds second.
    EXPECT_EQ(zyra_test::CheckModule(*module.top, static_cast<const Top*>(pModule), kValues), "");
    pModule->UnloadModule();
    EXPECT_FALSE(pModule->Loaded);
}

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

    // The sensor driver records; a class with two names is loaded under its second.
    using namespace Zyra;
    for (unsigned int alignment : {1u, 8u}) {
        RoundTrip<ActuatorDriverDataClass, ActuatorDriverData>(alignment, 1);
        RoundTrip<EEbinDriverClass, EEbinDriver>(alignment);
        RoundTrip<EEPROMDriverDataClass, EEPROMDriverData>(alignment);
        RoundTrip<FlashDriverDataClass, FlashDriverData>(alignment, 1);
        RoundTrip<CameraModuleDataClass, CameraModuleData>(alignment);
        RoundTrip<OISDriverDataClass, OISDriverData>(alignment);
        RoundTrip<PDAFConfigurationDataClass, PDAFConfigurationData>(alignment);
        RoundTrip<SensorDriverDataClass, SensorDriverData>(alignment);
        RoundTrip<SensorBinSocIdMapClass, SensorBinSocIdMap>(alignment);
    }
}

}  // namespace
}  // namespace schema_test
