// The commands on binaries the sample does not cover: modules of the tuning family without a
// schema, and binaries whose modules no single set manager knows.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "binwriter/tuning_binary_builder.h"
#include "commands.h"
#include "temp_dir.h"
#include "tool_error.h"

namespace {

// abf21_tfe is an opaque tuning module of version 2.1.0; flashDriverData a typed sensor record.
constexpr binwriter::Version kFormat{5, 0, 0};
constexpr binwriter::Version kAbfVersion{2, 1, 0};

std::string Write(const zyra_test::TempDir& directory,
                  const binwriter::TuningBinaryBuilder& builder) {
    const std::vector<uint8_t> bytes = builder.Build();
    return directory.Write("test.bin", std::string(bytes.begin(), bytes.end()));
}

std::string ErrorOf(const std::function<void()>& command) {
    try {
        command();
    } catch (const zyratune::ToolError& error) {
        return error.what();
    }
    return "(no error)";
}

TEST(ZyratuneCommands, OpaqueTuningModulesAreShownButNeitherDumpedNorRead) {
    zyra_test::TempDir directory;
    binwriter::TuningBinaryBuilder builder(kFormat);
    const uint32_t root = builder.AddMode({});
    binwriter::ModeRecord preview;
    preview.mode = 2;
    preview.parent = root;
    const uint32_t child = builder.AddMode(preview);
    builder.AddModule("abf21_tfe", kAbfVersion, root, {1, 2, 3, 4, 5});
    builder.AddModule("abf21_tfe", kAbfVersion, child, {9, 9});
    const std::string file = Write(directory, builder);

    std::ostringstream out;
    EXPECT_EQ(zyratune::Inspect(file, out), 0);
    const std::string text = out.str();
    const char* const lines[] = {
        "\nset manager: TuningSetManager\n", "\nmodes:       2\n",
        ("\n  Default (pinned)\n    - abf21_tfe 2.1.0 opaque, 5 bytes, entry 1\n"
         "    Usecase.Preview\n      - abf21_tfe 2.1.0 opaque, 2 bytes, entry 2\n")};
    for (const char* line : lines) {
        EXPECT_NE(text.find(line), std::string::npos) << line << "\nin\n" << text;
    }

    std::ostringstream dump;
    EXPECT_EQ(zyratune::Dump(file, false, dump), 0);
    EXPECT_EQ(dump.str(), "");
    std::ostringstream json;
    EXPECT_EQ(zyratune::Dump(file, true, json), 0);
    const std::string previewNode =
        "\"children\": [\n      {\n        \"mode\": \"Usecase.Preview\"\n      }";
    EXPECT_NE(json.str().find(previewNode), std::string::npos)
        << json.str();

    std::ostringstream ignored;
    EXPECT_EQ(ErrorOf([&] {
                  zyratune::Get(file, "Default|Usecase.Preview", "abf21_tfe", "", ignored);
              }),
              file + ": no value abf21_tfe in mode Default|Usecase.Preview");
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

    const std::string description = directory.Write(
        "mixed.json", R"({"modes": {"mode": "Default", "modules": [
            {"name": "flashDriverData"}, {"name": "abf21_tfe"}]}})");
    EXPECT_EQ(ErrorOf([&] { zyratune::Build(description, directory.File("out.bin"), ignored); }),
              description +
                  ": Default: abf21_tfe: module has no schema, so no values can be given");
    const std::string sensors = directory.Write(
        "sensors.json", R"({"modes": {"mode": "Default", "modules": [
            {"name": "flashDriverData"}, {"name": "abf21_tfe_x"}]}})");
    EXPECT_EQ(ErrorOf([&] { zyratune::Build(sensors, directory.File("out.bin"), ignored); }),
              sensors + ": Default: abf21_tfe_x: no such module in the catalogue");
}

}  // namespace
