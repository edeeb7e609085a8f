#include "Preparation/src/randomFiles.h"

#include "display/Display.h"
#include "files/outputFile.h"
#include "files/wipe.h"

#include <QFile>
#include <QRandomGenerator>
#include <QThread>
#include <QTime>

namespace {

// Waits a millisecond, so that the next byte has another seed.
char clockByte() {
    const auto seed = static_cast<quint32>(QTime::currentTime().msec());
    QRandomGenerator generator(seed);
    QThread::msleep(1);
    return static_cast<char>(generator.generate() & 0xFF);
}

}  // namespace

int generateRandomFile(const QString& path, qsizetype size) {
    if (QFile::exists(path)) {
        displayMessage(MessageKind::warning, "The file %s already exists, it will be overwritten",
                       qUtf8Printable(path));
    }
    QByteArray bytes;
    const WipeOnExit wiped(bytes);
    bytes.reserve(size);
    for (qsizetype i = 0; i < size; ++i) {
        bytes.append(clockByte());
    }
    switch (replaceFile(path, bytes)) {
        case ReplaceResult::done:
            return 0;
        case ReplaceResult::cannotOpen:
            static_cast<void>(reportError("Failed to create output file : %s", qUtf8Printable(path)));
            return -1;
        case ReplaceResult::cannotWrite:
            break;
    }
    static_cast<void>(reportError("Error while writing in file : %s file", qUtf8Printable(path)));
    return -1;
}

int generateRandomFile16(const QString& path) {
    return generateRandomFile(path, 16);
}

int generateRandomFile12(const QString& path) {
    return generateRandomFile(path, 12);
}
