// Appends text to a fixed buffer, always nul-terminated; what does not fit is dropped and,
// with a logger, logged once per append.
#pragma once

#include <cstddef>
#include <cstring>

#include "parser/foundation/parameter_logging.h"

class IParameterLoggingAPI;

class DialinTextWriter {
public:
    // `size` counts the terminating nul and must be at least 1.
    DialinTextWriter(char* pText, size_t size, IParameterLoggingAPI* pLogging)
        : m_pText(pText), m_size(size), m_pLogging(pLogging) {
        m_pText[0] = '\0';
    }

    void Append(const char* pPart) {
        const size_t length = std::strlen(pPart);
        const size_t room = m_size - 1 - m_length;
        const size_t taken = length < room ? length : room;
        std::memcpy(m_pText + m_length, pPart, taken);
        m_length += taken;
        m_pText[m_length] = '\0';
        if (taken < length && m_pLogging != nullptr) {
            ParameterLogging::Write(m_pLogging, ParameterLogging::Error, __FILE__, __LINE__,
                                    "Failed to write %lld bytes to binary offset %d, length %d",
                                    static_cast<long long>(length - taken),
                                    static_cast<int>(m_length), static_cast<int>(m_size));
        }
    }

    size_t Length() const { return m_length; }

private:
    char* m_pText;
    size_t m_size;
    size_t m_length = 0;
    IParameterLoggingAPI* m_pLogging;
};
