#include "parser/foundation/parameter_utils.h"

#include <cmath>
#include <cstdint>
#include <cstring>

#include "parser/foundation/parameter_logging.h"
#include "parser/foundation/parser_alloc_category.h"
#include "zyra/memory.h"
#include "zyra/os_utils.h"

namespace {

constexpr unsigned int kNotFound = 0xFFFFFFFFu;
// Longest step of a field path, and longest index text, that GetVariable looks at.
constexpr unsigned int kStepSize = 129;
constexpr unsigned int kIndexTextSize = 10;

// Positions are 32-bit: a step past 4 GiB wraps, and the bounds checks then see a short source.
unsigned int Advance(unsigned int count, unsigned char alignment) {
    return static_cast<unsigned int>(ParameterUtils::AlignUp(count, alignment));
}

unsigned int Available(unsigned int length, unsigned int position) {
    return position < length ? length - position : 0;
}

unsigned int Smaller(unsigned int a, unsigned int b) { return a < b ? a : b; }

// The source at `position`, kept inside the source when the position has run past its end.
const unsigned char* At(const unsigned char* pSource, unsigned int length, unsigned int position) {
    return pSource + Smaller(position, length);
}

// Takes the digit of `power`'s place off `rest`. The clamp keeps rounding noise of the
// division from producing something other than a digit.
char TakeDigit(double& rest, double power) {
    double quotient = std::trunc(rest / power);
    int digit = quotient >= 9.0 ? 9 : quotient > 0.0 ? static_cast<int>(quotient) : 0;
    rest = std::fma(-static_cast<double>(digit), power, rest);
    return static_cast<char>('0' + digit);
}

// Adds one to the last digit of `pText[start, end)`, carrying through nines and over the
// point. Returns the new end: one more when the carry needed a new leading "1" and it fit.
unsigned int RoundUp(char* pText, unsigned int start, unsigned int end, unsigned int last) {
    for (unsigned int i = end; i > start; --i) {
        char& c = pText[i - 1];
        if (c == '.') {
            continue;
        }
        if (c != '9') {
            ++c;
            return end;
        }
        c = '0';
    }
    if (end < last) {
        std::memmove(pText + start + 1, pText + start, end - start);
        pText[start] = '1';
        ++end;
    }
    return end;
}

}  // namespace

uint64_t ParameterUtils::AlignUp(uint64_t count, unsigned char alignment) {
    if (alignment == 0) {
        return 0;
    }
    return (count + alignment - 1) / alignment * alignment;
}

bool ParameterUtils::ReadString(char* pDest, unsigned char* pSource, unsigned int length,
                                unsigned int* pPosition, unsigned int destSize,
                                unsigned int count, unsigned char alignment,
                                IParameterLoggingAPI* pLogging) {
    if (pSource == nullptr || pPosition == nullptr) {
        ParameterLogging::Write(pLogging, ParameterLogging::Error, __FILE__, __LINE__,
                                pSource == nullptr ? "ReadBuffer called with nullptr buffer\n"
                                                   : "ReadBuffer called with nullptr position\n");
        return false;
    }
    if (pDest == nullptr) {
        ParameterLogging::Write(pLogging, ParameterLogging::Error, __FILE__, __LINE__,
                                "ReadBuffer failed to allocate space for a string of %d length\n",
                                static_cast<int>(count));
    } else if (destSize > 0) {
        unsigned int copied = Smaller(Smaller(Available(length, *pPosition), count), destSize);
        std::memcpy(pDest, At(pSource, length, *pPosition), copied);
        pDest[destSize - 1] = '\0';
    }
    *pPosition += Advance(count, alignment);
    return pDest != nullptr;
}

