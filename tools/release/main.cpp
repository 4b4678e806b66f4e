// Makes releases: docs/releasing.md tells how. Exits with 0 when it has done what it was asked for.
#include "base/Product.h"
#include "platform/bundle/linux/CodeSignature.h"
#include "platform/files/FileAccess.h"
#include "release/Release.h"
#include "update/ReleaseUnpacker.h"

#include <functional>
#include <iostream>
#include <map>
#include <vector>

namespace {

using namespace tallywick;
namespace fs = std::filesystem;
using Arguments = std::vector<std::string>;

using Keys = std::vector<std::string_view>;

constexpr std::size_t maximumNotesBytes = 4'096; // more than a feed may have

fs::path place(const std::string& argument) { return fs::weakly_canonical(fs::absolute(argument)); }
/// The arguments from the one of this number on, or the keys of this build.
Keys keysFrom(const Arguments& arguments, std::size_t first) {
    if (arguments.size() > first)
        return {arguments.begin() + static_cast<std::ptrdiff_t>(first), arguments.end()};
    return {Product::makerKeys.begin(), Product::makerKeys.end()};
}

fs::path thisProgram() { return fs::read_symlink("/proc/self/exe"); }

int printPublicKey(const SigningKey& key) {
    std::cout << key.publicKey() << '\n';
    return 0;
}

int sign(const Arguments& arguments) {
    const SigningKey key = readSigningKey(place(arguments[1]));
    if (!sealBundle(place(arguments[0]), &key))
        throw ReleaseError(arguments[0] + " cannot be sealed");
    return 0;
}

int pack(const Arguments& arguments) {
    auto notes = readRegularFile(place(arguments[1]), maximumNotesBytes);
    if (!notes)
        throw ReleaseError("cannot read " + arguments[1]);
    notes->erase(notes->find_last_not_of('\n') + 1);
    const Release release = packRelease(place(arguments[0]), *notes);
    checkRelease(release, keysFrom(arguments, 3), thisProgram());
    writeRelease(release, place(arguments[2]));
    return 0;
}

int check(const Arguments& arguments) {
    checkRelease(readRelease(place(arguments[0])), keysFrom(arguments, 1), thisProgram());
    return 0;
}

int unpack(const Arguments& arguments) {
    return ArchiveExtraction::run(arguments[0], arguments[1], arguments[2]);
}

struct Command {
    std::vector<const char*> arguments;
    std::function<int(const Arguments&)> run;
    bool takesKeys = false; ///< behind these, in place of those of this build

    bool takes(std::size_t count) const {
        return takesKeys ? count >= arguments.size() : count == arguments.size();
    }
};

const std::map<std::string, Command> commands{
    {"key",
     {{"NEW-FILE"}, [](auto& given) { return printPublicKey(makeSigningKey(place(given[0]))); }}},
    {"public-key",
     {{"KEY-FILE"}, [](auto& given) { return printPublicKey(readSigningKey(place(given[0]))); }}},
    {"sign", {{"BUNDLE", "KEY-FILE"}, sign}},
    {"pack", {{"BUNDLE", "NOTES-FILE", "NEW-FOLDER"}, pack, true}},
    {"check", {{"FOLDER"}, check, true}},
    {"unpack", {{"ARCHIVE", "SHA-256", "FOLDER"}, unpack}},
};

int printUsage() {
    for (const auto& [name, command] : commands) {
        std::cerr << "usage: make_release " << name;
        for (const char* argument : command.arguments)
            std::cerr << ' ' << argument;
        std::cerr << (command.takesKeys ? " [PUBLIC-KEY...]\n" : "\n");
    }
    return 2;
}

} // namespace

int main(int argc, char** argv) {
    try {
        Arguments arguments(argv + 1, argv + argc);
        const auto command = arguments.empty() ? commands.end() : commands.find(arguments[0]);
        if (command == commands.end() || !command->second.takes(arguments.size() - 1))
            return printUsage();
        arguments.erase(arguments.begin());
        return command->second.run(arguments);
    } catch (const std::exception& error) {
        std::cerr << "make_release: " << error.what() << '\n';
        return 1;
    }
}
