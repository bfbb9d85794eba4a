# Headers only: no macOS build of the library.
add_library(fmt::fmt INTERFACE IMPORTED)
target_include_directories(fmt::fmt SYSTEM INTERFACE "${TIDRA_MAC_HEADERS}")
target_compile_definitions(fmt::fmt INTERFACE FMT_HEADER_ONLY)
