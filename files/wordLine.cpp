#include "files/wordLine.h"

#include "files/parseNumber.h"

#include <QString>

bool readWordLine(QByteArrayView line, bool pairs, const std::function<void(QByteArrayView, std::uint32_t)>& take,
                  WordLineFault& fault) {
    const qsizetype commas = line.count(',');
    if (commas == 0) {
        fault = {WordLineFault::noComma, 0};
        return false;
    }
    if (pairs && commas % 2 == 0) {
        fault = {WordLineFault::labelOnly, line.lastIndexOf(',') + 1};
        return false;
    }
    qsizetype start = 0;
    for (qsizetype i = 0; i <= commas; ++i) {
        const qsizetype end = i < commas ? line.indexOf(',', start) : line.size();
        const QByteArrayView number = line.sliced(start, end - start).trimmed();
        std::uint32_t value = 0;
        if (!pairs || i % 2 == 1) {
            if (!parseNumber(QString::fromLatin1(number), pairs ? 0 : 16, value)) {
                fault = {WordLineFault::noNumber, number.isEmpty() ? start : number.data() - line.data()};
                return false;
            }
            take(number, value);
        }
        start = end + 1;
    }
    return true;
}
