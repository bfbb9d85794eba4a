set(CURSES_FOUND TRUE)
set(CURSES_INCLUDE_DIRS "${TIDRA_MAC_HEADERS}")
set(CURSES_LIBRARIES "")  # libelsewhere.tbd has its symbols
