add_library(OpenSSL::Crypto INTERFACE IMPORTED)
target_include_directories(OpenSSL::Crypto SYSTEM INTERFACE "${TIDRA_MAC_HEADERS}")
