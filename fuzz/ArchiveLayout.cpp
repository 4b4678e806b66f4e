#include "Fuzzer.h"
#include "base/Product.h"
#include "update/SafeUpdateArchive.h"

#include <set>

void tallywick::fuzzing::examine(std::string_view input) {
    const auto entries = SafeUpdateArchive::validate(input);
    if (!entries)
        return;
    const std::string application = std::string(Product::applicationFolderName) + '/';
    std::set<std::string> names;
    for (const auto& entry : *entries) {
        require(entry.name.starts_with(application));
        require(entry.name.find("..") == std::string::npos);
        require(entry.name.find('\\') == std::string::npos);
        require(entry.method == 0 || entry.method == 8);
        require(names.insert(entry.name).second);
    }
}
