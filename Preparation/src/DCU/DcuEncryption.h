#pragma once

#include "Preparation/src/DCU/memoryCipher.h"
#include "display/Display.h"

#include <QByteArray>
#include <QString>

#include <cstdint>

class QFile;

/// Makes an encrypted image for memory that a device reads through its memory cipher engine. Reads a plain binary and a
/// key file, encrypts each whole group of 32 bytes for its address on the device, and writes "Encrypted_Image.bin". An
/// object is used for one call only.
class DcuEncryption {
  public:
    DcuEncryption() = default;
    ~DcuEncryption();
    DcuEncryption(const DcuEncryption&) = delete;
    DcuEncryption& operator=(const DcuEncryption&) = delete;

    /// Encrypts the file `appPath` under the first 16 bytes of the file `keyPath` into the folder `directory`.
    /// `startAddress` is the address of the first byte on the device; 0 counts as absent. `mode` is a MemoryCipherMode.
    ///
    /// The result is as long as the image. Its bytes after the last whole group are zero. If an older output file is
    /// longer, its remaining bytes stay at the end. The output may replace either input. An image that can't be opened
    /// is reported and counts as empty. Returns true if the output was written; otherwise the fault was reported.
    [[nodiscard]] bool encryptBinary(const QString& appPath, const QString& keyPath, const QString& directory,
                                     std::uint32_t startAddress, std::uint32_t mode);

    Display* display = Display::getInstance();
    QByteArray data;                   ///< plain image
    QByteArray key;                    ///< master key, from the key file
    QByteArray encrypted;              ///< result, as long as the image
    DerivedKeys derivedKeys{};         ///< block keys of the group at `currentAddress`
    std::uint32_t currentAddress = 0;  ///< the last group that was encrypted
    std::int32_t dataSize = 0;         ///< size of the image file in bytes
    std::uint32_t startAddress = 0;
    QString keyPath;
    QString appPath;
    QString directory;
    std::uint32_t mode = memoryCipherBlockNormal;

  private:
    [[nodiscard]] bool readInputs();
    [[nodiscard]] bool readImage(QFile& application);
    void encrypt();
    [[nodiscard]] bool writeImage();
};
