// A binary loaded on demand from a file, every module asked for along a few branches; then
// the file is cut to half its length under the loaded set manager and asked again.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "fuzz_set_manager.h"

namespace {

// One file per process, rewritten by each input and removed at exit.
const std::string& BinaryPath() {
    static const std::string path = [] {
        const char* pTemp = std::getenv("TMPDIR");
        std::string name = std::string(pTemp != nullptr ? pTemp : "/tmp") + "/zyra_fuzz_" +
                           std::to_string(getpid()) + ".bin";
        std::atexit([] { std::remove(BinaryPath().c_str()); });
        return name;
    }();
    return path;
}

bool WriteFile(const std::string& path, const uint8_t* pData, size_t size) {
    FILE* pFile = std::fopen(path.c_str(), "wb");
    if (pFile == nullptr) {
        return false;
    }
    const bool written = std::fwrite(pData, 1, size, pFile) == size;
    return std::fclose(pFile) == 0 && written;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t size) {
    zyra_fuzz::DropLogLines();
    const std::string& path = BinaryPath();
    const std::vector<unsigned char> binary = zyra_fuzz::WithValidCrc(pData, size);
    if (!WriteFile(path, binary.data(), binary.size())) {
        std::abort();
    }
    zyra_fuzz::FuzzSetManager manager(true);
    if (manager.LoadBinaryParameters(path.c_str())) {
        zyra_fuzz::QueryModules(manager);
        if (truncate(path.c_str(), static_cast<off_t>(size / 2)) == 0) {
            zyra_fuzz::QueryModules(manager);
        }
    }
    return 0;
}
