// zyratune: looks inside tuning binaries and talks to the live tuning service.
#include <cstdio>

#include "parser/foundation/parser_banner.h"

int main() {
    std::printf("%s\n", kParameterParserBanner);
    std::printf("libzyrapdparser %s\n", ZYRA_LIBRARY_VERSION);
    return 0;
}
