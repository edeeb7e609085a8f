#pragma once

#include "display/Display.h"
#include "files/FileELF.h"
#include "files/FileOBK.h"
#include "formats/FileECSV.h"
#include "formats/FileMCSV.h"
#include "formats/FileTBI.h"
#include "preparation-interface/ExtBinInfo.h"
#include "preparation-interface/SignedImage.h"
#include "preparation-interface/pvsTbiParameters.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <cstdint>
#include <memory>
#include <string>

/// The cryptographic assembly of images, signatures and the card service.
///
/// Integers are little-endian in every byte array that is passed or returned. Images are encrypted with AES-128-GCM
/// (NIST SP 800-38D) under a 16-byte key. An operation that fails reports the reason through the display callback. It
/// returns an empty array, false, or a number other than the one documented for success. The caller keeps ownership of
/// all records.
class Preparation {
  public:
    Preparation();
    ~Preparation();
    Preparation(const Preparation&) = delete;
    Preparation& operator=(const Preparation&) = delete;

    /// Sends all further messages of the library to `callback`. The caller calls this first.
    void setDisplayCallback(DisplayCallback callback);

    /// Makes an install image and returns its bytes. Every pointer may be null. `ramSize` (bytes) and
    /// `continuationToken` (address) are 0 if absent. `externalBinInfos` contains one record for each segment of
    /// `externalFirmware`.
    [[nodiscard]] QByteArray TBIPreparation(FileData* firmware, bool multiImageDevice, QList<FileOBK*> obkFiles,
                                            FileData* optionBytes, const QByteArray& key, const QByteArray& nonce,
                                            std::uint8_t imageVersion, bool hash, const QList<FileData*> modules,
                                            std::uint32_t ramSize, std::uint32_t continuationToken, FileTBI* xtbi,
                                            FileMCSV* mcsv, FileECSV* ecsv, std::uint32_t deviceId,
                                            FileData* externalFirmware, FileData* keyArea, FileData* diversification,
                                            QList<ExtBinInfo> externalBinInfos);

    /// Makes an update image of the firmware's one segment: a 64-byte header, then the encrypted segment.
    [[nodiscard]] QByteArray TBUPreparation(FileData* firmware, const QByteArray& key, const QByteArray& nonce,
                                            std::uint16_t imageVersion);

    /// Encrypts the secrets `blob` of `blobSize` bytes and binds them to the OEM key at `oemKeyPath` (NUL-terminated
    /// UTF-8). A ".pem" file contains a P-256 public key. Any other file contains a 32-byte root key table hash.
    /// `nonce` has 16 bytes.
    [[nodiscard]] QByteArray PVSPayloadPreparation(const QByteArray& blob, const QByteArray& key,
                                                   const QByteArray& nonce, unsigned char* oemKeyPath,
                                                   std::uint32_t blobSize);

    /// Makes a provisioning image in install-image format.
    [[nodiscard]] QByteArray pvsTbiPreparation(pvsTbiParameters parameters);

    /// Makes the backup image that the JSON document at `jsonPath` describes, writes it to `outputPath`, reads it back
    /// and lists it. Returns 0 on success.
    [[nodiscard]] std::int32_t backupPreparation(QString jsonPath, QString outputPath);

    /// Signs the image's signed part and footer head with the P-256 private key (PEM) at `keyPath` (NUL-terminated
    /// UTF-8) by ECDSA with SHA-256 (FIPS 186-4) and verifies the signature. SignedImage::createSignedImage later
    /// writes the public key, X then Y, to the folder of the private key. Callers always pass true and null as the last
    /// two arguments.
    [[nodiscard]] bool signECDSA(unsigned char* keyPath, SignedImage** image, bool writePublicKey, char* reserved);

    /// Programs the card in `slot` (the position among the slots that hold a token, from 0) with key, nonce, counter,
    /// identifier and, if not empty, personalization data. A card that is already programmed is rejected.
    [[nodiscard]] bool HSMProvisioning(std::int32_t slot, const QByteArray& key, const QByteArray& nonce,
                                       std::uint32_t maxCounter, const QString& firmwareId, bool reserved,
                                       const QByteArray& persoData);

    /// Reads the version byte of the card in `slot`.
    [[nodiscard]] bool getHSMVersionAPI(std::int32_t slot, unsigned char* version);

    /// Reads the card in `slot`. `firmwareId` has room for 17 bytes and `type` for 4; both receive NUL-terminated text.
    [[nodiscard]] bool getHSMInfo(std::int32_t slot, unsigned char* firmwareId, unsigned int& counter,
                                  unsigned char& state, unsigned char* type, unsigned char* version);

    /// Derives the 32-byte secret of personalization data into the buffer that `table[0]` points to: ECDH on
    /// prime256v1 and the ANSI X9.63 key derivation with SHA-256 (SEC 1, 3.6.1) without shared info.
    [[nodiscard]] bool SignECDH_KDF2(unsigned char** table);

    /// Encrypts `length` bytes with AES-128-GCM without additional data: 16-byte key, 12-byte IV, 16-byte tag. Returns
    /// the number of encrypted bytes, or -1. A key of zeros is rejected, because a failed derivation leaves a buffer of
    /// zeros unchanged.
    [[nodiscard]] std::int32_t encryptPersoData(unsigned char* input, std::int32_t length, unsigned char* key,
                                                unsigned char* iv, unsigned char* output, unsigned char* tag);

    /// Writes a module file to `outputPath`: the magic, `loadAddress`, then the load image of `elf` with the gaps
    /// between its segments filled with 0xFF. The other arguments exist for a closed library that replaces this one.
    /// True on success.
    [[nodiscard]] bool KMDPreparation(const std::string& outputPath, FileELF* elf, unsigned char* reserved1,
                                      bool reserved2, std::uint32_t loadAddress, const std::string& reserved3,
                                      const QByteArray& reserved4, const QByteArray& reserved5,
                                      const QByteArray& reserved6);
};
