// Read-write lock of the parser, recursive per thread on both sides. A thread holding the
// write side may also read; a thread that is the only reader may also take the write side.
// Writers are not preferred: a stream of readers can hold one off.
//
// Readers on different cores share no written memory: each thread keeps its own nesting
// depth, and its outermost read is counted in one of several reader slots, each kept apart
// from the others and from the lock's other fields. A writer raises a flag and then looks at
// the slots; a reader counts itself and then looks at the flag. Whichever comes second sees
// the other and steps back, so readers never touch the internal mutex unless a writer is
// about.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <thread>

#include "parser/foundation/thread_separation.h"
#include "zyra_api.h"

class ZYRA_API ParameterMutex {
public:
    ParameterMutex() = default;
    ParameterMutex(const ParameterMutex&) = delete;
    ParameterMutex& operator=(const ParameterMutex&) = delete;

    void Lock(bool isRead);
    // Takes the side when that needs no wait, as Lock would grant it now; false otherwise.
    // A reader that wants the write side while other readers may want it too asks this way,
    // since two readers waiting for each other to leave would wait for ever.
    bool TryLock(bool isRead);
    void Unlock(bool isRead);

private:
    static constexpr unsigned int kReaderSlots = 16;
    struct ReaderSlot {
        std::atomic<uint32_t> readers{0};
        char padding[kThreadSeparation - sizeof(std::atomic<uint32_t>)];
    };
    // Counts a full separation apart, with room before the first, away from the writer flag
    // that every reader reads, and after the last, away from whatever follows the lock.
    struct ReaderSlots {
        char before[kThreadSeparation];
        ReaderSlot slot[kReaderSlots];
        char after[kThreadSeparation];
    };

    // Read side; false without waiting when `wait` is false and another thread writes.
    bool LockRead(bool wait);
    void LockWrite();
    // With m_mutex held and no writer: raises the flag when no other thread reads.
    bool ClaimWriteSide();
    bool OtherThreadReads() const;
    // Takes this thread's outermost read out of its slot and wakes writers waiting for that.
    void LeaveSlot(ReaderSlot& slot);
    ReaderSlot& ThisThreadSlot();

    // Guards the writer's fields and the waits; never held across a wait. Readers take it
    // only while a writer is about.
    std::mutex m_mutex;
    uint32_t m_writeCount = 0;
    std::thread::id m_writer;
    std::condition_variable m_changed;
    // Raised while a thread holds the write side, and for a moment while one claims it.
    std::atomic<bool> m_writeHeld{false};
    std::atomic<uint32_t> m_waitingWriters{0};
    ReaderSlots m_readers;
};
