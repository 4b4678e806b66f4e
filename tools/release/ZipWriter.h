#pragma once

#include <string>
#include <vector>

namespace tallywick {

/// A file as it is put into an archive.
struct PackedFile {
    std::string name; ///< with all its folders
    std::string content;
    bool isProgram = false; ///< may be run by whoever unpacks it
};

/// A ZIP archive of these files, in this order. Depends on nothing else: neither times nor owners
/// are in it, so that the same files give the same bytes.
std::string zipArchive(const std::vector<PackedFile>& files);

} // namespace tallywick
