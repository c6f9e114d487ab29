// The parser's captured log lines as "<level prefix> <message>", with the source location and
// the logger's address and name taken out, so that tests compare texts, not line numbers.
#pragma once

#include <regex>
#include <string>
#include <vector>

#include "log_capture.h"

namespace parser_test {

inline std::vector<std::string> ParserMessages(const zyra_test::LogCapture& capture) {
    static const std::regex kLine(R"(^(\[[A-Z]+\]) ParameterParser: )"
                                  R"((?:0x[0-9a-f]+ (?:\([^)]*\): )?)?[^ :]+:[0-9]+: ([\s\S]*)$)");
    std::vector<std::string> messages;
    for (const zyra_test::LoggedLine& line : capture.Lines()) {
        std::smatch match;
        messages.push_back(line.group == 0x1000 && std::regex_match(line.text, match, kLine)
                               ? match[1].str() + " " + match[2].str()
                               : "unparsed: " + line.text);
    }
    return messages;
}

// How many parser lines of `level` ("[ERROR]", ...) contain `phrase`.
inline int CountLogged(const zyra_test::LogCapture& capture, const std::string& level,
                       const std::string& phrase) {
    int count = 0;
    for (const std::string& message : ParserMessages(capture)) {
        count += message.rfind(level + " ", 0) == 0 && message.find(phrase) != std::string::npos;
    }
    return count;
}

}  // namespace parser_test
