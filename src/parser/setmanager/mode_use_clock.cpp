#include "parser/setmanager/mode_use_clock.h"

#include <chrono>

namespace ModeUseClock {
namespace {

// The last stamp this thread took: two calls within one tick still come in order.
thread_local uint64_t t_lastStamp = 0;

}  // namespace

uint64_t Take(unsigned int count) {
    const auto sinceStart = std::chrono::duration_cast<std::chrono::nanoseconds>(
        std::chrono::steady_clock::now().time_since_epoch());
    // Each nanosecond holds a whole call's stamps.
    uint64_t first = static_cast<uint64_t>(sinceStart.count()) * kStampsPerCall;
    if (first <= t_lastStamp) {
        first = t_lastStamp + 1;
    }
    t_lastStamp = first + count - 1;
    return first;
}

}  // namespace ModeUseClock
