#pragma once

#include <set>
#include <string>
#include <string_view>

namespace tallywick::MachOArchitectures {

/// The processors for which a Mach-O executable was built: "arm64", "x86_64", both or none. `bytes`
/// is the file's beginning; its first 4,096 bytes hold every header that is looked at.
///
/// Read are universal files of at most eight architectures and thin 64-bit files in the byte order
/// of today's processors. Everything else, 32-bit and byte-swapped thin files included, gives the
/// empty set, and so does a processor other than the two. Of a universal header that is cut short,
/// the entries whose processor type still lies inside the bytes count.
std::set<std::string> architectures(std::string_view bytes);

} // namespace tallywick::MachOArchitectures
