#include "update/ReleaseUnpacker.h"

/// The tool that unpacks an archive, alone in a program: ARCHIVE SHA-256 FOLDER.
int main(int argc, char** argv) {
    return argc == 4 ? tallywick::ArchiveExtraction::run(argv[1], argv[2], argv[3]) : 2;
}
