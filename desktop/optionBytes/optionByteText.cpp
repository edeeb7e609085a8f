#include "desktop/optionBytes/optionByteText.h"

#include "files/hexPairs.h"
#include "files/parseNumber.h"

#include <QCoreApplication>

#include <algorithm>

namespace desktop {

namespace {

QString tr(const char* source) {
    return QCoreApplication::translate("optionByteText", source);
}

bool hasOnlyDigits(QStringView text, bool isHex) {
    return !text.isEmpty() && std::all_of(text.begin(), text.end(),
                                          [isHex](QChar c) { return isHex ? isHexDigit(c) : c >= u'0' && c <= u'9'; });
}

}  // namespace

QString hexText(std::uint32_t value, int bits) {
    return QStringLiteral("0x") + QString::number(value, 16).toUpper().rightJustified((bits + 3) / 4, u'0');
}

QString bitsText(const devices::DeviceField& field) {
    return field.width == 1 ? tr("bit %1").arg(field.bit)
                            : tr("bits %1–%2").arg(field.bit + field.width - 1).arg(field.bit);
}

const devices::NamedValue* namedValue(const devices::DeviceField& field, std::uint32_t value) {
    const auto found = std::find_if(field.values.begin(), field.values.end(),
                                    [value](const devices::NamedValue& named) { return named.value == value; });
    return found == field.values.end() ? nullptr : &*found;
}

QString valueText(const devices::DeviceField& field, std::uint32_t value) {
    const QString number = field.width == 1 ? QString::number(value) : hexText(value, static_cast<int>(field.width));
    const devices::NamedValue* named = namedValue(field, value);
    return named == nullptr ? number : tr("%1 (%2)").arg(named->name, number);
}

bool readEntry(const QString& text, int bits, bool isHex, std::uint32_t& value, QString& reason) {
    const QString entry = text.trimmed();
    const bool hasPrefix = entry.startsWith(QLatin1String("0x"), Qt::CaseInsensitive);
    const QStringView digits = QStringView(entry).mid(hasPrefix ? 2 : 0);
    if (!hasOnlyDigits(digits, hasPrefix || isHex)) {
        reason =
            isHex ? tr("A hexadecimal number is needed, such as 0x1F.") : tr("A number is needed, such as 31 or 0x1F.");
        return false;
    }
    std::uint32_t read = 0;
    const std::uint32_t most = 0xFFFFFFFF >> (32 - bits);
    if (!parseNumber(digits, hasPrefix || isHex ? 16 : 10, read) || read > most) {
        reason = tr("At most %1 fits.").arg(hexText(most, bits));
        return false;
    }
    value = read;
    return true;
}

}  // namespace desktop
