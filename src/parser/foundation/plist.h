// Growable array of plain values. Elements are moved by bytes and the storage grows by
// realloc, `growStep` elements at a time, so only trivially copyable types may go in.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <type_traits>

template <typename T>
class PList {
    static_assert(std::is_trivially_copyable<T>::value, "PList moves its elements by bytes");

public:
    explicit PList(uint32_t growStep = 1) : m_growStep(growStep > 0 ? growStep : 1) {}
    ~PList() { std::free(m_pData); }
    PList(const PList&) = delete;
    PList& operator=(const PList&) = delete;

    // Stores `value` at `index` and moves the elements from there on up by one. An index
    // beyond the end, or storage that cannot grow, leaves the list as it was.
    bool Insert(uint32_t index, T value) {
        if (index > m_count || (m_count == m_capacity && !Grow())) {
            return false;
        }
        if (index < m_count) {
            std::memmove(m_pData + index + 1, m_pData + index, (m_count - index) * sizeof(T));
        }
        m_pData[index] = value;
        ++m_count;
        return true;
    }

    // Moves the elements behind `index` down by one. The storage keeps its size.
    bool Remove(uint32_t index) {
        if (index >= m_count) {
            return false;
        }
        std::memmove(m_pData + index, m_pData + index + 1, (m_count - index - 1) * sizeof(T));
        --m_count;
        return true;
    }

    uint32_t Count() const { return m_count; }
    uint32_t Capacity() const { return m_capacity; }

    // `index` must be below Count().
    T& operator[](uint32_t index) { return m_pData[index]; }
    const T& operator[](uint32_t index) const { return m_pData[index]; }

private:
    // New elements are zeroed, so a list of pointers or counters starts out clean.
    bool Grow() {
        uint32_t capacity = m_capacity + m_growStep;
        if (capacity < m_capacity) {
            return false;
        }
        void* pData = std::realloc(m_pData, static_cast<size_t>(capacity) * sizeof(T));
        if (pData == nullptr) {
            return false;
        }
        m_pData = static_cast<T*>(pData);
        std::memset(static_cast<void*>(m_pData + m_capacity), 0,
                    static_cast<size_t>(m_growStep) * sizeof(T));
        m_capacity = capacity;
        return true;
    }

    T* m_pData = nullptr;
    uint32_t m_count = 0;
    uint32_t m_capacity = 0;
    uint32_t m_growStep;
};