char* ParameterUtils::ReadString(unsigned char* pSource, unsigned int length,
                                 unsigned int* pPosition, unsigned int count,
                                 unsigned char alignment) {
    if (pSource == nullptr || pPosition == nullptr) {
        return nullptr;
    }
    const char* pText = reinterpret_cast<const char*>(At(pSource, length, *pPosition));
    size_t textLength = strnlen(pText, Smaller(Available(length, *pPosition), count));
    auto* pCopy = static_cast<char*>(ZyraCalloc(textLength + 1, 1, kParserAllocCategory));
    if (pCopy == nullptr) {
        return nullptr;
    }
    std::memcpy(pCopy, pText, textLength);
    *pPosition += Advance(count, alignment);
    return pCopy;
}

bool ParameterUtils::ReadBuffer(void* pDest, unsigned char* pSource, unsigned int length,
                                unsigned int* pPosition, unsigned int count,
                                unsigned char alignment, IParameterLoggingAPI* pLogging) {
    const char* pProblem = pSource == nullptr     ? "ReadBuffer called with nullptr buffer\n"
                           : pDest == nullptr     ? "ReadBuffer called with nullptr value\n"
                           : pPosition == nullptr ? "ReadBuffer called with nullptr position\n"
                                                  : nullptr;
    if (pProblem != nullptr) {
        ParameterLogging::Write(pLogging, ParameterLogging::Error, __FILE__, __LINE__, "%s",
                                pProblem);
        return count == 0;
    }
    unsigned int copied = Smaller(Available(length, *pPosition), count);
    std::memcpy(pDest, At(pSource, length, *pPosition), copied);
    *pPosition += Advance(count, alignment);
    if (copied != count) {
        ParameterLogging::Write(pLogging, ParameterLogging::Error, __FILE__, __LINE__,
                                "ReadBuffer failed, read %d bytes, expected %d bytes\n",
                                static_cast<int>(copied), static_cast<int>(count));
        return false;
    }
    return true;
}

bool ParameterUtils::WriteString(const char* pString, unsigned char* pBuffer, unsigned int length,
                                 unsigned int* pPosition, bool includeTerminator,
                                 IParameterLoggingAPI* pLogging) {
    const char* pText = pString != nullptr ? pString : "";
    size_t textLength = std::strlen(pText);
    if (pBuffer == nullptr || pPosition == nullptr ||
        length <= static_cast<uint64_t>(*pPosition) + 1 + textLength) {
        if (pString != nullptr) {
            ParameterLogging::Write(pLogging, ParameterLogging::Error, __FILE__, __LINE__,
                                    "Insufficient space in buffer to write string: %s\n", pString);
        } else {
            ParameterLogging::Write(pLogging, ParameterLogging::Error, __FILE__, __LINE__,
                                    "Insufficient space in buffer to write string\n");
        }
        return false;
    }
    Zyra::OsUtils::StrLCpy(reinterpret_cast<char*>(pBuffer + *pPosition), pText,
                           length - *pPosition);
    *pPosition += static_cast<unsigned int>(textLength) + (includeTerminator ? 1 : 0);
    return true;
}

unsigned int ParameterUtils::GetStringPos(const char* pString, char character) {
    if (pString == nullptr) {
        return kNotFound;
    }
    for (unsigned int i = 0; pString[i] != '\0'; ++i) {
        if (pString[i] == character) {
            return i;
        }
    }
    return kNotFound;
}

unsigned int ParameterUtils::GetSubString(const char* pString, char delimiter, char* pDest,
                                          unsigned int destSize) {
    if (pString == nullptr || pDest == nullptr || destSize == 0) {
        return 0;
    }
    unsigned int copied = 0;
    while (copied < destSize - 1 && pString[copied] != '\0' && pString[copied] != delimiter) {
        pDest[copied] = pString[copied];
        ++copied;
    }
    pDest[copied] = '\0';
    return copied;
}

