// Objects of the parser live in memory from ZyraCalloc, like every other allocation of the
// parser, so that the stack's accounting and its fault injection see them too.
#pragma once

#include <cstddef>
#include <cstdint>
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

// A type aligned beyond what ZyraCalloc promises, as objects kept apart from other threads'
// data are. Its objects lie in a larger block, with the block's start stored just before them.
template <typename T>
constexpr bool kParserOverAligned = alignof(T) > alignof(std::max_align_t);

// Zeroed memory for one T, or null when memory runs out.
template <typename T>
void* ParserAllocateObject() {
    if constexpr (!kParserOverAligned<T>) {
        return ZyraCalloc(1, sizeof(T), kParserAllocCategory);
    } else {
        void* pBlock = ZyraCalloc(1, sizeof(T) + alignof(T) + sizeof(void*), kParserAllocCategory);
        if (pBlock == nullptr) {
            return nullptr;
        }
        const uintptr_t first = reinterpret_cast<uintptr_t>(pBlock) + sizeof(void*);
        auto** pObject = reinterpret_cast<void**>((first + alignof(T) - 1) & ~(alignof(T) - 1));
        pObject[-1] = pBlock;
        return pObject;
    }
}

// A new T built from `args`, or null when memory runs out.
template <typename T, typename... Args>
T* ParserNew(Args&&... args) {
    void* pMemory = ParserAllocateObject<T>();
    return pMemory == nullptr ? nullptr : new (pMemory) T(std::forward<Args>(args)...);
}

// Destroys and frees what ParserNew made; null is ignored.
template <typename T>
void ParserDelete(T* pObject) {
    if (pObject != nullptr) {
        pObject->~T();
        if constexpr (kParserOverAligned<T>) {
            ZyraFree(reinterpret_cast<void**>(pObject)[-1]);
        } else {
            ZyraFree(pObject);
        }
    }
}

// `count` default-built Ts in one block, or null when memory runs out.
template <typename T>
T* ParserNewArray(size_t count) {
    static_assert(!kParserOverAligned<T>, "arrays of over-aligned objects are not supported");
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
