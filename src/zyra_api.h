// Export macro of the library. It is built with hidden visibility: exactly what carries
// ZYRA_API is part of its binary interface (see tests/abi/exported_symbols.txt).
#pragma once

#define ZYRA_API __attribute__((visibility("default")))
