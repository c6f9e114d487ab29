// A set manager with a live tuning worker over a small binary of enginetest modules, for the
// service's tests and benchmark.
#pragma once

#include <memory>
#include <string>

#include "parser/livetuning/parameter_dialin_worker.h"
#include "parser/managers/catalogue_set_manager.h"
#include "temp_dir.h"
#include "tuningclient/tuning_client.h"

namespace livetuning_test {

// The elements of the counted "samples" array of every module: 0 to 64.
constexpr unsigned int kSampleCount = 65;

// Modes Default, Usecase.Preview and Usecase.Snapshot below it; enginetest modules "lens" in
// Default (i32 11) and in Preview (i32 22), "awb" in Default only (i32 33). The binary is
// loaded from a file, on demand.
class TuningTestSetManager : public CatalogueSetManager {
public:
    explicit TuningTestSetManager(bool logging);

    ParameterDialinWorker* Worker() { return m_dialinWorker; }
    bool LoadTestBinary(const std::string& binaryTag);

private:
    zyra_test::TempDir m_directory;
};

// A loaded set manager whose worker runs, and a client connected to it. Logging is chosen
// before the worker's threads start, which read it without a lock.
struct Served {
    explicit Served(const std::string& binaryTag = "lab unit 7", bool logging = true);
    ~Served();

    std::unique_ptr<TuningTestSetManager> manager;
    tuningclient::TuningClient client;
};

}  // namespace livetuning_test
