#include "base/PropertyList.h"

#include <QStringDecoder>

#include <plist/plist.h>

#include <cstdint>
#include <cstdlib>
#include <memory>

namespace tallywick {

namespace {

struct FreeList {
    void operator()(void* list) const { plist_free(list); }
};
struct FreeMemory {
    void operator()(void* memory) const { std::free(memory); }
};
using List = std::unique_ptr<void, FreeList>;
using Text = std::unique_ptr<char, FreeMemory>;

bool isUtf8(std::string_view text) {
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    [[maybe_unused]] const QString decoded =
        decoder(QByteArrayView(text.data(), static_cast<qsizetype>(text.size())));
    return !decoder.hasError();
}

std::optional<Json> readDictionary(plist_t dictionary, std::size_t depth);

/// Absent when the value is beyond a limit or not text.
std::optional<Json> readValue(plist_t value, std::size_t depth) {
    switch (plist_get_node_type(value)) {
    case PLIST_DICT:
        return readDictionary(value, depth + 1);
    case PLIST_BOOLEAN: {
        std::uint8_t boolean = 0;
        plist_get_bool_val(value, &boolean);
        return Json(boolean != 0);
    }
    case PLIST_STRING: {
        std::uint64_t length = 0;
        const char* const start = plist_get_string_ptr(value, &length);
        const std::string_view text(start, start ? length : 0);
        return isUtf8(text) ? std::optional<Json>(text) : std::nullopt;
    }
    default:
        return Json(nullptr);
    }
}

std::optional<Json> readDictionary(plist_t dictionary, std::size_t depth) {
    if (depth > maximumPropertyListDepth)
        return std::nullopt;
    plist_dict_iter newIterator = nullptr;
    plist_dict_new_iter(dictionary, &newIterator);
    const std::unique_ptr<void, FreeMemory> iterator(newIterator);
    Json object = Json::object();
    for (;;) {
        char* newKey = nullptr;
        plist_t value = nullptr;
        plist_dict_next_item(dictionary, iterator.get(), &newKey, &value);
        const Text key(newKey);
        if (!value)
            return object;
        auto member = readValue(value, depth);
        if (!key || !isUtf8(key.get()) || !member)
            return std::nullopt;
        object[key.get()] = *std::move(member);
    }
}

List newDictionary(const Json& object) {
    List dictionary(plist_new_dict());
    for (const auto& [key, value] : object.items()) {
        List item;
        if (const auto* text = value.get_ptr<const std::string*>())
            item.reset(plist_new_string(text->c_str()));
        else if (const auto* boolean = value.get_ptr<const bool*>())
            item.reset(plist_new_bool(*boolean ? 1 : 0));
        else if (value.is_object())
            item = newDictionary(value);
        if (item)
            plist_dict_set_item(dictionary.get(), key.c_str(), item.release());
    }
    return dictionary;
}

} // namespace

std::optional<Json> parsePropertyList(std::string_view text) {
    if (text.size() > maximumPropertyListBytes || text.find('\0') != std::string_view::npos)
        return std::nullopt;
    plist_t parsed = nullptr;
    plist_from_xml(text.data(), static_cast<std::uint32_t>(text.size()), &parsed);
    const List list(parsed);
    if (!list || plist_get_node_type(list.get()) != PLIST_DICT)
        return std::nullopt;
    return readDictionary(list.get(), 1);
}

std::string writePropertyList(const Json& dictionary) {
    const List list = newDictionary(dictionary);
    char* newText = nullptr;
    std::uint32_t length = 0;
    plist_to_xml(list.get(), &newText, &length);
    const Text text(newText);
    return {text.get(), text ? length : 0};
}

} // namespace tallywick
