// Export macro of the common utilities library. The library is built with hidden
// visibility, so only what carries this macro is seen by its users.
#pragma once

#define ZYRA_COMMONUTILS_API __attribute__((visibility("default")))
