// Mode paths as text: numeric ("0.0|2.1"), shorthand ("0|2.1") and named
// ("Default|Usecase.Snapshot"), and the conversions between them and mode branches.
#include <cstdio>
#include <cstring>

#include "parser/foundation/parameter_utils.h"
#include "parser/setmanager/mode_names.h"
#include "parser/setmanager/parameter_set_manager.h"
#include "zyra/os_utils.h"

namespace {

// Longest entry of a numeric path that GetModeBranchFromPath looks at, with its terminator.
constexpr unsigned int kBranchEntrySize = 10;
constexpr unsigned int kShorthandEntrySize = 256;
constexpr unsigned int kDialinPieceSize = 512;
constexpr unsigned int kStepTextSize = 12;

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// The decimal number at the front of `pText`, up to its first other character; saturates
// instead of wrapping.
uint32_t LeadingNumber(const char* pText) {
    uint64_t value = 0;
    for (; IsDigit(*pText); ++pText) {
        value = value * 10 + static_cast<uint64_t>(*pText - '0');
        if (value > UINT32_MAX) {
            return UINT32_MAX;
        }
    }
    return static_cast<uint32_t>(value);
}

// One entry of a numeric path. Digits before the dot are the Mode, digits after it the
// SubMode. Without a dot, or with the dot first, the Mode is 0 and the SubMode is the digit
// at index 1: so "0" is Default, and "2" too is Mode 0, SubMode 0.
bool ParseBranchEntry(const char* pEntry, unsigned int length, TuningMode& step) {
    unsigned int dot = length;
    for (unsigned int i = 0; i < length; ++i) {
        if (pEntry[i] == '.' && dot == length) {
            dot = i;
        } else if (!IsDigit(pEntry[i])) {
            return false;
        }
    }
    step = TuningMode{};
    if (dot == 0 || dot == length) {
        step.SubMode =
            static_cast<uint16_t>(length > 1 && IsDigit(pEntry[1]) ? pEntry[1] - '0' : 0);
    } else {
        step.Mode = LeadingNumber(pEntry);
        step.SubMode = static_cast<uint16_t>(LeadingNumber(pEntry + dot + 1));
    }
    return true;
}

// Splits `*ppText` at `delimiter`: copies the next part into `pPart` (cut to `partSize` - 1
// characters, the rest then being the next part) and moves past it and its delimiter.
unsigned int NextPart(const char** ppText, char delimiter, char* pPart, unsigned int partSize) {
    unsigned int length = ParameterUtils::GetSubString(*ppText, delimiter, pPart, partSize);
    *ppText += length;
    if (**ppText == delimiter) {
        ++*ppText;
    }
    return length;
}

// Calls `append` with each non-empty part of `pList` split at `delimiter`, cut as NextPart
// cuts it to PartSize - 1 characters, and writes the delimiter into `pText` between parts.
template <unsigned int PartSize, typename Append>
void JoinParts(const char* pList, char delimiter, char* pText, unsigned int size,
               Append append) {
    const char separator[2] = {delimiter, '\0'};
    bool first = true;
    while (*pList != '\0') {
        char part[PartSize];
        if (NextPart(&pList, delimiter, part, sizeof(part)) == 0) {
            continue;
        }
        if (!first) {
            Zyra::OsUtils::StrLCat(pText, separator, size);
        }
        first = false;
        append(part);
    }
}

void AppendWholeNumber(char* pText, unsigned int size, double value) {
    char number[kStepTextSize];
    bool fits = false;
    ParameterUtils::DoubleToString(value, number, sizeof(number), 0, fits);
    Zyra::OsUtils::StrLCat(pText, number, size);
}

// One numeric step as names: "2.1" is "Usecase.Snapshot". A number without a submode name
// keeps its raw text from the dot on, except under Default.
void AppendNamedStep(const char* pStep, char* pText, unsigned int size) {
    const uint32_t mode = LeadingNumber(pStep);
    const char* pDot = std::strchr(pStep, '.');
    const char* pModeName = ModeNames::ModeName(mode);
    if (pModeName != nullptr) {
        Zyra::OsUtils::StrLCat(pText, pModeName, size);
    }
    if (pDot == nullptr) {
        return;
    }
    const char* pSubModeName = ModeNames::SubModeName(mode, LeadingNumber(pDot + 1));
    if (pSubModeName != nullptr) {
        Zyra::OsUtils::StrLCat(pText, ".", size);
        Zyra::OsUtils::StrLCat(pText, pSubModeName, size);
    } else if (mode != 0) {
        Zyra::OsUtils::StrLCat(pText, pDot, size);
    }
}

}  // namespace

