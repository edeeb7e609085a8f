#pragma once

#include "inspect/formats.h"

namespace inspect {

/// The key files of a folder: image keys of 16 bytes, and public keys in the forms of `Evidence::publicKey`. Other
/// files are ignored. The destructor wipes the keys.
class KeyFolder {
  public:
    KeyFolder() = default;
    ~KeyFolder();
    KeyFolder(const KeyFolder&) = delete;
    KeyFolder& operator=(const KeyFolder&) = delete;

    /// Reads the folder at `path`. On failure `fault` says why.
    [[nodiscard]] bool read(const QString& path, QString& fault);

    /// Replaces the keys of `evidence` by the first ones, in the order of their names, that fit the file. A key that no
    /// file provides becomes empty. `description` is the result of `describe`.
    void fit(const Source& source, const Description& description, Evidence& evidence) const;

  private:
    struct Key {
        QString file;
        QByteArray bytes;
        bool isPublic;
    };
    std::vector<Key> keys_;
};

/// The keys of `evidence` that a good check of the description or of an inner one was made with. `siteSecret` makes the
/// fingerprints of symmetric keys; it may be empty.
[[nodiscard]] std::vector<KeyUse> usedKeys(const Description& description, const Evidence& evidence,
                                           QByteArrayView siteSecret);

}  // namespace inspect
