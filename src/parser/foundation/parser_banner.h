// The name and build the parser reports in its log lines and tools.
#pragma once

constexpr const char kParameterParserBanner[] = "Parameter Parser V5.5.1 (2411131018)";
