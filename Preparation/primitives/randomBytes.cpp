#include "Preparation/primitives/randomBytes.h"

#include "files/wipe.h"

#include <openssl/err.h>
#include <openssl/rand.h>

#include <limits>

bool randomBytes(qsizetype size, QByteArray& bytes) {
    if (size < 0 || size > std::numeric_limits<int>::max()) {
        return false;
    }
    QByteArray made(size, '\0');
    if (RAND_priv_bytes(reinterpret_cast<unsigned char*>(made.data()), static_cast<int>(size)) != 1) {
        ERR_clear_error();
        wipe(made);
        return false;
    }
    bytes.swap(made);
    return true;
}
