// Runs a fuzz target's entry over every file of the folders given on the command line, so
// that ordinary builds replay the seeds and the inputs that once crashed.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t size);

int main(int argc, char** argv) {
    namespace fs = std::filesystem;
    size_t replayed = 0;
    for (int i = 1; i < argc; ++i) {
        if (!fs::is_directory(argv[i])) {
            continue;
        }
        for (const fs::directory_entry& entry : fs::directory_iterator(argv[i])) {
            std::ifstream in(entry.path(), std::ios::binary);
            std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)),
                                       std::istreambuf_iterator<char>());
            LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
            ++replayed;
        }
    }
    std::printf("replayed %zu inputs\n", replayed);
    // A target without any input to replay has lost its corpus.
    return replayed > 0 ? 0 : 1;
}
