// The slot for requests of the live tuning Custom command, whose payload means whatever the
// installer of the handler and its client agree on.
#pragma once

#include <cstdint>

class ParameterDialinCustomHandler {
public:
    // Answers `pRequest` (`size` bytes) into `pResponse`, at most `maxSize` bytes, and stores
    // the count in `pResponseLength`. The result goes back to the client.
    virtual uint16_t HandleRequest(const unsigned char* pRequest, unsigned int size,
                                   uint16_t maxSize, unsigned char* pResponse,
                                   uint16_t* pResponseLength) = 0;

protected:
    ~ParameterDialinCustomHandler() = default;
};
