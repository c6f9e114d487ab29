// Per-frame cost of the dual dispatch: Zyra::PDLibProcess against a direct call of the
// instance's own PDLibProcess, with the stats logger set to a no-op. The difference is the
// dispatch's overhead (two reads of the hardware block, the camera check, one log call).
#include <benchmark/benchmark.h>

#include <memory>

#include "pdfront/pd_front.h"

namespace {

void NoOpLogger(const char*, uint32_t, const char*, uint32_t, uint32_t, const char*, ...) {}

__attribute__((noinline)) uint32_t ProcessStub(VEXPDLib* pPDLib, const PDLibInputs* pInput,
                                               PDLibOutputs* pOutput) {
    benchmark::DoNotOptimize(pPDLib);
    benchmark::DoNotOptimize(pInput);
    benchmark::DoNotOptimize(pOutput);
    return 0;
}

uint32_t Unused(VEXPDLib*, const PDLibCreateParams*) { return 0; }
uint32_t UnusedDestroy(VEXPDLib*, const PDLibDestroyParamList*) { return 0; }
uint32_t UnusedConfigure(VEXPDLib*, const PDLibConfigParams*) { return 0; }
uint32_t UnusedGetParam(VEXPDLib*, PDLibGetParams*) { return 0; }

struct Frame {
    explicit Frame(uint32_t secondLibActive)
        : pBlock(std::make_unique<PDLibHWBlock>()), pInput(std::make_unique<PDLibInputs>()) {
        pBlock->secondLibActive = secondLibActive;
        pInput->cameraId = 1;
        pInput->pHWBlock = pBlock.get();
        g_statsLogger = NoOpLogger;
        g_cameraId = 1;
        g_pPDLib1 = &instance1;
        g_pPDLib2[1] = &instance2;
    }
    ~Frame() {
        g_pPDLib1 = nullptr;
        g_pPDLib2[1] = nullptr;
    }

    VEXPDLib instance1{Unused, UnusedDestroy, UnusedConfigure, UnusedGetParam, ProcessStub};
    VEXPDLib instance2{Unused, UnusedDestroy, UnusedConfigure, UnusedGetParam, ProcessStub};
    std::unique_ptr<PDLibHWBlock> pBlock;
    std::unique_ptr<PDLibInputs> pInput;
    alignas(8) unsigned char output[64] = {};
    PDLibOutputs* Output() { return reinterpret_cast<PDLibOutputs*>(output); }
};

// The reference: what the stack does when it talks to the instance itself.
void BM_DirectInstanceProcess(benchmark::State& state) {
    Frame frame(0);
    VEXPDLib* pInstance = &frame.instance1;
    const PDLibInputs* pInput = frame.pInput.get();
    PDLibOutputs* pOutput = frame.Output();
    for (auto _ : state) {
        benchmark::DoNotOptimize(pInstance);  // reload the operation word every frame
        benchmark::DoNotOptimize(pInput);
        uint32_t result = pInstance->PDLibProcess(pInstance, pInput, pOutput);
        benchmark::DoNotOptimize(result);
    }
}
BENCHMARK(BM_DirectInstanceProcess);

void DispatchProcess(benchmark::State& state, uint32_t secondLibActive) {
    Frame frame(secondLibActive);
    VEXPDLib* pCaller = &frame.instance1;
    const PDLibInputs* pInput = frame.pInput.get();
    PDLibOutputs* pOutput = frame.Output();
    for (auto _ : state) {
        benchmark::DoNotOptimize(pCaller);
        benchmark::DoNotOptimize(pInput);
        uint32_t result = Zyra::PDLibProcess(pCaller, pInput, pOutput);
        benchmark::DoNotOptimize(result);
    }
}

void BM_DispatchProcessToInstance1(benchmark::State& state) { DispatchProcess(state, 0); }
BENCHMARK(BM_DispatchProcessToInstance1);

void BM_DispatchProcessToInstance2(benchmark::State& state) { DispatchProcess(state, 1); }
BENCHMARK(BM_DispatchProcessToInstance2);

}  // namespace
