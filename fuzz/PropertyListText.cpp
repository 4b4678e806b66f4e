#include "Fuzzer.h"
#include "base/PropertyList.h"

void tallywick::fuzzing::examine(std::string_view input) {
    const auto list = parsePropertyList(input);
    if (!list)
        return;
    require(list->is_object() && input.size() <= maximumPropertyListBytes);
    const std::string written = writePropertyList(*list);
    if (written.size() > maximumPropertyListBytes) // escapes take more than what they stand for
        return;
    const auto again = parsePropertyList(written);
    require(again && writePropertyList(*again) == written);
}
