#include "jobs/shellQuoted.h"

#include <algorithm>

namespace jobs {

namespace {

bool isPlain(QChar character) {
    const ushort code = character.unicode();
    return (code >= u'0' && code <= u'9') || (code >= u'A' && code <= u'Z') || (code >= u'a' && code <= u'z') ||
           QStringView(u"-_./,:=@%+").contains(character);
}

}  // namespace

QString shellQuoted(const QStringList& words) {
    QStringList quoted;
    for (const QString& word : words) {
        const bool plain = !word.isEmpty() && std::all_of(word.begin(), word.end(), isPlain);
        // Between single quotes every character is literal except the quote itself, which is put between double quotes.
        quoted.append(plain ? word : u'\'' + QString(word).replace(u'\'', QLatin1String("'\"'\"'")) + u'\'');
    }
    return quoted.join(u' ');
}

}  // namespace jobs
