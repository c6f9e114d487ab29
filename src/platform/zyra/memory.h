// Allocation front of the camera stack: zeroed memory with an allocation category.
#pragma once

#include <cstddef>
#include <cstdint>

#include "zyra/export.h"

// Zeroed memory for `count` objects of `size` bytes, or null. `category` tags the
// allocation for the stack's accounting.
ZYRA_COMMONUTILS_API void* ZyraCalloc(size_t count, size_t size, uint32_t category);
ZYRA_COMMONUTILS_API void ZyraFree(void* pMemory);

namespace Zyra {
namespace Memory {

// Fault injection: the `nth` call of ZyraCalloc from now on fails (1 is the next one);
// 0 switches the injection off. Counts calls from every thread.
ZYRA_COMMONUTILS_API void FailNthAllocation(uint32_t nth);
// Calls of ZyraCalloc made so far, failed ones included.
ZYRA_COMMONUTILS_API uint64_t AllocationCount();

}  // namespace Memory
}  // namespace Zyra
