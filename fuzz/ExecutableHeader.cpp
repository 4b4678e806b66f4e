#include "Fuzzer.h"
#include "base/ExecutableFormats.h"

void tallywick::fuzzing::examine(std::string_view input) {
    const auto universal = machOArchitectures(input);
    const auto elf = elfArchitectures(input);
    require(elf.size() <= 1);
    require(elf.empty() || universal.empty()); // no file is of both kinds
    for (const auto& names : {universal, elf})
        for (const std::string& name : names)
            require(name == "arm64" || name == "x86_64");
}
