# Headers alone: the library for a Mac is not here.
add_library(fmt::fmt INTERFACE IMPORTED)
target_include_directories(fmt::fmt SYSTEM INTERFACE "${TIDRA_MAC_HEADERS}")
target_compile_definitions(fmt::fmt INTERFACE FMT_HEADER_ONLY)
