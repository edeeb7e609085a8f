#include "record/chain.h"

#include "Preparation/primitives/Sha256.h"

namespace record {

namespace {

constexpr qsizetype digestDigits = 64;

}  // namespace

QString previousOf(const ChainHead& head) {
    return head.hash.isEmpty() ? QString(digestDigits, u'0') : QString::fromLatin1(head.hash.toHex());
}

bool advance(ChainHead& head, QByteArrayView line) {
    Sha256Digest digest;
    if (!sha256({line}, digest)) {
        return false;
    }
    ++head.number;
    head.hash = QByteArray(digest.data(), static_cast<qsizetype>(digest.size()));
    return true;
}

QByteArray nextLine(QJsonObject body, ChainHead& head) {
    body.insert(QLatin1String("number"), head.number + 1);
    body.insert(QLatin1String("previous"), previousOf(head));
    const QByteArray line = canonicalJson(body);
    return !line.isEmpty() && advance(head, line) ? line : QByteArray();
}

}  // namespace record
