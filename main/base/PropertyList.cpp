#include "base/PropertyList.h"

#include <QStringDecoder>
#include <QXmlStreamReader>
#include <QXmlStreamWriter>

#include <algorithm>
#include <array>
#include <utility>

namespace tallywick {

namespace {

/// Of an array or an atom other than a string or a boolean the form is checked, and no more.
constexpr std::array<QStringView, 4> atomsOfOtherKinds{u"integer", u"real", u"date", u"data"};

/// Reads one text from its beginning to its end. The first fault stops the reader, which then
/// answers everything with an error.
class ListReader {
  public:
    explicit ListReader(const QString& text) : xml(text) { xml.setNamespaceProcessing(false); }

    std::optional<Json> read() {
        Json list;
        if (!isNextElement() || xml.name() != u"plist" || !isNextElement() || xml.name() != u"dict")
            return std::nullopt;
        list = dictionary(1);
        if (isNextElement()) // the end of the list it must be
            return std::nullopt;
        while (!xml.atEnd())
            xml.readNext();
        return xml.hasError() ? std::nullopt : std::optional(std::move(list));
    }

  private:
    /// Goes to where the next element begins, or the one around it ends.
    bool isNextElement() {
        for (;;) {
            switch (xml.readNext()) {
            case QXmlStreamReader::StartElement:
                return true;
            case QXmlStreamReader::EndElement:
            case QXmlStreamReader::EndDocument:
            case QXmlStreamReader::Invalid:
                return false;
            case QXmlStreamReader::Characters:
                if (!xml.isWhitespace())
                    xml.raiseError();
                break;
            case QXmlStreamReader::DTD:
                if (!xml.entityDeclarations().isEmpty())
                    xml.raiseError();
                break;
            case QXmlStreamReader::EntityReference: // to what only the DTD's author knows
                xml.raiseError();
                break;
            default:
                break; // the document's start, a comment
            }
        }
    }

    /// The text of the element that begins here, which holds nothing else but comments.
    QString content() {
        QString text;
        while (xml.readNext() == QXmlStreamReader::Characters || xml.isComment())
            if (xml.isCharacters())
                text += xml.text();
        if (!xml.isEndElement())
            xml.raiseError();
        return text;
    }

    Json dictionary(std::size_t depth) {
        Json object = Json::object();
        while (isWithin(depth) && isNextElement()) {
            if (xml.name() != u"key")
                xml.raiseError();
            std::string key = content().toStdString();
            if (!isNextElement() || object.contains(key))
                xml.raiseError();
            else
                object.emplace(std::move(key), value(depth));
        }
        return object;
    }

    /// The element that begins here, up to its end.
    Json value(std::size_t depth) {
        const QString kind = xml.name().toString();
        if (kind == u"dict")
            return dictionary(depth + 1);
        if (kind == u"array") {
            while (isWithin(depth + 1) && isNextElement())
                value(depth + 1);
            return nullptr;
        }
        const QString text = content();
        if (kind == u"string")
            return text.toStdString();
        if ((kind == u"true" || kind == u"false") && text.isEmpty())
            return kind == u"true";
        if (std::ranges::find(atomsOfOtherKinds, kind) == atomsOfOtherKinds.end())
            xml.raiseError();
        return nullptr;
    }

    bool isWithin(std::size_t depth) {
        if (depth > maximumPropertyListDepth)
            xml.raiseError();
        return !xml.hasError();
    }

    QXmlStreamReader xml;
};

QString fromUtf8(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

void write(const Json& object, QXmlStreamWriter& xml) {
    xml.writeStartElement(u"dict"_qs);
    for (const auto& [key, value] : object.items()) {
        const auto* const text = value.get_ptr<const std::string*>();
        if (!text && !value.is_boolean() && !value.is_object())
            continue;
        xml.writeTextElement(u"key"_qs, fromUtf8(key));
        if (text)
            xml.writeTextElement(u"string"_qs, fromUtf8(*text));
        else if (value.is_object())
            write(value, xml);
        else
            xml.writeEmptyElement(value.get<bool>() ? u"true"_qs : u"false"_qs);
    }
    xml.writeEndElement();
}

} // namespace

std::optional<Json> parsePropertyList(std::string_view text) {
    if (text.size() > maximumPropertyListBytes || text.find('\0') != std::string_view::npos)
        return std::nullopt;
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString decoded =
        decoder(QByteArrayView(text.data(), static_cast<qsizetype>(text.size())));
    if (decoder.hasError())
        return std::nullopt;
    return ListReader(decoded).read();
}

std::string writePropertyList(const Json& dictionary) {
    QByteArray text;
    QXmlStreamWriter xml(&text);
    xml.setAutoFormatting(true);
    xml.writeStartDocument();
    xml.writeStartElement(u"plist"_qs);
    xml.writeAttribute(u"version"_qs, u"1.0"_qs);
    write(dictionary, xml);
    xml.writeEndDocument();
    return text.toStdString();
}

} // namespace tallywick
