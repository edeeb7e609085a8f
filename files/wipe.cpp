#include "files/wipe.h"

#include <cstring>

void wipe(QByteArray& secret) {
    Q_ASSERT(secret.isEmpty() || secret.isDetached());
    if (secret.isDetached()) {
        // The whole allocation is wiped, because it still contains bytes that were removed from the front or the end.
        char* const start = secret.data() - secret.data_ptr().freeSpaceAtBegin();
        explicit_bzero(start, static_cast<std::size_t>(secret.capacity()));
    }
    secret = QByteArray();
}

void wipeIfOwned(QByteArray& secret) {
    if (secret.isDetached()) {
        wipe(secret);
    }
    secret = QByteArray();
}
