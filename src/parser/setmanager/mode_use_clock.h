// The clock of ModeEntry::LastUse. Stamps come from the system's monotonic clock, which every
// thread reads without writing anything shared: lookups on different threads stamp their
// modes without passing a counter between their cores, and still in the order they ran.
#pragma once

#include <cstdint>

namespace ModeUseClock {

// Stamps that one call may take: a walk takes one per mode, in a single call.
constexpr unsigned int kStampsPerCall = 16;

// The first of `count` consecutive stamps (1 to kStampsPerCall), later than every stamp this
// thread took before, and later than those of calls on other threads that ended at least a
// tick of the system clock before this one began. Never 0.
uint64_t Take(unsigned int count);

}  // namespace ModeUseClock