bool ParameterSetManager::GetModeBranchFromPath(const char* pPath, PList<TuningMode>& branch) {
    if (pPath == nullptr) {
        return false;
    }
    bool parsed = false;
    const char* pRest = pPath;
    for (;;) {
        char entry[kBranchEntrySize];
        const unsigned int length = ParameterUtils::GetSubString(pRest, '|', entry, sizeof(entry));
        if (length == 0) {
            break;
        }
        TuningMode step;
        if (!ParseBranchEntry(entry, length, step) || !branch.Insert(branch.Count(), step)) {
            return false;
        }
        parsed = true;
        if (pRest[length] == '\0') {
            break;
        }
        // One character behind the entry: the '|', or the first character an over-long entry
        // lost.
        pRest += length + 1;
    }
    return parsed;
}

void ParameterSetManager::GetPathFromModeBranch(const TuningMode* pBranch, unsigned int count,
                                                char* pPath, unsigned int size) {
    if (pBranch == nullptr || count == 0 || pPath == nullptr || size == 0) {
        return;
    }
    for (unsigned int i = 0; i < count; ++i) {
        if (i != 0) {
            Zyra::OsUtils::StrLCat(pPath, "|", size);
        }
        char step[kStepTextSize];
        std::snprintf(step, sizeof(step), "%u.%u", pBranch[i].Mode,
                      static_cast<unsigned int>(pBranch[i].SubMode));
        Zyra::OsUtils::StrLCat(pPath, step, size);
    }
}

unsigned short ParameterSetManager::GetModeIndex(const char* pName) {
    if (pName == nullptr) {
        return 0;
    }
    const size_t length = std::strlen(pName);
    for (unsigned short mode = 0; ModeNames::ModeName(mode) != nullptr; ++mode) {
        const char* pModeName = ModeNames::ModeName(mode);
        if (std::strlen(pModeName) == length &&
            Zyra::OsUtils::StrNICmp(pName, pModeName, length) == 0) {
            return mode;
        }
    }
    return 0;
}

unsigned short ParameterSetManager::GetSubModeIndex(unsigned short mode, const char* pName) {
    if (pName == nullptr) {
        return 0;
    }
    bool isNumber = false;
    const double value = ParameterUtils::StringToDouble(pName, isNumber);
    if (isNumber) {
        // Truncated, and held to what a SubMode can be.
        return value <= 0.0 ? 0 : value >= 65535.0 ? 65535 : static_cast<unsigned short>(value);
    }
    const size_t length = std::strlen(pName);
    for (unsigned short subMode = 0; ModeNames::SubModeName(mode, subMode) != nullptr; ++subMode) {
        const char* pSubModeName = ModeNames::SubModeName(mode, subMode);
        if (std::strlen(pSubModeName) == length &&
            Zyra::OsUtils::StrNICmp(pName, pSubModeName, length) == 0) {
            return subMode;
        }
    }
    return 0;
}

bool ParameterSetManager::GetModeShorthand(const char* pModePath, char* pText, unsigned int size) {
    if (pText == nullptr || size == 0) {
        return false;
    }
    pText[0] = '\0';
    const char* pEntries = pModePath != nullptr ? pModePath : "";
    JoinParts<kShorthandEntrySize>(pEntries, '|', pText, size, [&](const char* pEntry) {
        char modeName[kShorthandEntrySize];
        ParameterUtils::GetSubString(pEntry, '.', modeName, sizeof(modeName));
        const unsigned short mode = GetModeIndex(modeName);
        AppendWholeNumber(pText, size, mode);
        const char* pDot = std::strchr(pEntry, '.');
        if (pDot != nullptr && pDot[1] != '\0') {
            Zyra::OsUtils::StrLCat(pText, ".", size);
            AppendWholeNumber(pText, size, GetSubModeIndex(mode, pDot + 1));
        }
    });
    pText[size - 1] = '\0';
    return true;
}

void ParameterSetManager::GetDialinModesString(const char* pPaths, char* pText, unsigned int size) {
    if (pText == nullptr || size == 0) {
        return;
    }
    pText[0] = '\0';
    const char* pPieces = pPaths != nullptr ? pPaths : "";
    JoinParts<kDialinPieceSize>(pPieces, ';', pText, size, [&](const char* pPiece) {
        JoinParts<kDialinPieceSize>(pPiece, '|', pText, size, [&](const char* pStep) {
            AppendNamedStep(pStep, pText, size);
        });
    });
}
