// The tool's JSON codec against the engine: values encoded from JSON load through the generated
// class into exactly the structure they describe, and decode back to the same JSON.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "engine_test_support.h"
#include "json_codec.h"
#include "tool_error.h"

namespace {

using engine_test::LoadedBinary;
using nlohmann::ordered_json;

const ParameterEngine::StructDescriptor& Top() {
    return *enginetest_1_0_0::enginetestTypeClass::Descriptor().top;
}

// Every field of the schema, in its order, with values that show a wrong width or sign, and
// the spellings of what JSON has no numbers or strings for.
const char* const kEveryField = R"({
  "u8": 250, "u16": 65535, "u32": 4000000000, "i32": -7, "u64": 18446744073709551615,
  "i64": -9000000000, "f32": 0.1, "f64": "-inf", "flag": 7, "gain": 1.5, "trigger": 1001,
  "name": {"hex": "c3ff"},
  "module_version": {"major": 2, "minor": 3},
  "origin": {"x": 0.25, "y": -3.0},
  "lut": [1, 2, 3, 4, 5, 6],
  "colors": [3, 0, 1],
  "corners": [{"x": "nan", "y": 2.0}, {"x": "0x7fc00001", "y": 0.5}],
  "curve_tab": {"curve": [0.5, 1.0, 1.5, 2.0]},
  "samples": [10, 20, 30],
  "triggers": [75, 100],
  "regions": [{"shape": 7, "label": "centre", "weights": [9, 8]},
              {"shape": 0, "label": "", "weights": []}],
  "extra": {"shape": 2, "label": "edge", "weights": [1]},
  "level": -1,
  "tail": 7
})";

ordered_json RoundTrip(const ordered_json& values, unsigned int alignment) {
    binwriter::TuningBinaryBuilder builder(engine_test::FormatWithAlignment(alignment));
    std::vector<uint8_t> bytes = zyratune::EncodeStructure(Top(), values, builder, "test");
    uint32_t id = builder.AddModule("enginetest", engine_test::kModuleVersion, 0, bytes);
    LoadedBinary binary(builder);
    EXPECT_TRUE(binary.Loaded());
    enginetest_1_0_0::enginetestTypeClass* pModule = binary.Create(id);
    EXPECT_TRUE(pModule != nullptr && pModule->LoadModule(&binary.Table()));
    if (pModule == nullptr || !pModule->Loaded) {
        return nullptr;
    }
    EXPECT_EQ(pModule->lut[1][0], 3);
    ordered_json decoded = zyratune::DecodeStructure(
        Top(), static_cast<enginetest_1_0_0::enginetestType*>(pModule));
    pModule->UnloadModule();
    return decoded;
}

TEST(ZyratuneJsonCodec, EveryFieldKindRoundTripsInBothLayouts) {
    const ordered_json values = ordered_json::parse(kEveryField);
    for (unsigned int alignment : {1u, 8u}) {
        SCOPED_TRACE(alignment);
        EXPECT_EQ(RoundTrip(values, alignment).dump(), values.dump());
    }
}

TEST(ZyratuneJsonCodec, RefusesWhatAFieldCannotHoldNamingThePlace) {
    const std::vector<std::pair<const char*, std::string>> cases = {
        {R"({"u8": 256})", "m.u8: must be an integer in range"},
        {R"({"i32": 1.5})", "m.i32: must be an integer in range"},
        {R"({"f32": 1e39})", "m.f32: must be a number in range"},
        {R"({"flag": -1})", "m.flag: must be true or false"},
        {R"({"trigger": 19})", "m.trigger: 19 is not a value of trigger_types"},
        {R"({"lut": [1, 2]})", "m.lut: must be an array of 6 values"},
        {R"({"regions": [{}, {"weights": [1, 70000]}]})",
         "m.regions[1].weights[1]: must be an integer in range"},
        {R"({"origin": {"z": 1}})", "m.origin.z: no such field in pointType"},
        {R"([1])", "m: must be an object"},
    };
    for (const auto& [text, message] : cases) {
        binwriter::TuningBinaryBuilder builder(binwriter::Version{5, 0, 0});
        try {
            zyratune::EncodeStructure(Top(), ordered_json::parse(text), builder, "m");
            ADD_FAILURE() << text << " was accepted";
        } catch (const zyratune::ToolError& error) {
            EXPECT_EQ(error.what(), message) << text;
            EXPECT_EQ(error.ExitCode(), zyratune::kExitBadInput);
        }
    }
}

}  // namespace
