#include "devices/deviceReader.h"

#include "files/parseNumber.h"
#include "files/readWhole.h"

#include <QFileInfo>
#include <QStringDecoder>
#include <QXmlStreamReader>

#include <algorithm>
#include <limits>
#include <span>
#include <utility>

namespace devices {

namespace {

constexpr qsizetype mostMemories = 64;
constexpr qsizetype mostRegisters = 1024;
constexpr qsizetype mostFields = 32;  // in one word
constexpr qsizetype mostValues = 256;
constexpr qsizetype mostRegions = 8;

/// Limits the number of attributes in a tag, because the XML reader compares each attribute with every other one.
constexpr qsizetype longestTag = 4096;

constexpr qsizetype longestQuote = 40;

constexpr std::uint32_t anyNumber = std::numeric_limits<std::uint32_t>::max();
constexpr std::uint64_t addressSpace = std::uint64_t{1} << 32;

using Words = std::span<const char* const>;

// In the order of the enumerations.
constexpr const char* memoryKinds[] = {"Flash", "RAM", "ROM", "OTP", "Backup", "External"};
constexpr const char* accesses[] = {"ReadWrite", "ReadOnly", "WriteOnce"};
constexpr const char* layouts[] = {"None", "Fixed", "Records"};
constexpr const char* answers[] = {"false", "true"};

constexpr const char* protectionNames[] = {"Lock", "CID", "EncWrap", "KeySel", "KeySize", "Algorithm", "HDPL"};

/// An attribute of an element: the values that it may have, and the variable that receives its value. A word is stored
/// as its index in `words`.
struct AttributeRow {
    const char* name;
    bool isRequired = true;
    QString* text = nullptr;
    qsizetype longest = maxNameLength;
    std::uint32_t* number = nullptr;
    std::uint32_t least = 0;
    std::uint32_t most = anyNumber;
    Words words = {};
};

AttributeRow nameRow(QString& text) {
    return {.name = "Name", .text = &text};
}

AttributeRow descriptionRow(QString& text) {
    return {.name = "Description", .isRequired = false, .text = &text, .longest = maxDescriptionLength};
}

AttributeRow numberRow(const char* name, std::uint32_t& number, std::uint32_t least = 0,
                       std::uint32_t most = anyNumber) {
    return {.name = name, .number = &number, .least = least, .most = most};
}

AttributeRow wordRow(const char* name, Words words, std::uint32_t& place) {
    return {.name = name, .number = &place, .words = words};
}

AttributeRow optional(AttributeRow row) {
    row.isRequired = false;
    return row;
}

/// The beginning of a piece of the document, in quotes, for a message.
QString quoted(QStringView text) {
    const bool isLong = text.size() > longestQuote;
    return u'"' + text.first(std::min(text.size(), longestQuote)).toString() +
           (isLong ? QStringLiteral("...\"") : QStringLiteral("\""));
}

QString quoted(const char* name) {
    return u'"' + QLatin1String(name) + u'"';
}

/// "A, B or C".
QString listed(Words words) {
    QStringList names;
    for (const char* const word : words) {
        names += QLatin1String(word);
    }
    const QString last = names.takeLast();
    return names.join(QStringLiteral(", ")) + QStringLiteral(" or ") + last;
}

bool isControl(QChar character) {
    return character.category() == QChar::Other_Control || character.category() == QChar::Other_Format;
}

/// Reads a number. Decimal numbers with leading zeros are rejected, because they could mean octal.
bool readNumber(QStringView text, std::uint32_t& number) {
    const bool isHex = text.startsWith(QLatin1String("0x"));
    return isHex ? text.size() <= 10 && parseNumber(text, 16, number)
                 : (text.size() == 1 || !text.startsWith(u'0')) && parseNumber(text, 10, number);
}

/// Rejects two kinds of markup before the XML reader reads them: a document type, because its declarations can expand a
/// short file without bound, and a tag that is too long.
bool scanMarkup(QStringView text, TextFault& fault) {
    struct Passage {
        QLatin1String start;
        QLatin1String end;
    };
    static constexpr Passage passages[] = {{QLatin1String("<!--"), QLatin1String("-->")},
                                           {QLatin1String("<![CDATA["), QLatin1String("]]>")},
                                           {QLatin1String("<?"), QLatin1String("?>")}};
    qsizetype at = 0;
    while ((at = text.indexOf(u'<', at)) >= 0) {
        const QStringView rest = text.sliced(at);
        const Passage* const passage = std::find_if(std::begin(passages), std::end(passages),
                                                    [rest](const Passage& p) { return rest.startsWith(p.start); });
        qsizetype end = 0;
        if (passage != std::end(passages)) {
            end = text.indexOf(passage->end, at + passage->start.size());
        } else if (rest.startsWith(QLatin1String("<!"))) {
            fault = faultAt(text, at, QStringLiteral("A document type isn't allowed"));
            return false;
        } else {
            QChar quote;
            const QStringView tag = rest.first(std::min(rest.size(), longestTag));
            const QChar* const found = std::find_if(tag.begin(), tag.end(), [&quote](QChar c) {
                if (c == quote) {
                    quote = QChar();
                } else if (quote.isNull() && (c == u'"' || c == u'\'')) {
                    quote = c;
                }
                return c == u'>' && quote.isNull();
            });
            if (found == tag.end() && tag.size() == longestTag) {
                fault = faultAt(text, at, QStringLiteral("A tag has more than %1 characters").arg(longestTag));
                return false;
            }
            end = found == tag.end() ? -1 : at + (found - tag.begin());
        }
        if (end < 0) {
            return true;  // the document is truncated; the XML reader reports that
        }
        at = end;
    }
    return true;
}

/// Reads a document whose markup was scanned. After the first fault, all further steps fail.
class Reader {
  public:
    explicit Reader(const QString& text) : text_(text), xml_(text) {}

