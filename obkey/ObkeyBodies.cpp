#include "obkey/ObkeyBodies.h"

#include "Preparation/primitives/Sha256.h"
#include "files/readExactly.h"
#include "files/wipe.h"

#include <algorithm>

namespace obkey {

namespace {

constexpr qsizetype mostPadding = 3 * 255;  ///< twice before a file, once at the end of the payload

bool hasRoom(const QByteArray& body, qsizetype size) {
    return body.capacity() - body.size() >= size;
}

void reserveMore(QByteArray& body, qsizetype size) {
    if (hasRoom(body, size)) {
        return;
    }
    QByteArray larger;
    larger.reserve(std::max(2 * body.size(), body.size() + size));
    larger.append(body);
    wipe(body);
    body.swap(larger);
}

}  // namespace

bool ObkeyBodies::makeRoom(qsizetype size) {
    size += mostPadding;
    if (hasRoom(mainBody, size) && hasRoom(daBody, size)) {
        return true;
    }
    // While a body grows, its old and its new memory exist together. The new memory is up to twice as large.
    if (!canAllocate(3 * (mainBody.size() + daBody.size() + size))) {
        return false;
    }
    reserveMore(mainBody, size);
    reserveMore(daBody, size);
    return true;
}

QByteArray sha256(const QByteArray& bytes) {
    Sha256Digest digest{};
    const bool made = ::sha256({bytes}, digest);
    Q_ASSERT(made);
    return made ? QByteArray(digest.data(), sha256Size) : QByteArray(sha256Size, '\0');
}

}  // namespace obkey
