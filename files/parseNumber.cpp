#include "files/parseNumber.h"

#include "files/hexPairs.h"

#include <QString>

#include <limits>

namespace {

bool hasHexPrefix(QStringView text) {
    return text.startsWith(QLatin1String("0x"), Qt::CaseInsensitive);
}

}  // namespace

bool parseNumber(QStringView text, int base, std::uint32_t& value) {
    if (base == 0) {
        base = hasHexPrefix(text) ? 16 : text.size() > 1 && text.front() == u'0' ? 8 : 10;
    }
    if (base == 16 && hasHexPrefix(text)) {
        text = text.sliced(2);
    }
    if (text.isEmpty()) {
        return false;
    }
    std::uint64_t number = 0;
    for (const QChar character : text) {
        const int digit = hexDigitValue(character);
        if (digit < 0 || digit >= base) {
            return false;
        }
        number = number * static_cast<unsigned>(base) + static_cast<unsigned>(digit);
        if (number > std::numeric_limits<std::uint32_t>::max()) {
            return false;
        }
    }
    value = static_cast<std::uint32_t>(number);
    return true;
}