    bool readDocument(Device& device);
    [[nodiscard]] const TextFault& fault() const { return fault_; }

  private:
    bool fail(const QString& message);
    bool failUnknownElement();

    [[nodiscard]] qsizetype tagStart() const;
    bool nextChild();
    [[nodiscard]] bool is(const char* name) const { return xml_.name() == QLatin1String(name); }
    [[nodiscard]] bool ok() const { return fault_.text.isEmpty(); }
    bool noChild() { return nextChild() ? failUnknownElement() : ok(); }
    bool once(QStringList& seen);
    template <typename Read>
    bool readChildren(const char* child, qsizetype least, qsizetype most, Read read);

    bool take(std::initializer_list<AttributeRow> rows);
    bool takeValue(const AttributeRow& row, QStringView value);
    bool takeText(const QString& what, qsizetype longest, QStringView value, QString& text);
    bool takeNumber(const QString& what, QStringView value, const AttributeRow& row);
    bool readText(qsizetype longest, QString& text);

    bool readRoot(Device& device);
    bool readDeviceId(Device& device);
    bool readMemory(QList<DeviceMemory>& memories);
    bool readConfiguration(Device& device);
    bool readRegister(QList<DeviceRegister>& registers);
    bool takePlace(const QList<DeviceRegister>& before, DeviceRegister& reg);
    bool readField(std::uint32_t wordMask, Words names, QList<DeviceField>& fields);
    bool readValue(DeviceField& field);
    bool readFuses(DeviceFuses& fuses);
    bool readProtection(DeviceFuses& fuses);
    bool readFuseWords(DeviceFuses& fuses);
    bool readParameters(DeviceParameters& parameters);
    bool readRegion(QList<ExternalRegion>& regions);

    template <typename Item>
    bool isNewName(const QList<Item>& items, const QString& name);

