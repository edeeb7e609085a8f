#pragma once

#include "files/wipe.h"

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <optional>
#include <vector>

namespace inspect {

/// The address of a memory cipher image, and its encryption mode.
struct MemoryUse {
    std::uint32_t address = 0;
    std::uint32_t mode = 0;
};

/// The user's keys and files that prove a file. The destructor wipes the keys.
struct Evidence {
    Evidence() = default;
    ~Evidence() {
        wipe(key);
        wipe(privateKey);
    }
    Evidence(const Evidence&) = delete;
    Evidence& operator=(const Evidence&) = delete;

    QByteArray key;   ///< 16 bytes; empty if none was given
    QString keyFile;  ///< the file that `key` was read from
    bool hasNonce = false;
    QByteArray nonce;
    QByteArray publicKey;   ///< PEM, or the 64 bytes of a P-256 point; empty if none was given
    QString publicKeyFile;  ///< the file that `publicKey` was read from
    QByteArray privateKey;  ///< PEM; empty if none was given
    std::optional<MemoryUse> memory;
    std::optional<QByteArray> app;  ///< the expected plaintext of a memory cipher image
    bool isTrial = false;           ///< the question is only whether the key fits, so one encrypted part is enough
};

/// The purpose of a part's plain bytes.
enum class ContentKind {
    firmware,
    module,
    optionBytes,
    blob,
    backup,
    derived,  ///< computed from the rest of the file, such as a digest
    other,
};

/// The plain bytes of one part.
struct Content {
    int part = 0;
    const char* name = "content";  ///< the name of the part, for formats without letters
    char letter = 0;
    const char* letterName = nullptr;
    bool hasAddress = false;
    std::uint64_t address = 0;
    ContentKind kind = ContentKind::other;
    QByteArray bytes;
    qsizetype ownOffset = 0;  ///< offset of the bytes that the packaging tool overwrites with its own value
    qsizetype ownSize = 0;
    qsizetype headerRoom = 0;  ///< number of zero bytes at the start of the source that may be room for a header
    qsizetype tailRoom = 0;    ///< number of zero bytes at the end that the source may lack
};

/// Whether a device runs the content from its memory.
[[nodiscard]] inline bool isCode(const Content& content) {
    return content.kind == ContentKind::firmware || content.kind == ContentKind::module;
}

/// The plain contents of a file's parts. The destructor wipes them.
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
