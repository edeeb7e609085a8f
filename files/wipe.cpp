#include "files/wipe.h"

#include <cstring>

void wipe(QByteArray& secret) {
    if (secret.isDetached()) {
        explicit_bzero(secret.data(), static_cast<std::size_t>(secret.capacity()));
    }
    secret = QByteArray();
}
