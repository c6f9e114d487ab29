// A binary of enginetest modules made with the writer, its symbol table, and the module
// instances the generated class creates from it.
#pragma once

#include <string>

#include "enginetest_1_0_0.h"
#include "loaded_binary.h"
#include "path_values.h"

namespace engine_test {

using enginetest_1_0_0::enginetestTypeClass;

constexpr binwriter::Version kModuleVersion{1, 0, 0};

// The first member of `module` that differs from the values of `source`; empty when all hold.
inline std::string CheckValues(const enginetestTypeClass& module,
                               const zyra_test::ValueSource& source) {
    return zyra_test::CheckModule(*enginetestTypeClass::Descriptor().top,
                                  static_cast<const enginetest_1_0_0::enginetestType*>(&module),
                                  source);
}

class LoadedBinary : public LoadedBinaryOf<enginetestTypeClass> {
public:
    explicit LoadedBinary(const binwriter::TuningBinaryBuilder& builder)
        : LoadedBinaryOf(builder, "enginetest") {}
};

}  // namespace engine_test
