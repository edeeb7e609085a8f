#include "Preparation/src/DCU/DcuEncryption.h"

#include "Preparation/src/DCU/memoryCipherFast.h"
#include "files/largePages.h"
#include "files/memoryFile.h"
#include "files/outputFile.h"
#include "files/readExactly.h"
#include "files/wipe.h"

#include <QFile>

#include <algorithm>
#include <cstring>
#include <limits>

namespace {

constexpr qsizetype masterKeySize = 16;

std::span<const std::uint8_t> bytesOf(const QByteArray& bytes) {
    return {reinterpret_cast<const std::uint8_t*>(bytes.constData()), static_cast<std::size_t>(bytes.size())};
}

const char* announcement(std::uint32_t mode) {
    switch (mode) {
        case memoryCipherBlockNormal:
            return "Encrypting data using block normal mode...";
        case memoryCipherBlockFast:
            return "Encrypting data using block fast mode";
        default:
            return "Encrypting data using Noekeon mode";
    }
}

// The first `size` bytes of `file`, or all its bytes if it has fewer.
QByteArray firstBytes(QFile& file, qint64 size) {
    QByteArray content(std::min(size, file.size()), Qt::Uninitialized);
    preferLargePages(content);
    content.truncate(std::max<qint64>(file.read(content.data(), content.size()), 0));
    return content;
}

// Copies the bytes of `from` after `offset`. It copies piece by piece, because the file may have any size.
bool copyTail(QFile& from, qint64 offset, const PieceWriter& write) {
    constexpr qint64 pieceSize = qint64{1} << 20;
    const qint64 size = from.size();
    if (size > offset && !from.seek(offset)) {
        return false;
    }
    while (offset < size) {
        const QByteArray piece = from.read(std::min(pieceSize, size - offset));
        if (piece.isEmpty() || !write(piece)) {
            return false;
        }
        offset += piece.size();
    }
    return true;
}

}  // namespace

DcuEncryption::~DcuEncryption() {
    wipe(key);
    explicit_bzero(derivedKeys.data(), derivedKeys.size());
}

bool DcuEncryption::encryptBinary(const QString& appPathGiven, const QString& keyPathGiven,
                                  const QString& directoryGiven, std::uint32_t startAddressGiven,
                                  std::uint32_t modeGiven) {
    display->displayMessage(MessageKind::normal, "Starting DCU Encryption of the following file: %s",
                            qUtf8Printable(appPathGiven));
    display->displayMessage(MessageKind::normal, "Setting Encryption parameters...");
    if (appPathGiven.isEmpty() || keyPathGiven.isEmpty() || directoryGiven.isEmpty() || startAddressGiven == 0) {
        display->displayMessage(MessageKind::error, "-dcu command is missing some parameters.");
        display->displayMessage(MessageKind::error, "Encryption aborted.");
        return false;
    }
    appPath = appPathGiven;
    keyPath = keyPathGiven;
    directory = directoryGiven;
    startAddress = startAddressGiven;
    mode = modeGiven;
    if (!readInputs()) {
        return false;
    }
    encrypt();
    return writeImage();
}

bool DcuEncryption::readInputs() {
    QFile application(appPath);
    if (application.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        if (!readImage(application)) {
            return false;
        }
    } else {
        // A missing application is reported three times: for its size, for its content, and for its size again.
        for (const char* const text : {"Failed to open file.", "Failed to open file", "Failed to open file."}) {
            display->displayMessage(MessageKind::error, "%s", text);
        }
    }
    QFile keyFile(keyPath);
    if (!keyFile.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        display->displayMessage(MessageKind::error, "Failed to open file");
    } else if (takePipeWhole(keyFile, keyPath)) {
        key = firstBytes(keyFile, masterKeySize);
    } else {
        return false;
    }
    if (key.size() < masterKeySize) {
        display->displayMessage(MessageKind::error, "The key file %s must hold at least 16 bytes",
                                qUtf8Printable(keyPath));
        return false;
    }
    return true;
}

bool DcuEncryption::readImage(QFile& application) {
    if (!takePipeWhole(application, appPath)) {
        return false;
    }
    if (application.size() > std::numeric_limits<std::int32_t>::max()) {
        display->displayMessage(MessageKind::error, "The file %s is too large", qUtf8Printable(appPath));
        return false;
    }
    dataSize = static_cast<std::int32_t>(application.size());
    if (!canAllocate(qint64{2} * dataSize)) {  // the image and the encrypted image
        display->displayMessage(MessageKind::error, "Unable to allocate memory");
        return false;
    }
    data = firstBytes(application, dataSize);
    if (data.size() != dataSize) {
        display->displayMessage(MessageKind::error, "Error while reading the file %s", qUtf8Printable(appPath));
        return false;
    }
    return true;
}

void DcuEncryption::encrypt() {
    display->displayMessage(MessageKind::normal, "%s", announcement(mode));
    const qsizetype groups = dataSize / qsizetype{memoryCipherGroupSize};
    const qsizetype whole = groups * qsizetype{memoryCipherGroupSize};
    encrypted = QByteArray(dataSize, Qt::Uninitialized);
    preferLargePages(encrypted);
    char* const result = encrypted.data();
    std::fill(result + whole, result + dataSize, '\0');
    if (groups == 0) {
        return;
    }
    const MasterKey masterKey = bytesOf(key).first<masterKeySize>();
    encryptGroups(mode, masterKey, startAddress, bytesOf(data),
                  {reinterpret_cast<std::uint8_t*>(result), static_cast<std::size_t>(dataSize)});
    currentAddress = startAddress + static_cast<std::uint32_t>(whole - qsizetype{memoryCipherGroupSize});
    derivedKeys = deriveKeys(mode, masterKey, currentAddress);
}

bool DcuEncryption::writeImage() {
    const QString path = directory + QStringLiteral("/Encrypted_Image.bin");
    QFile old(path);
    if (canReadBack(path) && !old.open(QIODevice::ReadWrite | QIODevice::ExistingOnly)) {
        display->displayMessage(MessageKind::error, "Failed to open file");
        return false;
    }
    // The old file is replaced as a whole, so that it is unchanged after a failure. Its bytes after the end of the
    // image are copied to the new file.
    const auto writeContent = [this, &old](const PieceWriter& write) {
        return write(encrypted) && (!old.isOpen() || copyTail(old, dataSize, write));
    };
    if (!reportReplacement(replaceFileBy(path, writeContent), path,
                           {"Failed to open file", "Error while writing the file %s"})) {
        return false;
    }
    display->displayMessage(MessageKind::normal, "Image generated in the following path: %s", qUtf8Printable(path));
    return true;
}
