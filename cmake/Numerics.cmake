# Same inputs give the same bits with every compiler, optimisation level and instruction set: no contraction into
# fused multiply-adds, no relaxed arithmetic, no sums whose order follows the width of the vector unit.
add_library(korvel_numerics INTERFACE)
target_compile_options(korvel_numerics INTERFACE -ffp-contract=off -fno-fast-math)
target_compile_definitions(korvel_numerics INTERFACE EIGEN_DONT_VECTORIZE)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(i.86|x86_64|AMD64)$")
  # 32-bit x86 would otherwise compute in 80-bit registers.
  target_compile_options(korvel_numerics INTERFACE -msse2 -mfpmath=sse)
endif()
# What is beside the module, too: what the host computes, and what its checks compare, is the same where the baseline has a
# fused multiply-add.
add_compile_options(-ffp-contract=off)
