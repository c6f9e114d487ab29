// The counted array of strings of the sensor driver records: a text that cannot be found, and
// every allocation failing in turn.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "Zyra.h"
#include "engine_test_support.h"
#include "log_capture.h"
#include "parser/engine/structure_engine.h"
#include "parser/file/parameter_file_symbol_table_entry.h"
#include "zyra/memory.h"

namespace engine_test {
namespace {

using SocIdMapBinary = LoadedBinaryOf<Zyra::SensorBinSocIdMapClass>;
using Texts = std::vector<std::string>;

constexpr uint32_t kMissingEntry = 999;

// A map of one SoC whose binary names are `names`; the name at `badAt` points to no entry.
uint32_t AddSocIdMap(binwriter::TuningBinaryBuilder& builder, const Texts& names,
                     size_t badAt = SIZE_MAX) {
    binwriter::ValueWriter namesOut(builder);
    for (size_t i = 0; i < names.size(); ++i) {
        if (i == badAt) {
            namesOut.U32(static_cast<uint32_t>(names[i].size() + 1)).Pointer(kMissingEntry);
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

TEST(SensorRecords, CountedStringsLoadStopAtABadTextAndGiveEverythingBack) {
    zyra_test::LogCapture capture;
    binwriter::TuningBinaryBuilder builder(FormatWithAlignment(8));
    uint32_t broken = AddSocIdMap(builder, {"a.bin", "bb.bin", "ccc.bin"}, 1);
    SocIdMapBinary binary(builder, "sensorBinSocIdMap");

    // A text that cannot be found ends the load there: the names before it stay, the count
    // stays, and Unload gives back what was read.
    ParameterFileSymbolTableEntry entry;
    ASSERT_TRUE(binary.Table().Find(entry, broken, true));
    Zyra::SensorBinSocIdMap map{};
    const ParameterEngine::StructDescriptor& type = *Zyra::SensorBinSocIdMapClass::Descriptor().top;
    EXPECT_FALSE(ParameterEngine::Load(type, &map, &entry, binary.Table().GetAlignment()));
    ASSERT_EQ(map.socIdInfoCount, 1u);
    EXPECT_EQ(BinNames(map.socIdInfo[0]), (Texts{"a.bin", "(null)", "(null)"}));
    EXPECT_EQ(Errors(capture),
              Messages{"[ERROR] Find: Symbol table entry ID 999 out of range 1 - 6\n"});
    ParameterEngine::Unload(type, &map, &binary.Table());
    EXPECT_EQ(map.socIdInfo, nullptr);
}

// Every allocation of a load failing in turn: the one of the name array is logged with the
// field's name and leaves the names out without failing the load; none leaks or crashes.
TEST(SensorRecords, CountedStringsSurviveEachFailedAllocation) {
    zyra_test::LogCapture capture;
    binwriter::TuningBinaryBuilder builder(FormatWithAlignment(1));
    uint32_t id = AddSocIdMap(builder, {"a.bin", "bb.bin"});
    SocIdMapBinary binary(builder, "sensorBinSocIdMap");
    Zyra::SensorBinSocIdMapClass* pModule = binary.Create(id);
    ASSERT_NE(pModule, nullptr);
    bool namesLeftOut = false;
    bool loaded = false;
    for (uint32_t nth = 1; nth < 20 && !loaded; ++nth) {
        capture.Clear();
        Zyra::Memory::FailNthAllocation(nth);
        bool result = pModule->LoadModule(&binary.Table());
        Zyra::Memory::FailNthAllocation(0);
        Messages errors = Errors(capture);
        if (errors == Messages{"[ERROR] Failed to allocate binName\n"}) {
            namesLeftOut = true;
            EXPECT_TRUE(result);
            EXPECT_EQ(pModule->socIdInfo[0].binNameCount, 0u);
        }
        loaded = result && errors.empty();
        pModule->UnloadModule();
    }
    EXPECT_TRUE(namesLeftOut);
    EXPECT_TRUE(loaded);
}

}  // namespace
}  // namespace engine_test
