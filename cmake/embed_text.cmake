# Script (cmake -P): writes OUTPUT, a source that defines tidra::SYMBOL with the bytes of INPUT.
file(READ "${INPUT}" hex HEX)
string(LENGTH "${hex}" digits)
math(EXPR bytes "${digits} / 2")
string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," elements "${hex}")
string(REGEX REPLACE "(................................................................................)" "\\1\n" elements "${elements}")
file(WRITE "${OUTPUT}.new"
"#include <string_view>

namespace tidra {
namespace {
constexpr unsigned char bytesOf_${SYMBOL}[] = {
${elements}0x00};
}  // namespace
extern const std::string_view ${SYMBOL};
const std::string_view ${SYMBOL}{reinterpret_cast<const char*>(bytesOf_${SYMBOL}), ${bytes}};
}  // namespace tidra
")
execute_process(COMMAND ${CMAKE_COMMAND} -E rename "${OUTPUT}.new" "${OUTPUT}")