    const QString& text_;
    QXmlStreamReader xml_;
    QStringList open_;      ///< the open elements, the root first
    qsizetype offset_ = 0;  ///< offset of the part of the document that is being read
    TextFault fault_;
};

bool Reader::fail(const QString& message) {
    if (ok()) {
        fault_ = faultAt(text_, std::min(offset_, text_.size()), message);
    }
    return false;
}

bool Reader::failUnknownElement() {
    const QString parent = open_.size() > 1 ? QStringLiteral(" in ") + quoted(open_.at(open_.size() - 2)) : QString();
    return fail(QStringLiteral("Unknown element ") + quoted(xml_.qualifiedName()) + parent);
}

/// The offset of the tag that was just read. The reader may be one character ahead.
qsizetype Reader::tagStart() const {
    const qsizetype end = xml_.characterOffset();
    return text_.lastIndexOf(u'<', end - (text_.at(end - 1) == u'<' ? 2 : 1));
}

/// Opens the next child of the open element. At the end of the element, closes it and returns false. Also returns false
/// after a fault.
bool Reader::nextChild() {
    while (ok()) {
        offset_ = xml_.characterOffset();
        switch (xml_.readNext()) {
            case QXmlStreamReader::StartElement:
                offset_ = tagStart();
                open_ += xml_.qualifiedName().toString();
                return xml_.namespaceUri().isEmpty() || failUnknownElement();
            case QXmlStreamReader::EndElement:
                offset_ = tagStart();
                open_.removeLast();
                return false;
            case QXmlStreamReader::EndDocument:
                return false;
            case QXmlStreamReader::Characters:
                if (!xml_.isWhitespace()) {
                    while (offset_ < text_.size() && text_.at(offset_).isSpace()) {
                        ++offset_;
                    }
                    return fail(QStringLiteral("Text where only elements are expected"));
                }
                break;
            case QXmlStreamReader::Invalid:
                offset_ = xml_.characterOffset();
                return fail(xml_.errorString());
            default:
                break;  // comments and instructions
        }
    }
    return false;
}

/// Checks that no element of the same name is among the `seen` children.
bool Reader::once(QStringList& seen) {
    const QString name = xml_.name().toString();
    if (seen.contains(name)) {
        return fail(quoted(name) + QStringLiteral(" occurs twice in ") + quoted(open_.at(open_.size() - 2)));
    }
    seen += name;
    return true;
}

/// Reads the children of the open element. All of them must be named `child`. If `least` is 1, there must be at least
/// one.
template <typename Read>
bool Reader::readChildren(const char* child, qsizetype least, qsizetype most, Read read) {
    const QString parent = quoted(open_.constLast());
    qsizetype count = 0;
    while (nextChild()) {
        if (!is(child)) {
            return failUnknownElement();
        }
        if (++count > most) {
            return fail(QStringLiteral("%1 has more than %2 %3").arg(parent, QString::number(most), quoted(child)));
        }
        if (!read()) {
            return false;
        }
    }
    return ok() && (count >= least || fail(parent + QStringLiteral(" has no ") + quoted(child)));
}

/// Reads all attributes of the element that was just opened.
bool Reader::take(std::initializer_list<AttributeRow> rows) {
    const QXmlStreamAttributes attributes = xml_.attributes();
    const QString element = quoted(open_.constLast());
    for (const QXmlStreamAttribute& attribute : attributes) {
        const bool isKnown = std::any_of(rows.begin(), rows.end(), [&attribute](const AttributeRow& row) {
            return attribute.qualifiedName() == QLatin1String(row.name);
        });
        // Editors use this attribute to find the schema.
        const bool namesSchema =
            attribute.namespaceUri() == QLatin1String("http://www.w3.org/2001/XMLSchema-instance") &&
            attribute.name() == QLatin1String("noNamespaceSchemaLocation");
        if (!isKnown && !namesSchema) {
            return fail(QStringLiteral("Unknown attribute ") + quoted(attribute.qualifiedName()) +
                        QStringLiteral(" of ") + element);
        }
    }
    return std::all_of(rows.begin(), rows.end(), [&](const AttributeRow& row) {
        const QLatin1String name(row.name);
        return attributes.hasAttribute(name)
                   ? takeValue(row, attributes.value(name))
                   : !row.isRequired || fail(element + QStringLiteral(" has no ") + quoted(row.name));
    });
}

bool Reader::takeValue(const AttributeRow& row, QStringView value) {
    const QString what = quoted(row.name) + QStringLiteral(" of ") + quoted(open_.constLast());
    if (row.text != nullptr) {
        return takeText(what, row.longest, value, *row.text);
    }
    if (row.words.empty()) {
        return takeNumber(what, value, row);
    }
    const auto word = std::find_if(row.words.begin(), row.words.end(),
                                   [value](const char* possible) { return value == QLatin1String(possible); });
    if (word == row.words.end()) {
        return fail(what + QStringLiteral(" is ") + quoted(value) + QStringLiteral(": it can be ") + listed(row.words));
    }
    *row.number = static_cast<std::uint32_t>(word - row.words.begin());
    return true;
}

bool Reader::takeText(const QString& what, qsizetype longest, QStringView value, QString& text) {
    const bool isPrintable = std::all_of(
        value.begin(), value.end(), [](QChar c) { return !isControl(c) || c == u'\t' || c == u'\n' || c == u'\r'; });
    if (!isPrintable) {
        return fail(what + QStringLiteral(" contains a control character"));
    }
    const QString line = value.toString().simplified();
    if (line.isEmpty()) {
        return fail(what + QStringLiteral(" is empty"));
    }
    if (line.size() > longest) {
        return fail(what + QStringLiteral(" has more than %1 characters").arg(longest));
    }
    text = line;
    return true;
}

bool Reader::takeNumber(const QString& what, QStringView value, const AttributeRow& row) {
    std::uint32_t number = 0;
    if (!readNumber(value, number)) {
        return fail(what + QStringLiteral(" is ") + quoted(value) +
                    QStringLiteral(": it can be a number of 32 bits, decimal or hexadecimal after 0x"));
    }
    if (number < row.least || number > row.most) {
        return fail(what + QStringLiteral(" is %1: it can be %2 to %3").arg(value).arg(row.least).arg(row.most));
    }
    *row.number = number;
    return true;
}

/// Reads an element of text, without attributes.
bool Reader::readText(qsizetype longest, QString& text) {
    const QString what = quoted(open_.constLast());
    if (!take({})) {
        return false;
    }
    const QString content = xml_.readElementText();
    if (xml_.hasError()) {
        offset_ = xml_.characterOffset();
        return fail(xml_.errorString());
    }
    open_.removeLast();
    return takeText(what, longest, content, text);
}

/// Checks that no element of `items` has the name.
template <typename Item>
bool Reader::isNewName(const QList<Item>& items, const QString& name) {
    const bool isThere =
        std::any_of(items.begin(), items.end(), [&name](const Item& item) { return item.name == name; });
    return !isThere || fail(QStringLiteral("There are two %1 named %2").arg(quoted(open_.constLast()), quoted(name)));
}

bool Reader::readDocument(Device& device) {
    if (!nextChild()) {
        return fail(QStringLiteral("There is no element"));
    }
    if (!is("Device")) {
        return failUnknownElement();
    }
    return readRoot(device) && noChild();
}

bool Reader::readRoot(Device& device) {
    if (!take({})) {
        return false;
    }
    QStringList seen;
    while (nextChild()) {
        if (!once(seen)) {
            return false;
        }
        const auto readOneMemory = [&] { return readMemory(device.memories); };
        const bool done = is("DeviceID")        ? readDeviceId(device)
                          : is("Name")          ? readText(maxNameLength, device.name)
                          : is("Description")   ? readText(maxDescriptionLength, device.description)
                          : is("Storage")       ? take({}) && readChildren("Memory", 1, mostMemories, readOneMemory)
                          : is("Configuration") ? readConfiguration(device)
                          : is("Parameters")    ? readParameters(device.parameters)
                                                : failUnknownElement();
        if (!done) {
            return false;
        }
    }
    for (const char* const name : {"DeviceID", "Name"}) {
        if (ok() && !seen.contains(QLatin1String(name))) {
            return fail(QStringLiteral("\"Device\" has no ") + quoted(name));
        }
    }
    return ok();
}

bool Reader::readDeviceId(Device& device) {
    QString text;
    return readText(maxNameLength, text) &&
           takeNumber(quoted("DeviceID"), text, numberRow("DeviceID", device.deviceId, 1));
}

bool Reader::readMemory(QList<DeviceMemory>& memories) {
    DeviceMemory memory;
    std::uint32_t kind = 0;
    if (!take({nameRow(memory.name), wordRow("Kind", memoryKinds, kind), numberRow("Address", memory.address),
               numberRow("Size", memory.size, 1), numberRow("WriteUnit", memory.writeUnit, 1),
               descriptionRow(memory.description)}) ||
        !isNewName(memories, memory.name)) {
        return false;
    }
    if (memory.size > addressSpace - memory.address) {
        return fail(QStringLiteral("\"Memory\" ends beyond 32 bits"));
    }
    if (memory.writeUnit > memory.size) {
        return fail(QStringLiteral("\"WriteUnit\" is larger than the memory"));
    }
    for (const DeviceMemory& other : std::as_const(memories)) {
        if (std::max(memory.address, other.address) <=
            std::min(memory.address + (memory.size - 1), other.address + (other.size - 1))) {
            return fail(QStringLiteral("%1 overlaps %2").arg(quoted(memory.name), quoted(other.name)));
        }
    }
    memory.kind = static_cast<MemoryKind>(kind);
    memories += memory;
    return noChild();
}

bool Reader::readConfiguration(Device& device) {
    if (!take({})) {
        return false;
    }
    QStringList seen;
    while (nextChild()) {
        if (!once(seen)) {
            return false;
        }
        const auto readOneRegister = [&] { return readRegister(device.registers); };
        const bool done = is("OptionBytes") ? take({}) && readChildren("Register", 1, mostRegisters, readOneRegister)
                          : is("Fuses")     ? readFuses(device.fuses)
                                            : failUnknownElement();
        if (!done) {
            return false;
        }
    }
    return ok();
}

bool Reader::readRegister(QList<DeviceRegister>& registers) {
    DeviceRegister reg;
    if (!takePlace(registers, reg) || !isNewName(registers, reg.name)) {
        return false;
    }
    if (reg.name.contains(u',')) {
        return fail(QStringLiteral("\"Name\" of \"Register\" contains a comma, which ends a label in a table"));
    }
    if ((reg.reset & ~reg.mask()) != 0) {
        return fail(QStringLiteral("\"Reset\" doesn't fit a register of %1 bits").arg(8 * reg.size));
    }
    const auto readOneField = [&] { return readField(reg.mask(), {}, reg.fields); };
    if (!readChildren("Field", 0, mostFields, readOneField)) {
        return false;
    }
    registers += reg;
    return true;
}

/// Reads the attributes that place a register. Registers have the same order in the document and in a table. An order
/// attribute is the position in the table; addresses increase from one register to the next.
bool Reader::takePlace(const QList<DeviceRegister>& before, DeviceRegister& reg) {
    std::uint32_t order = 0;
    std::uint32_t address = 0;
    if (!take({nameRow(reg.name), optional(numberRow("Order", order)), optional(numberRow("Address", address)),
               numberRow("Size", reg.size, 1, 4), numberRow("Reset", reg.reset), descriptionRow(reg.description)})) {
        return false;
    }
    if (reg.size == 3) {
        return fail(QStringLiteral("\"Size\" of \"Register\" is 3: it can be 1, 2 or 4"));
    }
    const bool hasAddress = xml_.attributes().hasAttribute(QLatin1String("Address"));
    if (hasAddress == xml_.attributes().hasAttribute(QLatin1String("Order"))) {
        return fail(QStringLiteral("\"Register\" needs either \"Order\" or \"Address\""));
    }
    if (!before.isEmpty() && before.constFirst().address.has_value() != hasAddress) {
        return fail(QStringLiteral("Some registers have an \"Order\" and some an \"Address\""));
    }
    if (!hasAddress) {
        return order == static_cast<std::uint32_t>(before.size()) + 1 ||
               fail(QStringLiteral("\"Order\" is %1: the next register is %2").arg(order).arg(before.size() + 1));
    }
    if (reg.size > addressSpace - address) {
        return fail(QStringLiteral("\"Register\" ends beyond 32 bits"));
    }
    if (!before.isEmpty()) {
        const DeviceRegister& last = before.constLast();
        if (address < *last.address || address - *last.address < last.size) {
            return fail(quoted(reg.name) + QStringLiteral(" overlaps or precedes ") + quoted(last.name));
        }
    }
    reg.address = address;
    return true;
}

/// Reads a field of a word with the bits `wordMask`. Its name must be one of `names`, unless `names` is empty.
bool Reader::readField(std::uint32_t wordMask, Words names, QList<DeviceField>& fields) {
    DeviceField field;
    std::uint32_t access = 0;
    std::uint32_t place = 0;
    if (!take({names.empty() ? nameRow(field.name) : wordRow("Name", names, place), numberRow("Bit", field.bit, 0, 31),
               numberRow("Width", field.width, 1, 32), optional(wordRow("Access", accesses, access)),
               descriptionRow(field.description)})) {
        return false;
    }
    if (!names.empty()) {
        field.name = QLatin1String(names[place]);
    }
    if (!isNewName(fields, field.name)) {
        return false;
    }
    field.access = static_cast<FieldAccess>(access);
    if (field.width > 32 - field.bit || (field.mask() & ~wordMask) != 0) {
        return fail(quoted(field.name) + QStringLiteral(" ends beyond its word"));
    }
    for (const DeviceField& other : std::as_const(fields)) {
        if ((field.mask() & other.mask()) != 0) {
            return fail(QStringLiteral("%1 overlaps %2").arg(quoted(field.name), quoted(other.name)));
        }
    }
    if (!readChildren("Value", 0, mostValues, [&] { return readValue(field); })) {
        return false;
    }
    fields += field;
    return true;
}

bool Reader::readValue(DeviceField& field) {
    NamedValue value;
    if (!take({numberRow("Value", value.value), nameRow(value.name), descriptionRow(value.description)}) ||
        !isNewName(field.values, value.name)) {
        return false;
    }
    if (value.value != field.valueIn(field.set(0, value.value))) {
        return fail(QStringLiteral("%1 doesn't fit a field of %2 bits").arg(quoted(value.name)).arg(field.width));
    }
    for (const NamedValue& other : std::as_const(field.values)) {
        if (value.value == other.value) {
            return fail(QStringLiteral("%1 has the value of %2").arg(quoted(value.name), quoted(other.name)));
        }
    }
    field.values += value;
    return noChild();
}

bool Reader::readFuses(DeviceFuses& fuses) {
    if (!take({numberRow("Words", fuses.wordCount, 1, maxFuseWords)})) {
        return false;
    }
    QStringList seen;
    while (nextChild()) {
        const bool done = is("Protection") ? once(seen) && readProtection(fuses)
                          : is("Word")     ? readFuseWords(fuses)
                                           : failUnknownElement();
        if (!done) {
            return false;
        }
    }
    return ok() && (!fuses.words.isEmpty() || fail(QStringLiteral("\"Fuses\" has no \"Word\"")));
}

bool Reader::readProtection(DeviceFuses& fuses) {
    if (!fuses.words.isEmpty()) {
        return fail(QStringLiteral("\"Protection\" must precede every \"Word\""));
    }
    return take({}) && readChildren("Field", 1, mostFields,
                                    [&] { return readField(anyNumber, protectionNames, fuses.protection); });
}

bool Reader::readFuseWords(DeviceFuses& fuses) {
    FuseWords words;
    std::uint32_t isOptional = 0;
    if (!take({nameRow(words.name), numberRow("Index", words.index, 0, fuses.wordCount - 1),
               optional(numberRow("Count", words.count, 1, fuses.wordCount)),
               optional(numberRow("Protection", words.protection)), optional(wordRow("Optional", answers, isOptional)),
               descriptionRow(words.description)}) ||
        !isNewName(fuses.words, words.name)) {
        return false;
    }
    words.mayBeLeftOut = isOptional != 0;
    if (words.count > fuses.wordCount - words.index) {
        return fail(QStringLiteral("%1 ends beyond word %2").arg(quoted(words.name)).arg(fuses.wordCount - 1));
    }
    if (!fuses.words.isEmpty() && words.index < fuses.words.constLast().end()) {
        return fail(quoted(words.name) + QStringLiteral(" overlaps or precedes ") +
                    quoted(fuses.words.constLast().name));
    }
    std::uint32_t protectable = 0;
    for (const DeviceField& field : std::as_const(fuses.protection)) {
        protectable |= field.mask();
    }
    if ((words.protection & ~protectable) != 0) {
        return fail(QStringLiteral("\"Protection\" has bits that are in no field of it"));
    }
    fuses.words += words;
    return noChild();
}

bool Reader::readParameters(DeviceParameters& parameters) {
    std::uint32_t takesParts = 0;
    std::uint32_t layout = 0;
    if (!take({wordRow("PartialImages", answers, takesParts), wordRow("OtpLayout", layouts, layout)})) {
        return false;
    }
    parameters.takesPartialImages = takesParts != 0;
    parameters.otpLayout = static_cast<OtpLayout>(layout);
    return readChildren("Region", 0, mostRegions, [&] { return readRegion(parameters.externalRegions); });
}

bool Reader::readRegion(QList<ExternalRegion>& regions) {
    ExternalRegion region;
    if (!take({nameRow(region.name), numberRow("Number", region.number, 0, 7), numberRow("Address", region.address),
               numberRow("Size", region.size, 1)}) ||
        !isNewName(regions, region.name)) {
        return false;
    }
    if (region.size > addressSpace - region.address) {
        return fail(QStringLiteral("\"Region\" ends beyond 32 bits"));
    }
    for (const ExternalRegion& other : std::as_const(regions)) {
        if (region.number == other.number) {
            return fail(QStringLiteral("%1 has the number of %2").arg(quoted(region.name), quoted(other.name)));
        }
    }
    regions += region;
    return noChild();
}

}  // namespace

bool readDevice(const QByteArray& document, Device& device, TextFault& fault) {
    if (document.size() > maxDescriptionSize) {
        fault = {0, 0, QStringLiteral("A description has at most %1 bytes").arg(maxDescriptionSize)};
        return false;
    }
    QStringDecoder decode(QStringDecoder::Utf8);
    const QString text = decode(document);
    if (decode.hasError()) {
        fault = faultAt(text, std::max<qsizetype>(0, text.indexOf(QChar::ReplacementCharacter)),
                        QStringLiteral("The text isn't UTF-8"));
        return false;
    }
    if (!scanMarkup(text, fault)) {
        return false;
    }
    Reader reader(text);
    Device read;
    if (!reader.readDocument(read)) {
        fault = reader.fault();
        return false;
    }
    device = read;
    return true;
}

bool readDeviceFile(const QString& path, Device& device, TextFault& fault) {
    QFile file(path);
    QByteArray document;
    // Opening a pipe could block.
    if (!QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly)) {
        fault = {0, 0, QStringLiteral("The file can't be opened")};
        return false;
    }
    if (!readUpTo(file, maxDescriptionSize, document)) {
        fault = {0, 0, QStringLiteral("A description has at most %1 bytes").arg(maxDescriptionSize)};
        return false;
    }
    return readDevice(document, device, fault);
}

}  // namespace devices
