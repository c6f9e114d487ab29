#include "zyra/memory.h"

#include <atomic>
#include <cstdlib>

namespace {

std::atomic<uint64_t> g_allocationCount{0};
// Call number (in g_allocationCount terms) that fails; 0 for none.
std::atomic<uint64_t> g_failingCall{0};

}  // namespace

void* ZyraCalloc(size_t count, size_t size, uint32_t /*category*/) {
    uint64_t call = g_allocationCount.fetch_add(1, std::memory_order_relaxed) + 1;
    if (call == g_failingCall.load(std::memory_order_relaxed)) {
        return nullptr;
    }
    return std::calloc(count, size);
}

void ZyraFree(void* pMemory) { std::free(pMemory); }

namespace Zyra {
namespace Memory {

void FailNthAllocation(uint32_t nth) {
    g_failingCall.store(nth == 0 ? 0 : g_allocationCount.load() + nth, std::memory_order_relaxed);
}

uint64_t AllocationCount() { return g_allocationCount.load(std::memory_order_relaxed); }

}  // namespace Memory
}  // namespace Zyra
