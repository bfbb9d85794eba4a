// Literals for sizes in powers of 1024: 64_KiB, 8_MiB.
#pragma once

#include <cstddef>

namespace tidra {

consteval std::size_t operator""_KiB(unsigned long long count) { return std::size_t{count} * 1024; }
consteval std::size_t operator""_MiB(unsigned long long count) { return std::size_t{count} * 1024 * 1024; }

}  // namespace tidra
