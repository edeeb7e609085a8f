#include "obkey/templateNumbers.h"

#include "display/Display.h"
#include "files/hexPairs.h"

#include <QRegularExpression>
#include <QStringList>

#include <algorithm>

namespace obkey {

namespace {

bool isDigit(QChar character) {
    return character >= QLatin1Char('0') && character <= QLatin1Char('9');
}

}  // namespace

bool isFieldWidth(std::int32_t width) {
    return width >= 0 && width <= widestField;
}

bool hasHexPrefix(QStringView text) {
    return text.startsWith(QLatin1String("0x"), Qt::CaseInsensitive);
}

bool isHexValue(QStringView text) {
    return text.size() >= 3 && hasHexPrefix(text) && std::all_of(text.begin() + 2, text.end(), isHexDigit);
}

bool isDecimalValue(QStringView text) {
    return std::all_of(text.begin(), text.end(), isDigit);
}

QString decimalToHexValue(const QString& text) {
    return QStringLiteral("0x") + QString::number(text.toULongLong(), 16).toUpper();
}

std::uint64_t templateNumber(const QString& text) {
    const QString hexadecimal = isHexValue(text) ? text : decimalToHexValue(text);
    return hexadecimal.toULongLong(nullptr, 16);
}

bool checkDataValue(const QString& text, const QString& name, std::uint32_t width) {
    if (width == 0 || width > 8) {
        return reportError(" \"%d\" : is Wrong width value ", static_cast<std::int32_t>(width));
    }
    const qsizetype longest = 2 * static_cast<qsizetype>(width) + 2;
    const QByteArray widthText = QByteArray::number(width);
    if (isDecimalValue(text)) {
        if (decimalToHexValue(text).size() > longest) {
            return reportError(" \"%s\" value for \"%s\" is incorrect, max width value is : \"%s\" Bytes.",
                               qUtf8Printable(text), qUtf8Printable(name), widthText.constData());
        }
        return true;
    }
    if (text.size() <= 2 || text.size() > longest) {
        return reportError(" \"%s\" value for \"%s\" is incorrect, the value should be written on max : \"%s\" Bytes.",
                           qUtf8Printable(text), qUtf8Printable(name), widthText.constData());
    }
    if (!isHexValue(text)) {
        return reportError(" \"%s\" value for \"%s\" is incorrect, values should be hexadecimal or decimal.",
                           qUtf8Printable(text), qUtf8Printable(name));
    }
    return true;
}

bool numberFits(const QString& text, bool isList, std::int32_t width) {
    return isFieldWidth(width) && storedDigits(text, isList).size() / 2 <= width;
}

bool isFieldNumber(const QString& text, bool isList) {
    if (hasHexPrefix(text)) {
        return isHexValue(text);
    }
    bool isNumber = false;
    isList ? text.toInt(&isNumber) : text.toLongLong(&isNumber);
    if (!isNumber && !isList) {
        text.toULongLong(&isNumber);
    }
    return isNumber;
}

QString storedDigits(const QString& text, bool isList) {
    QString digits = hasHexPrefix(text) ? text.mid(2)
                     : isList           ? QString::number(static_cast<std::uint32_t>(signedDecimal(text)), 16)
                                        : QString();
    if (digits.size() % 2 != 0) {
        digits.prepend(QLatin1Char('0'));
    }
    return digits.right(digits.size() % 512);
}

char hexByte(QStringView digits) {
    if (digits.isEmpty() || digits.size() > 2 || !std::all_of(digits.begin(), digits.end(), isHexDigit)) {
        return 0;
    }
    return static_cast<char>(digits.toUInt(nullptr, 16));
}

std::int32_t signedDecimal(const QString& text) {
    return text.toInt();
}

std::uint32_t unsignedDecimal(const QString& text) {
    return text.toUInt();
}

std::int32_t slotIndex(const QString& reference) {
    static const QRegularExpression number(QStringLiteral("#(\\d+)"));
    return signedDecimal(number.match(reference).captured(1));
}

bool parseIndexedReference(const QString& reference, std::uint8_t& index, QString& text) {
    const QStringList pieces = reference.split(QLatin1Char('#'));
    switch (pieces.size()) {
        case 1:
            index = 0;
            text = pieces[0];
            return true;
        case 3:
            index = static_cast<std::uint8_t>(unsignedDecimal(pieces[1]) & 0xFF);
            text = pieces[2];
            return true;
        default:
            return false;
    }
}

}  // namespace obkey
