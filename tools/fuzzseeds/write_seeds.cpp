// Writes the seed corpora of the fuzz targets with the project's binary writer:
//   zyra_fuzz_seeds <corpus folder>
// fills <corpus folder>/<target>/ for each target. The files are committed; run this again
// after a change of the writer or of the test module types.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "binwriter/tuning_binary_builder.h"
#include "binwriter/value_writer.h"
#include "fuzz_set_manager.h"
#include "set_manager_test_support.h"
#include "tuningclient/tuning_packet.h"

namespace {

using Bytes = std::vector<uint8_t>;
namespace fs = std::filesystem;

// Two typed catalogue modules on the root and again, other values, on a child: a gamma tree
// with one node and an exposure convergence module with counted node tables.
uint32_t AddGamma(binwriter::TuningBinaryBuilder& builder, uint32_t mode, float start) {
    binwriter::ValueWriter variables(builder);
    variables.U32(3).U32(1000);
    const uint32_t variableEntry = builder.AddPointerTarget(variables.Bytes());
    const uint32_t noChildren = builder.AddPointerTarget({});
    const uint32_t noRegions = builder.AddPointerTarget({});
    binwriter::ValueWriter node(builder);
    node.Float(start).Float(start + 1.f).U32(0).Pointer(noChildren).U32(0).Pointer(noRegions);
    const uint32_t rootEntry = builder.AddPointerTarget(node.Bytes());
    binwriter::ValueWriter top(builder);
    top.I32(1).I32(1).I32(6).I32(1).String("seed");
    top.U32(2).Pointer(variableEntry).Float(0.25f).Float(0.75f).U32(1).Pointer(rootEntry);
    return builder.AddModule("gamma16_ife_v2", {1, 6, 1}, mode, top.Bytes());
}

uint32_t AddConvergence(binwriter::TuningBinaryBuilder& builder, uint32_t mode, float step) {
    binwriter::ValueWriter top(builder);
    top.I32(10).I32(0).I32(0).String("seed").U32(1).Float(step).U32(2);
    for (uint32_t smoothing = 0; smoothing < 2; ++smoothing) {
        binwriter::ValueWriter nodes(builder);
        for (uint32_t i = 0; i < 6 * (smoothing + 1); ++i) {
            nodes.Float(step * static_cast<float>(i));
        }
        top.U32(1).U32(smoothing + 1).Pointer(builder.AddPointerTarget(nodes.Bytes()));
    }
    top.U32(1).Float(0.5f).I32(-3);
    for (int i = 0; i < 7; ++i) {
        top.Float(static_cast<float>(i));
    }
    return builder.AddModule("aecxconvergence", {10, 0, 0}, mode, top.Bytes());
}

Bytes CatalogueTree(const binwriter::Version& format) {
    using setmanager_test::Record;
    binwriter::TuningBinaryBuilder builder(format);
    builder.AddMode(Record(0, 0));
    builder.AddMode(Record(2, 0, 0));
    for (uint32_t mode = 0; mode < 2; ++mode) {
        AddGamma(builder, mode, static_cast<float>(mode));
        AddConvergence(builder, mode, 0.5f + static_cast<float>(mode));
    }
    return builder.Build();
}

// One request of each command as the tuning client writes it, behind the framing target's
// settings bytes.
Bytes DialinStream(uint8_t commandLimit, uint8_t chunk, uint8_t room) {
    using tuningclient::Command;
    const std::vector<Bytes> requests = {
        tuningclient::EncodeRequest(Command::DeviceInfo),
        tuningclient::EncodeRequest(Command::ActiveModes),
        tuningclient::EncodeRequest(Command::ControlValues),
        tuningclient::EncodeTextRequest(Command::Modes, 1, "0.0|2.0"),
        tuningclient::EncodeTextRequest(Command::Info, 2, "0.0|2.0\nabc"),
        tuningclient::EncodeTextRequest(Command::GetValues, 3, "0.0|2.0\nabc\nvalue"),
        tuningclient::EncodeTextRequest(Command::SetValues, 4, "0.0|2.0\nabc\nvalue\n42"),
        tuningclient::EncodeRequest(Command::TriggerValues),
        tuningclient::EncodeRequest(Command::Custom, 5, Bytes{1, 2, 3}),
    };
    Bytes stream = {commandLimit, chunk, room};
    for (const Bytes& request : requests) {
        stream.insert(stream.end(), request.begin(), request.end());
    }
    return stream;
}

Bytes TextInput(uint8_t operation, uint8_t answerSize, const std::string& text) {
    Bytes bytes(2 + text.size());
    bytes[0] = operation;
    bytes[1] = answerSize;
    std::copy(text.begin(), text.end(), bytes.begin() + 2);
    return bytes;
}

// The schemas of the repository, as they stand.
void CopySchemas(const fs::path& folder) {
    fs::create_directories(folder);
    for (const fs::directory_entry& entry : fs::directory_iterator(ZYRA_SCHEMA_DIR)) {
        if (entry.path().extension() == ".schema") {
            fs::copy_file(entry.path(), folder / entry.path().filename(),
                          fs::copy_options::overwrite_existing);
        }
    }
}

void Write(const fs::path& folder, const std::string& name, const Bytes& bytes) {
    fs::create_directories(folder);
    std::ofstream out(folder / name, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s <corpus folder>\n", argv[0]);
        return 2;
    }
    const fs::path corpus(argv[1]);
    const std::vector<std::pair<std::string, Bytes>> binaries = {
        {"tree_5_0_0", setmanager_test::Tree()},
        {"tree_extra_5_0_0", setmanager_test::Tree(100, true)},
        {"small_2_0_0", zyra_fuzz::EngineTree({2, 0, 0})},
        {"small_3_0_0", zyra_fuzz::EngineTree({3, 0, 0})},
        {"small_3_0_1", zyra_fuzz::EngineTree({3, 0, 1})},
        {"small_4_0_0", zyra_fuzz::EngineTree({4, 0, 0})},
        {"small_5_0_0", zyra_fuzz::EngineTree({5, 0, 0})},
    };
    for (const char* pTarget : {"load_memory_fuzzer", "load_file_fuzzer"}) {
        for (const auto& binary : binaries) {
            Write(corpus / pTarget, binary.first, binary.second);
        }
    }
    for (const auto& format : {binwriter::Version{3, 0, 0}, binwriter::Version{5, 0, 0}}) {
        const std::string name = "catalogue_" + std::to_string(format.major) + "_" +
                                 std::to_string(format.minor) + "_" + std::to_string(format.patch);
        Write(corpus / "catalogue_fuzzer", name, CatalogueTree(format));
    }
    CopySchemas(corpus / "schema_reader_fuzzer");
    Write(corpus / "dialin_framing_fuzzer", "all_at_once", DialinStream(9, 0, 255));
    Write(corpus / "dialin_framing_fuzzer", "bytewise", DialinStream(9, 1, 255));
    Write(corpus / "dialin_framing_fuzzer", "any_command_small_room", DialinStream(255, 7, 15));
    // Operation numbers as text_fuzzer.cpp picks them.
    const std::vector<std::pair<std::string, Bytes>> texts = {
        {"variable", TextInput(0, 32, "regions[12].weights")},
        {"number", TextInput(1, 24, "-12.0625")},
        {"branch_numeric", TextInput(2, 128, "0.0|2.0|4.4|4.5")},
        {"branch_named", TextInput(2, 128, "Default.Default|Usecase.Preview")},
        {"mode_index", TextInput(3, 0, "Usecase\nPreview")},
        {"dialin_modes", TextInput(4, 200, "0.0|2.0,0.0|2.1")},
        {"shorthand", TextInput(5, 64, "0.0|2.0|4.4")},
        {"child_modes", TextInput(6, 64, "0.0|2.0")},
        {"get_value", TextInput(7, 96, "0.0|2.0\nabc\nu32,samples[1]")},
        {"set_value", TextInput(8, 0, "0.0|2.0\nabc\nsamples[0]\n42")},
        {"info", TextInput(9, 0, "0.0\nabc.u32")},
        {"engine_value", TextInput(7, 200, "0.0|2.0\nenginetest\nu32,regions[0].label,lut[1][0]")},
        {"engine_set", TextInput(8, 0, "0.0|2.0\nenginetest\nregions[0].weights[1]\n7")},
        {"engine_info", TextInput(9, 0, "0.0|2.0\nenginetest.regions")},
        {"control_values", TextInput(10, 64, "1=2,3=4.5")},
        {"trigger_values", TextInput(11, 64, "7=-1.25,8=9")},
    };
    for (const auto& text : texts) {
        Write(corpus / "text_fuzzer", text.first, text.second);
    }
    return 0;
}
