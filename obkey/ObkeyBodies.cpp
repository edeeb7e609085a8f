#include "obkey/ObkeyBodies.h"

#include "files/readExactly.h"
#include "files/wipe.h"

#include <openssl/sha.h>

#include <algorithm>

namespace {

constexpr qsizetype mostPadding = 3 * 255;  ///< twice in front of a file, once at the end of the payload

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
    // A body that moves takes up to twice its room beside itself.
    if (!canAllocate(3 * (mainBody.size() + daBody.size() + size))) {
        return false;
    }
    reserveMore(mainBody, size);
    reserveMore(daBody, size);
    return true;
}

QByteArray sha256(const QByteArray& bytes) {
    QByteArray digest(SHA256_DIGEST_LENGTH, '\0');
    SHA256(reinterpret_cast<const unsigned char*>(bytes.constData()), static_cast<std::size_t>(bytes.size()),
           reinterpret_cast<unsigned char*>(digest.data()));
    return digest;
}
