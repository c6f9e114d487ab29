// Reads schema files as the library reads run-time schemas, but with every `use` from a file
// as the generator reads it: from the schema's folder, then the folders given.
//   schema_probe DIR... -- FILE...
// prints for each file "ok" or its first mistake, one line each, for compare_readers.py.
#include <cstdio>
#include <cstring>
#include <vector>

#include "parser/runtimeschema/schema_files.h"

int main(int argc, char** argv) {
    std::vector<const char*> folders;
    int i = 1;
    for (; i < argc && std::strcmp(argv[i], "--") != 0; ++i) {
        folders.push_back(argv[i]);
    }
    for (++i; i < argc; ++i) {
        RuntimeSchema::SchemaFiles files(false);
        for (const char* pFolder : folders) {
            files.AddDirectory(pFolder);
        }
        RuntimeSchema::SchemaError error;
        const bool read = files.Read(argv[i], error) != nullptr;
        std::printf("%s\n", read ? "ok" : error.Text().c_str());
    }
    return 0;
}
