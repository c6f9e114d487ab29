// Texts the parser keeps for itself live in memory from ZyraCalloc, like its objects.
#pragma once

#include <cstring>

#include "parser/foundation/parser_alloc_category.h"
#include "zyra/memory.h"

// A private, terminated copy of `pText` that the caller frees with ZyraFree, or null when
// memory runs out.
inline char* ParserCopyText(const char* pText) {
    const size_t length = std::strlen(pText);
    auto* pCopy = static_cast<char*>(ZyraCalloc(length + 1, 1, kParserAllocCategory));
    if (pCopy != nullptr) {
        std::memcpy(pCopy, pText, length);
    }
    return pCopy;
}
