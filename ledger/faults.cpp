#include "ledger/faults.h"

#include <QChar>

namespace ledger {

bool checkName(const char* what, const QString& name, Fault& fault) {
    constexpr qsizetype longest = 200;
    const QString noun = QString::fromLatin1(what);
    if (name.isEmpty()) {
        return failed(QStringLiteral("the %1 is empty").arg(noun), fault);
    }
    if (name.size() > longest) {
        return failed(QStringLiteral("the %1 has %2 characters; at most %3 are allowed")
                          .arg(noun, QString::number(name.size()), QString::number(longest)),
                      fault);
    }
    for (const QChar character : name) {
        if (character.category() == QChar::Other_Control) {
            return failed(QStringLiteral("the %1 contains a control character").arg(noun), fault);
        }
    }
    if (!name.isValidUtf16()) {
        return failed(QStringLiteral("the %1 isn't valid Unicode").arg(noun), fault);
    }
    return true;
}

QString storedText(const QString& text) {
    constexpr qsizetype longest = 4000;
    // The conversion to UTF-8 replaces halves of surrogate pairs. The two databases would replace them differently.
    QString stored = QString::fromUtf8(text.left(longest).toUtf8());
    stored.replace(QChar::Null, QChar::ReplacementCharacter);
    return stored.isNull() ? QString::fromLatin1("") : stored;
}

}  // namespace ledger
