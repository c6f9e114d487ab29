// The text of a request payload: mode path, module part and the rest, separated by
// the first two ":". The payload ends at its first nul or at the end of the packet.
#pragma once

#include <string>

struct DialinRequestText {
    // Longest part taken from a request.
    static constexpr size_t kMaxPart = 511;

    DialinRequestText(const unsigned char* pPayload, unsigned int size);

    std::string Path;
    std::string Module;
    std::string Rest;
    // A ":" follows the path, and a second one the module part.
    bool HasModule = false;
    bool HasRest = false;
};
