// A binary loaded on demand from a file, every module asked for along a few branches; then
// the file is cut to half its length under the loaded set manager and asked again.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
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

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t size) {
    zyra_fuzz::DropLogLines();
    const std::string& path = BinaryPath();
    const std::vector<unsigned char> binary = zyra_fuzz::WithValidCrc(pData, size);
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(reinterpret_cast<const char*>(binary.data()), static_cast<std::streamsize>(binary.size()));
    file.close();
    if (!file) {
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
