// Helpers for copying strings and bytes out of a binary image, for writing strings into a
// response buffer, and for the texts of the live tuning protocol: number conversions and the
// steps of a field path such as "array[3].field".
#pragma once

#include <cstdint>

#include "zyra_api.h"

class IParameterLoggingAPI;

class ZYRA_API ParameterUtils {
public:
    // How far a read of `count` bytes moves a position: `count` rounded up to a multiple of
    // `alignment`. Alignment 0 does not move it at all.
    static uint64_t AlignUp(uint64_t count, unsigned char alignment);

    // Copies up to `count` bytes at `*pPosition` into `pDest`, never more than `destSize`, and
    // terminates `pDest` at its last byte. The position moves by `count` rounded up to a
    // multiple of `alignment`, also when `pDest` is null. Returns whether `pDest` was given.
    static bool ReadString(char* pDest, unsigned char* pSource, unsigned int length,
                           unsigned int* pPosition, unsigned int destSize, unsigned int count,
                           unsigned char alignment, IParameterLoggingAPI* pLogging);

    // The text at `*pPosition`, up to its terminator, `count` bytes or the end of the source,
    // in memory from ZyraCalloc that the caller frees with ZyraFree. Null when the source is
    // null or memory runs out, and then the position stays.
    static char* ReadString(unsigned char* pSource, unsigned int length, unsigned int* pPosition,
                            unsigned int count, unsigned char alignment);

    // Copies `count` bytes at `*pPosition` into `pDest`; false when fewer were there.
    static bool ReadBuffer(void* pDest, unsigned char* pSource, unsigned int length,
                           unsigned int* pPosition, unsigned int count, unsigned char alignment,
                           IParameterLoggingAPI* pLogging);

    // Writes `pString` with its terminator at `*pPosition`. The position moves past the text,
    // and past the terminator too when `includeTerminator` is set.
    static bool WriteString(const char* pString, unsigned char* pBuffer, unsigned int length,
                            unsigned int* pPosition, bool includeTerminator,
                            IParameterLoggingAPI* pLogging);

    // Index of the first `character`, or 0xFFFFFFFF.
    static unsigned int GetStringPos(const char* pString, char character);

    // Copies up to the delimiter, the end, or `destSize` - 1 characters, and terminates.
    // Returns the number of characters copied.
    static unsigned int GetSubString(const char* pString, char delimiter, char* pDest,
                                     unsigned int destSize);

    // Plain decimal text to a number: digits, at most one '.', and a '-' that drops whatever
    // stands before it. `result` tells whether the text was such a number.
    static double StringToDouble(const char* pString, bool& result);

    // Splits the first step off a field path: "abc[12].d" gives the name "abc", the index 12,
    // and 8, the length to skip. `index` is left alone when the step has no index.
    static unsigned int GetVariable(const char* pPath, char* pName, unsigned int& index,
                                    unsigned long nameSize);

    // Decimal text without exponent, rounded to at most `maxDecimals` digits behind the point.
    // `result` is false when the whole part did not fit.
    static void DoubleToString(double value, char* pDest, unsigned int size,
                               unsigned int maxDecimals, bool& result);
};
