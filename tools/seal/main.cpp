// Seals an application bundle: writes the digests of its files into it. Exits with 0 when the
// bundle then has a valid seal. With "--check" it only looks whether the bundle has one.
#include "platform/bundle/CodeSignature.h"
#include "platform/bundle/linux/CodeSignature.h"

#include <iostream>
#include <string_view>

int main(int count, char** arguments) {
    const bool onlyChecks = count == 3 && std::string_view(arguments[1]) == "--check";
    if (count != 2 && !onlyChecks) {
        std::cerr << "usage: seal_bundle [--check] BUNDLE\n";
        return 2;
    }
    const char* const bundle = arguments[count - 1];
    if (onlyChecks ? !tallywick::systemCodeSignature()->isValid(bundle)
                   : !tallywick::sealBundle(bundle)) {
        std::cerr << "seal_bundle: " << bundle
                  << (onlyChecks ? " is not as it was sealed\n" : " cannot be sealed\n");
        return 1;
    }
    return 0;
}
