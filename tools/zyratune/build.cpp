// build: a tuning binary from a JSON description (description_builder.h).
#include "commands.h"
#include "description_builder.h"
#include "json_input.h"
#include "opened_binary.h"

namespace zyratune {

int Build(const std::string& input, const std::string& output, std::ostream& out) {
    WriteFile(output, BuildBinary(ReadJsonFile(input), input), out);
    return 0;
}

}  // namespace zyratune
