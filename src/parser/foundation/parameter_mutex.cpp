#include "parser/foundation/parameter_mutex.h"

#include <cstdlib>
#include <new>

#include "parser/foundation/parameter_logging.h"

namespace {

struct ReadHold {
    const ParameterMutex* pMutex;
    uint32_t depth;
};

// What one thread reads: its nesting depth on each lock it reads, and the slot its
// outermost reads are counted in. Plain data, so that it needs no construction and has no
// destructor: locks taken while static objects are destroyed at exit, after the thread's
// own objects, still find it intact.
struct ThreadReads {
    static constexpr uint32_t kInlineHolds = 8;

    ReadHold* Find(const ParameterMutex* pMutex) {
        for (uint32_t i = 0; i < count; ++i) {
            if (At(i).pMutex == pMutex) {
                return &At(i);
            }
        }
        return nullptr;
    }
    // Throws std::bad_alloc when a thread reading more than the inline number of locks at
    // once cannot get more room, as a standard container would.
    void Add(const ParameterMutex* pMutex) {
        if (count >= kInlineHolds && count - kInlineHolds == moreCapacity) {
            const uint32_t capacity = moreCapacity != 0 ? moreCapacity * 2 : kInlineHolds;
            void* pGrown = std::realloc(pMore, capacity * sizeof(ReadHold));
            if (pGrown == nullptr) {
                throw std::bad_alloc();
            }
            pMore = static_cast<ReadHold*>(pGrown);
            moreCapacity = capacity;
        }
        At(count++) = ReadHold{pMutex, 1};
    }
    void Forget(ReadHold* pHold) {
        *pHold = At(--count);
        if (count <= kInlineHolds && pMore != nullptr) {
            std::free(pMore);
            pMore = nullptr;
            moreCapacity = 0;
        }
    }
    ReadHold& At(uint32_t index) {
        return index < kInlineHolds ? holds[index] : pMore[index - kInlineHolds];
    }
    unsigned int Slot() {
        // Threads are spread over the slots in the order they first read.
        static std::atomic<unsigned int> s_nextSlot{0};
        if (slotPlusOne == 0) {
            slotPlusOne = s_nextSlot.fetch_add(1, std::memory_order_relaxed) + 1;
        }
        return slotPlusOne - 1;
    }

    ReadHold holds[kInlineHolds];
    ReadHold* pMore;
    uint32_t moreCapacity;
    uint32_t count;
    unsigned int slotPlusOne;
};

thread_local ThreadReads t_reads;

}  // namespace

void ParameterMutex::Lock(bool isRead) {
    if (isRead) {
        LockRead(true);
    } else {
        LockWrite();
    }
}

bool ParameterMutex::TryLock(bool isRead) {
    if (isRead) {
        return LockRead(false);
    }
    std::lock_guard<std::mutex> guard(m_mutex);
    if (m_writeCount != 0) {
        if (m_writer != std::this_thread::get_id()) {
            return false;
        }
        ++m_writeCount;
        return true;
    }
    if (!ClaimWriteSide()) {
        return false;
    }
    m_writeCount = 1;
    m_writer = std::this_thread::get_id();
    return true;
}

void ParameterMutex::Unlock(bool isRead) {
    if (isRead) {
        ReadHold* pHold = t_reads.Find(this);
        // A thread without a read lock changes nothing.
        if (pHold != nullptr && --pHold->depth == 0) {
            t_reads.Forget(pHold);
            LeaveSlot(ThisThreadSlot());
        }
        return;
    }
    bool unbalanced = false;
    // Waiters can go on only when the writer has left entirely; a nested unlock wakes nobody.
    bool released = false;
    {
        std::lock_guard<std::mutex> guard(m_mutex);
        unbalanced = m_writeCount == 0;
        if (!unbalanced) {
            --m_writeCount;
        }
        if (m_writeCount == 0) {
            m_writer = std::thread::id();
            m_writeHeld.store(false);
            released = true;
        }
    }
    if (released) {
        m_changed.notify_all();
    }
    if (unbalanced) {
        ParameterLogging::Write(nullptr, ParameterLogging::Error, __FILE__, __LINE__,
                                "ParameterMutex::Unlock called when lock count is zero\n");
    }
}

bool ParameterMutex::LockRead(bool wait) {
    if (ReadHold* pHold = t_reads.Find(this)) {
        ++pHold->depth;
        return true;
    }
    // Noted first: should the list fail to grow, nothing else has changed yet.
    t_reads.Add(this);
    ReaderSlot& slot = ThisThreadSlot();
    if (!m_writeHeld.load()) {
        slot.readers.fetch_add(1);
        if (!m_writeHeld.load()) {
            return true;
        }
        // A writer came in between; it may be this very thread, which decides below.
        LeaveSlot(slot);
    }
    // Under the mutex the write side is settled: a writer raises and drops a mere claim
    // without letting go of it.
    std::unique_lock<std::mutex> guard(m_mutex);
    const std::thread::id self = std::this_thread::get_id();
    const auto readable = [&] { return m_writeCount == 0 || m_writer == self; };
    if (!wait && !readable()) {
        t_reads.Forget(t_reads.Find(this));
        return false;
    }
    m_changed.wait(guard, readable);
    slot.readers.fetch_add(1);
    return true;
}

void ParameterMutex::LockWrite() {
    const std::thread::id self = std::this_thread::get_id();
    std::unique_lock<std::mutex> guard(m_mutex);
    if (m_writeCount != 0 && m_writer == self) {
        ++m_writeCount;
        return;
    }
    // Counted before looking at the readers, so that a reader leaving after the look sees
    // that it has to wake this thread.
    m_waitingWriters.fetch_add(1);
    m_changed.wait(guard, [&] { return m_writeCount == 0 && ClaimWriteSide(); });
    m_waitingWriters.fetch_sub(1);
    m_writeCount = 1;
    m_writer = self;
}

bool ParameterMutex::ClaimWriteSide() {
    m_writeHeld.store(true);
    if (!OtherThreadReads()) {
        return true;
    }
    m_writeHeld.store(false);
    return false;
}

bool ParameterMutex::OtherThreadReads() const {
    uint64_t readers = 0;
    for (const ReaderSlot& slot : m_readers.slot) {
        readers += slot.readers.load();
    }
    // A thread counts once however deep it reads, so the only reader may go on.
    return readers > (t_reads.Find(this) != nullptr ? 1u : 0u);
}

void ParameterMutex::LeaveSlot(ReaderSlot& slot) {
    slot.readers.fetch_sub(1);
    if (m_waitingWriters.load() != 0) {
        // Taking the mutex orders this wake-up after the writer's look at the slots: it
        // either saw this reader gone or is already waiting.
        { std::lock_guard<std::mutex> guard(m_mutex); }
        m_changed.notify_all();
    }
}

ParameterMutex::ReaderSlot& ParameterMutex::ThisThreadSlot() {
    return m_readers.slot[t_reads.Slot() % kReaderSlots];
}
