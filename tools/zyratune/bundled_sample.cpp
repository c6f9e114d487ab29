#include "bundled_sample.h"

#include <unistd.h>

#include <climits>

namespace zyratune {

std::string BundledSample() {
    char program[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", program, sizeof(program));
    if (length <= 0 || length == static_cast<ssize_t>(sizeof(program))) {
        return "sample.bin";
    }
    std::string folder(program, static_cast<size_t>(length));
    folder.erase(folder.rfind('/') + 1);
    const std::string beside = folder + "sample.bin";
    if (access(beside.c_str(), F_OK) == 0) {
        return beside;
    }
    return folder + ZYRATUNE_SAMPLE_FROM_PROGRAM;
}

}  // namespace zyratune
