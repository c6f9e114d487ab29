#include "parser/file/binary_value.h"

#include <cstdint>
#include <cstring>

#include "parser/foundation/parameter_logging.h"

// Values are copied as they lie in the binary.
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "binaries are little-endian");

namespace BinaryValue {

void LogShortRead(unsigned long long count, unsigned long long position,
                  unsigned long long length, IParameterLoggingAPI* pLogging) {
    ParameterLogging::Write(pLogging, ParameterLogging::Error, __FILE__, __LINE__,
                            "Failed to read %lld bytes from binary file offset %d, length %d\n",
                            static_cast<long long>(count), static_cast<int>(position),
                            static_cast<int>(length));
}

unsigned int Slot(unsigned int width, unsigned char alignment) {
    return width > alignment ? width : alignment;
}

bool Read(void* pValue, unsigned int width, unsigned int slot, const unsigned char* pSource,
          unsigned int length, unsigned int* pPosition, IParameterLoggingAPI* pLogging,
          bool logShortRead) {
    if (static_cast<uint64_t>(*pPosition) + width > length) {
        if (logShortRead) {
            LogShortRead(width, *pPosition, length, pLogging);
        }
        std::memset(pValue, 0, width);
        return false;
    }
    std::memcpy(pValue, pSource + *pPosition, width);
    // Saturates rather than wraps, so a position can never come back into range.
    uint64_t next = static_cast<uint64_t>(*pPosition) + slot;
    *pPosition = next > UINT32_MAX ? UINT32_MAX : static_cast<unsigned int>(next);
    return true;
}

}  // namespace BinaryValue
