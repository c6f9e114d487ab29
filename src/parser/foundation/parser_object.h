// Objects of the parser live in memory from ZyraCalloc, like every other allocation of the
// parser, so that the stack's accounting and its fault injection see them too.
#pragma once

#include <cstddef>
#include <new>
#include <utility>

#include "parser/foundation/parser_alloc_category.h"
#include "zyra/memory.h"

// Memory for a class's own operator new: zeroed, and std::bad_alloc when it runs out.
inline void* ParserAllocate(size_t size) {
    void* pMemory = ZyraCalloc(1, size, kParserAllocCategory);
    if (pMemory == nullptr) {
        throw std::bad_alloc();
    }
    return pMemory;
}

// A new T built from `args`, or null when memory runs out.
template <typename T, typename... Args>
T* ParserNew(Args&&... args) {
    void* pMemory = ZyraCalloc(1, sizeof(T), kParserAllocCategory);
    return pMemory == nullptr ? nullptr : new (pMemory) T(std::forward<Args>(args)...);
}

// Destroys and frees what ParserNew made; null is ignored.
template <typename T>
void ParserDelete(T* pObject) {
    if (pObject != nullptr) {
        pObject->~T();
        ZyraFree(pObject);
    }
}

// `count` default-built Ts in one block, or null when memory runs out.
template <typename T>
T* ParserNewArray(size_t count) {
    auto* pArray = static_cast<T*>(ZyraCalloc(count, sizeof(T), kParserAllocCategory));
    if (pArray != nullptr) {
        for (size_t i = 0; i < count; ++i) {
            new (pArray + i) T();
        }
    }
    return pArray;
}

// Destroys and frees what ParserNewArray made, given the same count; null is ignored.
template <typename T>
void ParserDeleteArray(T* pArray, size_t count) {
    if (pArray != nullptr) {
        for (size_t i = count; i > 0; --i) {
            pArray[i - 1].~T();
        }
        ZyraFree(pArray);
    }
}
