// What the reader collects from a schema file before its layout is known. Each structure's
// descriptor exists from its first line, so that fields, its own included, can point to it;
// its field table is complete at its `end` line, its offsets and size once the whole file is
// read (only then is it known which structures are tops, which begin with ModuleID).
#pragma once

#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

#include "parser/engine/descriptors.h"

namespace RuntimeSchema {

// How a field holds its element: once (with dimensions, a fixed array), as a counted array,
// as an optional element, as a table wrapper, or as a word that no file holds.
enum class Shape { Single, Counted, Optional, Tab, Memory };

struct EnumDecl {
    std::string name;
    const ParameterEngine::EnumDescriptor* descriptor;
};

struct StructDecl {
    std::string name;
    // The name with its enclosing structures, as tables and messages show it.
    std::string cppPath;
    StructDecl* parent = nullptr;
    bool reservedId = false;
    bool top = false;
    unsigned int line = 0;
    ParameterEngine::StructDescriptor* descriptor = nullptr;
    std::vector<ParameterEngine::FieldDescriptor>* fields = nullptr;
    std::vector<unsigned int> fieldLines;
    std::unordered_set<std::string> fieldNames;
    std::vector<EnumDecl> enums;
    // Anonymous field structures and table wrappers, in the order they were declared.
    std::vector<std::unique_ptr<StructDecl>> nested;
};

// Every structure below `structures`, each after the structures nested in it: the order in
// which the generator emits tables and numbers the sites of counted arrays.
std::vector<StructDecl*> AllStructures(const std::vector<std::unique_ptr<StructDecl>>& structures);

}  // namespace RuntimeSchema
