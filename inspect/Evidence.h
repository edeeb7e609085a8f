#pragma once

#include "files/wipe.h"

#include <QByteArray>

#include <cstdint>
#include <vector>

namespace inspect {

/// What the user gives to prove a file with. Keys are wiped with it.
struct Evidence {
    Evidence() = default;
    ~Evidence() { wipe(key); }
    Evidence(const Evidence&) = delete;
    Evidence& operator=(const Evidence&) = delete;

    QByteArray key;  ///< 16 bytes; empty if none was given
    bool hasNonce = false;
    QByteArray nonce;
};

/// What the plain bytes of a part are for.
enum class ContentKind { firmware, module, optionBytes, blob, other };

struct Content {
    int part = 0;
    ContentKind kind = ContentKind::other;
    std::uint64_t address = 0;
    QByteArray bytes;
};

/// The plain contents of a file's parts, wiped when they go.
struct Contents {
    Contents() = default;
    ~Contents() {
        for (Content& content : list) {
            wipe(content.bytes);
        }
    }
    Contents(const Contents&) = delete;
    Contents& operator=(const Contents&) = delete;

    std::vector<Content> list;
};

}  // namespace inspect
