#pragma once

#include <set>
#include <string>
#include <string_view>

namespace tallywick::ElfArchitectures {

/// The processor for which an ELF program was built: "arm64" or "x86_64", or none. `bytes` is the
/// file's beginning; only its 64-byte header is looked at.
///
/// Read are 64-bit little-endian files of the types that a program can have: executable, or shared
/// object, which is what a position-independent program is. Everything else gives the empty set: a
/// header cut short, 32-bit or big-endian files, object files, core dumps, other processors.
std::set<std::string> architectures(std::string_view bytes);

} // namespace tallywick::ElfArchitectures
