// Seals an application bundle: writes the digests of its files into it. Exits with 0 when the
// bundle then has a valid seal.
#include "platform/bundle/linux/CodeSignature.h"

#include <iostream>

int main(int count, char** arguments) {
    if (count != 2) {
        std::cerr << "usage: seal_bundle BUNDLE\n";
        return 2;
    }
    if (!tallywick::sealBundle(arguments[1])) {
        std::cerr << "seal_bundle: " << arguments[1] << " cannot be sealed\n";
        return 1;
    }
    return 0;
}
