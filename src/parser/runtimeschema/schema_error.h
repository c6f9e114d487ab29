// A mistake in a schema file: where it is and what is wrong, shown as "file:line: message",
// or "file: message" for the file as a whole (line 0).
#pragma once

#include <string>

namespace RuntimeSchema {

struct SchemaError {
    std::string path;
    unsigned int line = 0;
    std::string message;

    std::string Text() const {
        return path + (line != 0 ? ":" + std::to_string(line) : std::string()) + ": " + message;
    }
};

}  // namespace RuntimeSchema
