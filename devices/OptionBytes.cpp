#include "devices/OptionBytes.h"

#include "files/wordLine.h"

#include <QHash>

#include <algorithm>

namespace devices {

namespace {

/// The text of each `WordLineFault::Kind`, in the order of the enumeration.
constexpr const char* faultTexts[] = {
    "A label and a number between commas are expected", "A label without a number",
    "A number of 32 bits is expected: 0x hexadecimal, a leading 0 octal, otherwise decimal"};

/// `value` in the form of the text `number`: its base, prefix, case and minimum number of digits.
QByteArray inFormOf(const QByteArray& number, std::uint32_t value) {
    const bool isHex = number.startsWith("0x") || number.startsWith("0X");
    const bool isOctal = !isHex && number.size() > 1 && number.startsWith('0');
    const QByteArray prefix = isHex ? number.first(2) : isOctal ? QByteArray("0") : QByteArray();
    const QByteArray old = number.sliced(prefix.size());
    const QByteArray digits = QByteArray::number(value, isHex ? 16 : isOctal ? 8 : 10);
    const bool isLower = std::any_of(old.begin(), old.end(), [](char c) { return c >= 'a' && c <= 'f'; });
    // Leading zeros would turn a decimal number into an octal one.
    const qsizetype width = isHex || isOctal ? old.size() : 0;
    return prefix + (isLower ? digits : digits.toUpper()).rightJustified(width, '0');
}

}  // namespace

QByteArray OptionByte::label() const {
    // `before` contains the comma or line end after the previous number, then the label and its comma.
    const QByteArray text = before.first(std::max<qsizetype>(0, before.lastIndexOf(',')));
    return text.sliced(std::max(text.lastIndexOf(','), text.lastIndexOf('\n')) + 1).trimmed();
}

bool readOptionBytes(const QByteArray& text, OptionBytes& table, TextFault& fault) {
    if (text.isEmpty() || text.size() > maxOptionBytesSize) {
        fault = {0, 0,
                 text.isEmpty() ? QStringLiteral("The table is empty")
                                : QStringLiteral("A table has at most %1 bytes").arg(maxOptionBytesSize)};
        return false;
    }
    OptionBytes read;
    qsizetype taken = 0;
    const auto takeWord = [&](QByteArrayView number, std::uint32_t value) {
        const qsizetype place = number.data() - text.constData();
        read.words += {text.sliced(taken, place - taken), number.toByteArray(), value, value};
        taken = place + number.size();
    };
    for (qsizetype start = 0; start < text.size();) {
        const qsizetype lineEnd = text.indexOf('\n', start);
        const qsizetype next = lineEnd < 0 ? text.size() : lineEnd + 1;
        WordLineFault lineFault;
        if (!readWordLine(QByteArrayView(text).sliced(start, next - start), true, takeWord, lineFault)) {
            fault =
                faultAt(QString::fromLatin1(text), start + lineFault.offset, QLatin1String(faultTexts[lineFault.kind]));
            return false;
        }
        start = next;
    }
    read.end = text.sliced(taken);
    table = read;
    return true;
}

QByteArray writeOptionBytes(const OptionBytes& table) {
    QByteArray text;
    for (const OptionByte& word : table.words) {
        text += word.before + (word.value == word.read ? word.number : inFormOf(word.number, word.value));
    }
    return text + table.end;
}

OptionBytes resetOptionBytes(const Device& device) {
    OptionBytes table;
    for (const DeviceRegister& reg : device.registers) {
        const QByteArray lineEnd = table.words.isEmpty() ? QByteArray() : QByteArray("\n");
        const QByteArray digits =
            QByteArray::number(reg.reset, 16).toUpper().rightJustified(2 * qsizetype{reg.size}, '0');
        table.words += {lineEnd + reg.name.toUtf8() + ',', "0x" + digits, reg.reset, reg.reset};
    }
    table.end = "\n";
    return table;
}

OptionBytesMatch matchOptionBytes(const OptionBytes& table, const Device& device) {
    OptionBytesMatch match;
    const auto remark = [&match](qsizetype word, const char* text) { match.remarks += {word, QLatin1String(text)}; };
    QHash<QByteArray, qsizetype> places;
    for (const DeviceRegister& reg : device.registers) {
        places.insert(reg.name.toUtf8(), places.size());
    }
    QList<bool> isThere(device.registers.size());
    for (qsizetype i = 0; i < table.words.size(); ++i) {
        const OptionByte& word = table.words.at(i);
        qsizetype place = places.value(word.label(), -1);
        if (place < 0) {
            remark(i, "the description has no such register");
        } else if (isThere.at(place)) {
            remark(i, "the register has a word already");
            place = -1;
        } else {
            isThere[place] = true;
            if (place != i) {
                remark(i, "another position than in the description; a device uses only the position");
            }
            if ((word.value & ~device.registers.at(place).mask()) != 0) {
                remark(i, "the value doesn't fit the register");
            }
        }
        match.registers += place;
    }
    for (qsizetype place = 0; place < isThere.size(); ++place) {
        if (!isThere.at(place)) {
            match.remarks += {-1, QStringLiteral("The register %1 has no word").arg(device.registers.at(place).name)};
        }
    }
    return match;
}

}  // namespace devices
