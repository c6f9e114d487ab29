# Warnings every target of the project is built with.
add_library(zyra_warnings INTERFACE)
target_compile_options(zyra_warnings INTERFACE -Wall -Wextra)
if(ZYRA_WERROR)
  target_compile_options(zyra_warnings INTERFACE -Werror)
endif()
