add_library(nlohmann_json::nlohmann_json INTERFACE IMPORTED)
target_include_directories(nlohmann_json::nlohmann_json SYSTEM INTERFACE "${TIDRA_MAC_HEADERS}")
