# Flags that make a fault in a shipped binary harder to exploit. They are for optimised builds only:
# fortified functions need the optimiser, and the sanitizers of other builds find more.

include(CheckPIESupported)
check_pie_supported(LANGUAGES C CXX)

set(tq_optimised "CONFIG:Release,RelWithDebInfo,MinSizeRel")
add_compile_options(
  "$<$<${tq_optimised}>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2;-fstack-protector-strong>")
add_link_options("$<$<${tq_optimised}>:LINKER:-z,relro,-z,now,-z,noexecstack>")
