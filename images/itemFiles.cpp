#include "images/itemFiles.h"

#include "images/imageLayout.h"

#include "files/outputFile.h"
#include "files/readExactly.h"
#include "files/readWhole.h"

#include <QFile>

#include <algorithm>
#include <limits>

namespace {

/// The size field of a record has 32 bits and includes the nonce.
constexpr qint64 maxFileSize = std::numeric_limits<std::uint32_t>::max() - nonceSize;
constexpr qint64 maxPipeSize = qint64{1} << 20;  // a device file may have no end
constexpr qint64 roomForHeaders = 4096;  ///< for the headers of the data's two copies, in the segment and in the record

bool checkSizeUnderWrapping(const ProtectedItem& item, const QString& path, qint64 size) {
    if (item.value(keySizeField) == keySize128 && size != 16) {
        return reportError("[%s]\nWrapping is activated with KeySize 128-bit, file must have the size 16 Bytes.\n%s ",
                           qUtf8Printable(item.Name), qUtf8Printable(path));
    }
    if (item.value(keySizeField) == keySize256 && size != 32) {
        return reportError("[%s]\nWrapping is activated with KeySize 256-bit, file must have the size 32 Bytes.\n%s ",
                           qUtf8Printable(item.Name), qUtf8Printable(path));
    }
    if (item.value(algorithmField) == algorithmCtr) {
        return reportError("[%s]\nAlgorithm AES CTR is not supported with Wrapping option.", qUtf8Printable(item.Name));
    }
    return true;
}

/// Opens a file without a buffer, because a buffer would keep a copy of the secret.
bool openItemFile(QFile& file) {
    return file.open(QIODevice::ReadOnly | QIODevice::Unbuffered) ||
           reportError("Failed to open %s file.", qUtf8Printable(file.fileName()));
}

}  // namespace

bool chooseNonce(const ProtectedItem& item, const QString& path, MessageKind missingKind, QString& noncePath) {
    noncePath = item.Nonce;
    if (hasNonce(item) && noncePath.isEmpty()) {
        displayMessage(missingKind, "[%s]\nNonce file is mandatory with AES-CBC and AES-CTR algorithm.\n%s",
                       qUtf8Printable(item.Name), qUtf8Printable(path));
        return false;
    }
    if (item.value(algorithmField) == algorithmEcb && !noncePath.isEmpty()) {
        displayMessage(MessageKind::warning,
                       "[%s]\nNonce file is not empty, it will be ignored with AES-ECB algorithm.\n%s",
                       qUtf8Printable(item.Name), qUtf8Printable(noncePath));
        noncePath.clear();
    }
    return true;
}

QString resolvedPath(const QString& folder, const QString& path) {
    return path.startsWith(u'.') ? folder + u'/' + path : path;
}

bool sparesFiles(const QString& outputPath, const ProtectedItem& item, std::initializer_list<QString> paths) {
    const auto isOutput = [&outputPath](const QString& path) {
        return !path.isEmpty() && isSameFile(outputPath, path);
    };
    return std::none_of(paths.begin(), paths.end(), isOutput) ||
           reportError("[%s]\nThe output file would replace a file of this item.\n%s", qUtf8Printable(item.Name),
                       qUtf8Printable(outputPath));
}

bool readNonce(const ProtectedItem& item, const QString& path, QByteArray& nonce) {
    QFile file(path);
    if (!openItemFile(file)) {
        return false;
    }
    const bool isRead = readWhole(file, nonceSize, nonce) == WholeStatus::done && nonce.size() == nonceSize;
    return isRead || reportError("[%s]\nNonce binary size must be 16 Bytes.\n%s", qUtf8Printable(item.Name),
                                 qUtf8Printable(path));
}

bool checkItemSize(const ProtectedItem& item, const QString& path, qint64 size) {
    switch (item.value(encWrapField)) {
        case encWrapNone:
            return size % 4 == 0 || reportError("[%s]\nNo enryption is activated, file is not 32-bit aligned.\n%s ",
                                                qUtf8Printable(item.Name), qUtf8Printable(path));
        case encWrapEncryption:
            return size % 16 == 0 || reportError("[%s]\nEnryption is activated, file is not 128-bit aligned.\n%s ",
                                                 qUtf8Printable(item.Name), qUtf8Printable(path));
        case encWrapWrapping:
            return checkSizeUnderWrapping(item, path, size);
        default:
            return true;
    }
}

bool readItemData(const ProtectedItem& item, const QString& path, const QByteArray& nonce, QByteArray& data) {
    QFile file(path);
    if (!openItemFile(file)) {
        return false;
    }
    QByteArray content;
    const WholeStatus status = readWhole(file, file.size() > 0 ? maxFileSize : maxPipeSize, content);
    const WipeOnExit wipeContent(content);
    if (status == WholeStatus::failed) {
        return reportError("[%s]\nThe file can't be read.\n%s", qUtf8Printable(item.Name), qUtf8Printable(path));
    }
    if (status != WholeStatus::done || !canAllocate(2 * content.size() + roomForHeaders)) {
        return reportError("[%s]\nThe file is too large.\n%s", qUtf8Printable(item.Name), qUtf8Printable(path));
    }
    if (!checkItemSize(item, path, content.size())) {
        return false;
    }
    data.reserve(nonce.size() + content.size());
    data.append(nonce).append(content);
    return true;
}
