#include "parser/setmanager/binary_field_reader.h"

#include "parser/file/binary_value.h"
#include "parser/foundation/parameter_logging.h"
#include "parser/foundation/parameter_utils.h"

BinaryFieldReader::BinaryFieldReader(const unsigned char* pBuffer, unsigned int length,
                                     unsigned int position, IParameterLoggingAPI* pLogging,
                                     const char* pFailureFormat)
    : m_pBuffer(pBuffer),
      m_length(length),
      m_position(position),
      m_pLogging(pLogging),
      m_pFailureFormat(pFailureFormat) {}

bool BinaryFieldReader::Fits(unsigned int width) const {
    return m_pBuffer != nullptr && static_cast<uint64_t>(m_position) + width <= m_length;
}

void BinaryFieldReader::LogShortField(unsigned int width) const {
    ParameterLogging::Write(m_pLogging, ParameterLogging::Error, __FILE__, __LINE__,
                            m_pFailureFormat, static_cast<long long>(width),
                            static_cast<int>(m_position), static_cast<int>(m_length));
}

bool BinaryFieldReader::Read(uint64_t& value, unsigned int width, unsigned char alignment) {
    value = 0;
    if (width > sizeof(value) || !Fits(width)) {
        LogShortField(width);
        return false;
    }
    return BinaryValue::Read(&value, width, BinaryValue::Slot(width, alignment), m_pBuffer,
                             m_length, &m_position, m_pLogging, false);
}

bool BinaryFieldReader::Read32(uint32_t& value, unsigned char alignment) {
    uint64_t wide = 0;
    const bool result = Read(wide, sizeof(value), alignment);
    value = static_cast<uint32_t>(wide);
    return result;
}

bool BinaryFieldReader::Skip(unsigned int width, unsigned char alignment) {
    if (!Fits(width)) {
        LogShortField(width);
        return false;
    }
    const uint64_t next = static_cast<uint64_t>(m_position) + BinaryValue::Slot(width, alignment);
    m_position = next > UINT32_MAX ? UINT32_MAX : static_cast<unsigned int>(next);
    return true;
}

char* BinaryFieldReader::ReadText(unsigned int width) {
    const unsigned int start = m_position;
    char* pText = ParameterUtils::ReadString(const_cast<unsigned char*>(m_pBuffer), m_length,
                                             &m_position, width, 1);
    // The fields behind a text stand where they stand, whether or not it could be copied.
    m_position = start + width;
    return pText;
}