double ParameterUtils::StringToDouble(const char* pString, bool& result) {
    result = false;
    if (pString == nullptr || pString[0] == '\0') {
        return 0.0;
    }
    const char* pMinus = std::strchr(pString, '-');
    const bool negative = pMinus != nullptr;
    const char* pFirst = negative ? pMinus + 1 : pString;
    // The place value of the first digit comes from where the first point stands in the
    // whole text, counted from the first digit.
    const char* pPoint = std::strchr(pString, '.');
    const char* pUnitsEnd = pPoint != nullptr ? pPoint : pString + std::strlen(pString);
    double scale = std::pow(10.0, static_cast<double>(pUnitsEnd - pFirst - 1));

    result = true;
    double value = 0.0;
    bool pointSeen = false;
    for (const char* p = pFirst; *p != '\0'; ++p) {
        if (*p >= '0' && *p <= '9') {
            value += (*p - '0') * scale;
            scale /= 10.0;
        } else if (*p == '.' && !pointSeen) {
            pointSeen = true;
        } else {
            result = false;
            return 0.0;
        }
    }
    return negative ? -value : value;
}

unsigned int ParameterUtils::GetVariable(const char* pPath, char* pName, unsigned int& index,
                                         unsigned long nameSize) {
    char step[kStepSize];
    unsigned int length = GetSubString(pPath, '.', step, sizeof(step));
    if (length == 0) {
        step[0] = '\0';
    }
    unsigned int bracket = GetStringPos(step, '[');
    if (bracket != kNotFound) {
        char indexText[kIndexTextSize];
        if (bracket + 1 < length &&
            GetSubString(step + bracket + 1, ']', indexText, sizeof(indexText)) > 0) {
            bool isNumber = false;
            double value = StringToDouble(indexText, isNumber);
            // Cut towards zero; a negative index saturates at 0 as the device's conversion does.
            index = value > 0.0 ? static_cast<unsigned int>(value) : 0;
        }
        step[bracket] = '\0';
    }
    if (pName != nullptr) {
        Zyra::OsUtils::StrLCpy(pName, step, nameSize);
    }
    if (length == 0) {
        return 0;
    }
    return pPath[length] == '.' ? length + 1 : length;
}

void ParameterUtils::DoubleToString(double value, char* pDest, unsigned int size,
                                    unsigned int maxDecimals, bool& result) {
    result = false;
    if (pDest == nullptr || size == 0) {
        return;
    }
    if (!std::isfinite(value)) {
        Zyra::OsUtils::StrLCpy(pDest, std::isnan(value) ? "nan" : value < 0 ? "-inf" : "inf", size);
        return;
    }
    const unsigned int last = size - 1;  // room for the terminator
    unsigned int pos = 0;
    if (value < 0.0) {
        if (pos < last) {
            pDest[pos++] = '-';
        }
        value = -value;
    }
    const unsigned int start = pos;

    double power = 1.0;
    unsigned int wholeDigits = 1;
    while (power * 10.0 <= value) {
        power *= 10.0;
        ++wholeDigits;
    }

    double rest = value;
    bool point = false;
    unsigned int decimals = 0;
    while (pos < last) {
        pDest[pos++] = TakeDigit(rest, power);
        power /= 10.0;
        if (point) {
            ++decimals;
        }
        // The point needs room for one digit behind it, so that "3." can become "3.0".
        if (wholeDigits > 0 && --wholeDigits == 0 && maxDecimals > 0 && pos + 2 < size) {
            pDest[pos++] = '.';
            point = true;
        }
        if (wholeDigits == 0 && (rest == 0.0 || (point && decimals >= maxDecimals))) {
            break;
        }
    }

    if (point) {
        if (rest != 0.0) {
            double next = rest;
            if (TakeDigit(next, power) >= '5') {
                pos = RoundUp(pDest, start, pos, last);
            }
        }
        while (pDest[pos - 1] == '0' && pDest[pos - 2] != '.') {
            --pos;
        }
        if (pDest[pos - 1] == '.') {
            pDest[pos++] = '0';
        }
    }
    pDest[pos] = '\0';
    result = rest <= 1.0;
}
