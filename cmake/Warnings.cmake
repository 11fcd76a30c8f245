# One set for everything that is compiled here, held by g++ and clang++ alike. The presets make them errors: who builds
# with a compiler of tomorrow gets what is built.
option(KORVEL_WERROR "Warnings are errors" OFF)
add_library(korvel_warnings INTERFACE)
target_compile_options(
  korvel_warnings
  INTERFACE $<$<BOOL:${KORVEL_WERROR}>:-Werror> -Wall -Wextra -Wpedantic -Wcast-align -Wcast-qual -Wconversion
            -Wdouble-promotion -Wextra-semi -Wfloat-equal -Wformat=2 -Wimplicit-fallthrough -Wmissing-declarations
            -Wnon-virtual-dtor -Wnull-dereference -Wold-style-cast -Woverloaded-virtual -Wredundant-decls -Wshadow
            -Wsign-conversion -Wundef -Wunused $<$<CXX_COMPILER_ID:GNU>:-Wduplicated-branches -Wduplicated-cond
            -Wlogical-op -Wuseless-cast>)
