// Values of generated structures that depend only on a salt and each member's path, so that a
// writer can put them into a binary and a checker can find them again in a loaded structure
// without either keeping a record. A counted array of a structure that holds it (the children
// of a tree node) is empty, which ends the tree. The strings and counted arrays of a top structure may come
// from a shared source instead: the writer then stores them once per source, in one duplicate
// group, as a tool stores equal arrays that several modules hold.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "binwriter/tuning_binary_builder.h"
#include "binwriter/value_writer.h"
#include "parser/engine/descriptors.h"

namespace zyra_test {

struct ValueSource {
    uint64_t salt = 0;
    // Salt of the top structure's strings and counted arrays; 0 when they are the module's own.
    uint64_t sharedSalt = 0;
};

// Writes module values into a builder, sharing the pointed-to values of equal shared sources.
class PathValueWriter {
public:
    explicit PathValueWriter(binwriter::TuningBinaryBuilder& builder) : m_builder(builder) {}

    std::vector<uint8_t> Module(const ParameterEngine::StructDescriptor& top,
                                const ValueSource& source);

private:
    void Struct(const ParameterEngine::StructDescriptor& type, uint64_t salt,
                const std::string& path, binwriter::ValueWriter& out, const ValueSource* pTop);
    void Element(const ParameterEngine::ElementType& element, uint64_t salt,
                 const std::string& path, binwriter::ValueWriter& out);
    // The entry id that a pointer to `bytes` holds: a new entry, or one more member of the
    // duplicate group of `sharedSalt` and `path`.
    uint32_t Target(std::vector<uint8_t> bytes, uint64_t sharedSalt, const std::string& path);

    binwriter::TuningBinaryBuilder& m_builder;
    std::map<std::pair<uint64_t, std::string>, std::pair<std::vector<uint8_t>, uint32_t>> m_shared;
    // The structures being written, outermost first.
    std::vector<const ParameterEngine::StructDescriptor*> m_open;
};

// A value set after the load: its bits for the member at `path`, or false when none was set.
using Override = std::function<bool(const std::string& path, uint64_t& bits)>;

// The path of the first member that differs from the values of `source` (and the overrides);
// empty when all hold.
std::string CheckModule(const ParameterEngine::StructDescriptor& top, const void* pStructure,
                        const ValueSource& source, const Override& override = nullptr);

// The values the writer gives, for checks by text.
uint64_t ScalarBits(uint64_t salt, const std::string& path, uint32_t width);
std::string TextValue(uint64_t salt, const std::string& path);
uint32_t ElementCount(uint64_t salt, const std::string& path);
// The salt that the member `field` of the top structure is written with.
uint64_t SaltOf(const ValueSource& source, const ParameterEngine::FieldDescriptor& field);

}  // namespace zyra_test
