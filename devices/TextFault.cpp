#include "devices/TextFault.h"

namespace devices {

QString faultLine(const TextFault& fault) {
    return fault.line == 0
               ? fault.text
               : QStringLiteral("line %1, column %2: ").arg(fault.line).arg(fault.column).append(fault.text);
}

TextFault faultAt(QStringView text, qsizetype offset, const QString& message) {
    const QStringView before = text.first(offset);
    return {1 + before.count(u'\n'), offset - before.lastIndexOf(u'\n'), message};
}

}  // namespace devices
