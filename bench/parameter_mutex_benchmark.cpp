// Cost of one shared lock and unlock of the parser's lock with no other thread around: the
// step every module lookup takes.
#include <benchmark/benchmark.h>

#include "parser/foundation/parameter_mutex.h"

namespace {

void BM_ParameterMutex_SharedLockUnlock(benchmark::State& state) {
    ParameterMutex mutex;
    for (auto _ : state) {
        mutex.Lock(true);
        mutex.Unlock(true);
    }
}
BENCHMARK(BM_ParameterMutex_SharedLockUnlock);

// The same while the thread already reads, as a nested lookup does.
void BM_ParameterMutex_NestedSharedLockUnlock(benchmark::State& state) {
    ParameterMutex mutex;
    mutex.Lock(true);
    for (auto _ : state) {
        mutex.Lock(true);
        mutex.Unlock(true);
    }
    mutex.Unlock(true);
}
BENCHMARK(BM_ParameterMutex_NestedSharedLockUnlock);

}  // namespace
