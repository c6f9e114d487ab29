// The memory behind the descriptors of a schema read at run time. Descriptors point to names,
// field arrays and other descriptors; everything here keeps its address for the life of the
// object, as the generated constant tables do for the life of the program.
#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <tuple>
#include <vector>

#include "parser/engine/descriptors.h"

namespace RuntimeSchema {

class SchemaTables {
public:
    SchemaTables() = default;
    SchemaTables(const SchemaTables&) = delete;
    SchemaTables& operator=(const SchemaTables&) = delete;

    const char* Text(const std::string& text) { return m_texts.emplace_back(text).c_str(); }

    // A new, empty list. Its elements move while it grows, so a descriptor takes its address
    // once it is complete.
    template <typename T>
    std::vector<T>& List() {
        return std::get<std::deque<std::vector<T>>>(m_lists).emplace_back();
    }

    // A new, zeroed item.
    template <typename T>
    T& Item() {
        return std::get<std::deque<T>>(m_items).emplace_back();
    }

private:
    std::deque<std::string> m_texts;
    std::tuple<std::deque<std::vector<ParameterEngine::FieldDescriptor>>,
               std::deque<std::vector<ParameterEngine::EnumRange>>,
               std::deque<std::vector<uint32_t>>, std::deque<std::vector<const char*>>>
        m_lists;
    std::tuple<std::deque<ParameterEngine::StructDescriptor>,
               std::deque<ParameterEngine::EnumDescriptor>,
               std::deque<ParameterEngine::ModuleDescriptor>,
               std::deque<ParameterEngine::TriggerTreeDescriptor>>
        m_items;
};

}  // namespace RuntimeSchema
