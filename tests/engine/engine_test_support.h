// A binary of enginetest modules made with the writer, its symbol table, and the module
// instances the generated class creates from it.
#pragma once

#include "enginetest_1_0_0.h"
#include "loaded_binary.h"
#include "path_values.h"

namespace engine_test {

using enginetest_1_0_0::enginetestTypeClass;

constexpr binwriter::Version kModuleVersion{1, 0, 0};

class LoadedBinary : public LoadedBinaryOf<enginetestTypeClass> {
public:
    explicit LoadedBinary(const binwriter::TuningBinaryBuilder& builder)
        : LoadedBinaryOf(builder, "enginetest") {}
};

}  // namespace engine_test
