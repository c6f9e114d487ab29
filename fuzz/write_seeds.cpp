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
#include "fuzz_set_manager.h"
#include "set_manager_test_support.h"

namespace {

using Bytes = std::vector<uint8_t>;
namespace fs = std::filesystem;

Bytes TextInput(uint8_t operation, uint8_t answerSize, const std::string& text) {
    Bytes bytes(2 + text.size());
    bytes[0] = operation;
    bytes[1] = answerSize;
    std::copy(text.begin(), text.end(), bytes.begin() + 2);
    return bytes;
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
        {"get_value", TextInput(7, 96, "0.0|2.0\nabc\nvalue,gains[1]")},
        {"set_value", TextInput(8, 0, "0.0|2.0\nabc\ngains[0]\n42")},
        {"info", TextInput(9, 0, "0.0\nabc.value")},
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
