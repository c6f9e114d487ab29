// The commands on what the sample does not cover: binaries whose modules no single set manager
// knows, and descriptions and values that build refuses.
#include <gtest/gtest.h>

#include <functional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "binwriter/tuning_binary_builder.h"
#include "commands.h"
#include "enginetest_1_0_0.h"
#include "json_codec.h"
#include "temp_dir.h"
#include "tool_error.h"

namespace {

// abf21_tfe is an opaque tuning module of version 2.1.0; flashDriverData a typed sensor record.
constexpr binwriter::Version kFormat{5, 0, 0};
constexpr binwriter::Version kAbfVersion{2, 1, 0};

std::string Write(const zyra_test::TempDir& directory,
                  const binwriter::TuningBinaryBuilder& builder) {
    const std::vector<uint8_t> bytes = builder.Build();
    return directory.Write("test.bin", bytes);
}

std::string ErrorOf(const std::function<void()>& command) {
    try {
        command();
    } catch (const zyratune::ToolError& error) {
        return error.what();
    }
    return "(no error)";
}

TEST(ZyratuneCommands, ModulesOfTwoSetManagersAreRefused) {
    zyra_test::TempDir directory;
    binwriter::TuningBinaryBuilder builder(kFormat);
    const uint32_t root = builder.AddMode({});
    builder.AddModule("abf21_tfe", kAbfVersion, root, {1});
    builder.AddModule("flashDriverData", {1, 0, 0}, root, {0});
    const std::string file = Write(directory, builder);
    std::ostringstream ignored;
    EXPECT_EQ(ErrorOf([&] { zyratune::Inspect(file, ignored); }),
              file + ": not a loadable tuning binary: modules of two set managers: "
                     "abf21_tfe (TuningSetManager), flashDriverData (ImageSensorModuleSetManager)");
    builder.AddModule("nosuchmodule", kAbfVersion, root, {1});
    const std::string unknown = Write(directory, builder);
    EXPECT_EQ(ErrorOf([&] { zyratune::Inspect(unknown, ignored); }),
              unknown + ": not a loadable tuning binary: module nosuchmodule is in no set "
                        "manager's catalogue");
}

// Each description differs from a good one in one place, which the message names.
TEST(ZyratuneCommands, BadDescriptionsAreRefusedNamingTheirPlace) {
    const std::string flash = R"({"name": "flashDriverData", "values": )";
    const std::string abf = R"({"name": "abf21_tfe", )";
    const std::string preview = R"({"mode": "Usecase.Preview", )";
    auto modules = [](const std::string& list) {
        return R"({"modes": {"mode": "Default", "modules": [)" + list + "]}}";
    };
    auto children = [](const std::string& version, const std::string& list) {
        return R"({"version": ")" + version + R"(", "modes": {"mode": "Default", "children": [)" +
               list + "]}}";
    };
    const std::vector<std::pair<std::string, std::string>> cases = {
        {R"({"version": 5, "modes": {}})", "version: must be a string"},
        {R"({"version": "2.0.0", "alignment": 1, "modes": {}})",
         "alignment: version 2.0.0 lays values out with 8"},
        {R"({"flags": 2, "modes": {}})",
         "flags: bit 1 marks compressed sections, which the library refuses"},
        {modules(abf + R"("version": "2.0.0", "bytes": ""})"),
         "modes.modules[0].version: abf21_tfe is version 2.1.0"},
        {modules(abf + R"("values": {}})"),
         "modes.modules[0]: abf21_tfe has no schema, so it takes bytes"},
        {modules(flash + R"({"flashDriverType": 2}})"),
         "modes.modules[0].values.flashDriverType: 2 is not a value of FlashDriverType"},
        {modules(flash + R"({}}, )" + abf + R"("bytes": ""})"),
         "modes.modules[1].name: abf21_tfe belongs to TuningSetManager, the modules before it "
         "to ImageSensorModuleSetManager"},
        {children("4.0.0", preview + R"("pinned": true})"),
         "modes.children[0].pinned: version 4.0.0 has no pin flags"},
        {children("5.0.0", preview + R"("children": [{"mode": "Usecase.Nope"}]})"),
         "modes.children[0].children[0].mode: unknown mode 'Usecase.Nope'"},
    };
    zyra_test::TempDir directory;
    for (const auto& [text, message] : cases) {
        const std::string input = directory.Write("bad.json", text);
        std::ostringstream ignored;
        EXPECT_EQ(ErrorOf([&] { zyratune::Build(input, directory.File("out.bin"), ignored); }),
                  input + ": " + message)
            << text;
    }
}

TEST(ZyratuneCommands, ValuesAFieldCannotHoldAreRefusedNamingThePlace) {
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
    const auto& top = *enginetest_1_0_0::enginetestTypeClass::Descriptor().top;
    for (const auto& [text, message] : cases) {
        binwriter::TuningBinaryBuilder builder(kFormat);
        const zyratune::Json values = zyratune::Json::parse(text);
        EXPECT_EQ(ErrorOf([&] { zyratune::EncodeStructure(top, values, builder, "m"); }), message)
            << text;
    }
}

}  // namespace
