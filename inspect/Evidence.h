#pragma once

#include "files/wipe.h"

#include <QByteArray>

#include <cstdint>
#include <optional>
#include <vector>

namespace inspect {

/// Where a memory cipher image lies, and how it was encrypted.
struct MemoryUse {
    std::uint32_t address = 0;
    std::uint32_t mode = 0;
};

/// What the user gives to prove a file with. Keys are wiped with it.
struct Evidence {
    Evidence() = default;
    ~Evidence() {
        wipe(key);
        wipe(privateKey);
    }
    Evidence(const Evidence&) = delete;
    Evidence& operator=(const Evidence&) = delete;

    QByteArray key;  ///< 16 bytes; empty if none was given
    bool hasNonce = false;
    QByteArray nonce;
    QByteArray publicKey;   ///< PEM, or the 64 bytes of a P-256 point; empty if none was given
    QByteArray privateKey;  ///< PEM; empty if none was given
    std::optional<MemoryUse> memory;
    std::optional<QByteArray> app;  ///< what a memory cipher image should decrypt to
};

/// What the plain bytes of a part are for.
enum class ContentKind {
    firmware,
    module,
    optionBytes,
    blob,
    derived,  ///< follows from the rest, as a digest does
    other,
};

/// The plain bytes of one part.
struct Content {
    int part = 0;
    const char* name = "content";  ///< of the part, for formats without letters
    char letter = 0;
    bool hasAddress = false;
    std::uint64_t address = 0;
    ContentKind kind = ContentKind::other;
    QByteArray bytes;
    qsizetype ownOffset = 0;  ///< where the packaging tool writes a value of its own, whatever its input has there
    qsizetype ownSize = 0;
    qsizetype headerRoom = 0;  ///< how many zero bytes its source may have before it, as room for a header
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
