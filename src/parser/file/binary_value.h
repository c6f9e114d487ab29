// The rule by which every value below the header of a tuning binary is read: a value of
// `width` bytes is there when it ends within its source; it stands unaligned and
// little-endian at the position, and takes a slot of max(width, alignment) bytes.
#pragma once

class IParameterLoggingAPI;

namespace BinaryValue {

// Logs that `count` bytes at `position` do not fit a source of `length` bytes.
void LogShortRead(unsigned long long count, unsigned long long position,
                  unsigned long long length, IParameterLoggingAPI* pLogging);

// Bytes a value of `width` takes at `alignment`.
unsigned int Slot(unsigned int width, unsigned char alignment);

// Copies the `width` bytes at `*pPosition` of `pSource` into `pValue` and moves the position
// by `slot`. A value that does not end within `length` reads as zero and leaves the
// position; the short read is logged unless `logShortRead` is false.
bool Read(void* pValue, unsigned int width, unsigned int slot, const unsigned char* pSource,
          unsigned int length, unsigned int* pPosition, IParameterLoggingAPI* pLogging,
          bool logShortRead);

}  // namespace BinaryValue
