#include "Preparation/src/randomFiles.h"

#include "files/outputFile.h"
#include "files/wipe.h"

#include <QRandomGenerator>
#include <QThread>
#include <QTime>

namespace {

// Makes one byte and waits a millisecond, so that the next byte has another seed.
char clockByte() {
    const auto seed = static_cast<quint32>(QTime::currentTime().msec());
    QRandomGenerator generator(seed);
    QThread::msleep(1);
    return static_cast<char>(generator.generate() & 0xFF);
}

}  // namespace

int generateRandomFile(const QString& path, qsizetype size) {
    warnOfOverwriting(path);
    QByteArray bytes;
    const WipeOnExit wiped(bytes);
    bytes.reserve(size);
    for (qsizetype i = 0; i < size; ++i) {
        bytes.append(clockByte());
    }
    const bool isWritten = reportReplacement(
        replaceFile(path, bytes), path, {"Failed to create output file : %s", "Error while writing in file : %s file"});
    return isWritten ? randomFileWritten : randomFileFailed;
}

int generateRandomFile16(const QString& path) {
    return generateRandomFile(path, 16);
}

int generateRandomFile12(const QString& path) {
    return generateRandomFile(path, 12);
}
