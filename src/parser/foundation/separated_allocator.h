// A standard allocator whose every block starts and ends on a boundary of kThreadSeparation,
// so that nothing else shares its cache lines. For containers whose elements hold counters
// that threads write while other threads read their neighbours.
#pragma once

#include <cstddef>
#include <new>

#include "parser/foundation/thread_separation.h"

template <typename T>
class SeparatedAllocator {
public:
    using value_type = T;

    SeparatedAllocator() = default;
    template <typename U>
    SeparatedAllocator(const SeparatedAllocator<U>&) noexcept {}

    T* allocate(size_t count) {
        return static_cast<T*>(::operator new(Rounded(count), std::align_val_t(kThreadSeparation)));
    }
    void deallocate(T* pBlock, size_t /*count*/) noexcept {
        ::operator delete(pBlock, std::align_val_t(kThreadSeparation));
    }

    template <typename U>
    bool operator==(const SeparatedAllocator<U>&) const noexcept {
        return true;
    }
    template <typename U>
    bool operator!=(const SeparatedAllocator<U>&) const noexcept {
        return false;
    }

private:
    static size_t Rounded(size_t count) {
        if (count > (static_cast<size_t>(-1) - kThreadSeparation) / sizeof(T)) {
            throw std::bad_array_new_length();
        }
        return (count * sizeof(T) + kThreadSeparation - 1) / kThreadSeparation *
               kThreadSeparation;
    }
};
