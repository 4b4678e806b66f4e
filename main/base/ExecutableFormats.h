#pragma once

#include <set>
#include <string>
#include <string_view>

namespace tallywick {

/// The processors for which a Mach-O executable was built: "arm64", "x86_64", both or none. `bytes`
/// is the file's beginning; its first 4,096 bytes hold every header that is looked at.
///
/// Read are universal files of at most eight architectures and thin 64-bit files in the byte order
/// of today's processors. Everything else, 32-bit and byte-swapped thin files included, gives the
/// empty set, and so does a processor other than the two. Of a universal header that is cut short,
/// the entries whose processor type still lies inside the bytes count.
std::set<std::string> machOArchitectures(std::string_view bytes);

/// The processor for which an ELF program was built: "arm64" or "x86_64", or none. `bytes` is the
/// file's beginning; only its 64-byte header is looked at.
///
/// Read are 64-bit little-endian files of the types that a program can have: executable, or shared
/// object, which is what a position-independent program is. Everything else gives the empty set: a
/// header cut short, 32-bit or big-endian files, object files, core dumps, other processors.
std::set<std::string> elfArchitectures(std::string_view bytes);

} // namespace tallywick
