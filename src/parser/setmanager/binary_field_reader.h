// Reads the container's own fields (header, section table, mode records) out of a buffer by
// the value rule of BinaryValue, logging a field that does not fit with the caller's text.
#pragma once

#include <cstdint>

class IParameterLoggingAPI;

class BinaryFieldReader {
public:
    // `pFailureFormat` is the text logged for a field that does not fit; it takes the width,
    // the position and the length, as long long, int and int.
    BinaryFieldReader(const unsigned char* pBuffer, unsigned int length, unsigned int position,
                      IParameterLoggingAPI* pLogging, const char* pFailureFormat);

    // Reads an unsigned value of `width` bytes (at most 8) and moves past max(width,
    // `alignment`) bytes. A field that does not fit is logged, reads as 0 and leaves the
    // position where it was.
    bool Read(uint64_t& value, unsigned int width, unsigned char alignment = 1);
    bool Read32(uint32_t& value, unsigned char alignment = 1);
    // Moves past a field of `width` bytes, under the same test as a read.
    bool Skip(unsigned int width, unsigned char alignment = 1);

    // A copy of the text in a field of `width` bytes, which ends at its first zero byte, the
    // field's end or the buffer's end; from ZyraCalloc, freed by the caller with ZyraFree.
    // Null for a null buffer or when memory runs out. The position moves past the field.
    char* ReadText(unsigned int width);

    unsigned int Position() const { return m_position; }

private:
    bool Fits(unsigned int width) const;
    void LogShortField(unsigned int width) const;

    const unsigned char* m_pBuffer;
    unsigned int m_length;
    unsigned int m_position;
    IParameterLoggingAPI* m_pLogging;
    const char* m_pFailureFormat;
};
