#include "produce/IvRule.h"

#include "Preparation/primitives/Sha256.h"

namespace produce {

IvRule ivRule(const jobs::JobRow& row) {
    const QLatin1String id(row.id);
    if (id == QLatin1String("payload")) {
        return IvRule::whole;
    }
    return id == QLatin1String("install-image") || id == QLatin1String("update-image") ||
                   id == QLatin1String("provisioning-image")
               ? IvRule::base
               : IvRule::none;
}

bool ivPart(IvRule rule, QByteArrayView nonce, QByteArray& part) {
    constexpr qsizetype baseSize = 8;
    constexpr qsizetype wholeSize = 16;
    if (rule == IvRule::whole && nonce.size() == wholeSize) {
        part = nonce.toByteArray();
        return true;
    }
    Sha256Digest digest;
    if (rule != IvRule::base || nonce.isEmpty() || !sha256({nonce}, digest)) {
        return false;
    }
    part = QByteArray(digest.data(), baseSize);
    return true;
}

}  // namespace produce
