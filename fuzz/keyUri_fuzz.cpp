#include "fuzz/FuzzFile.h"
#include "token/KeyUri.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const FuzzFile quiet(data, 0, ".txt");
    const QString text = QString::fromUtf8(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    token::KeyUri uri;
    if (!uri.parse(text, CKO_PRIVATE_KEY)) {
        return 0;
    }
    // The URI that is listed for a key must select the same key.
    const token::TokenRecord record;
    static_cast<void>(uri.matches(record));
    const QString listed = token::uriOf(record, uri.label(), uri.id(), uri.modulePath());
    token::KeyUri again;
    if (listed.isEmpty() || !again.parse(listed, CKO_PRIVATE_KEY) ||
        (!uri.label().isEmpty() && again.label() != uri.label()) || (!uri.id().isEmpty() && again.id() != uri.id()) ||
        again.modulePath() != uri.modulePath()) {
        std::abort();
    }
    return 0;
}
