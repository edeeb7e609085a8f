#include "Preparation/primitives/keyFiles.h"

#include "files/wipe.h"

#include <QFile>

namespace {

constexpr qsizetype maxKeyFileSize = qsizetype{1} << 20;

}  // namespace

bool readKeyFile(const QString& path, QByteArray& content, KeyFileFault* fault) {
    QFile file(path);
    const auto failed = [&file, fault] {
        if (fault != nullptr) {
            *fault = {file.isOpen(), file.errorString()};
        }
        return false;
    };
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        return failed();
    }
    // The array is allocated once. One that grows would leave copies of the key in memory.
    const qsizetype room = file.isSequential() ? maxKeyFileSize : qMin(maxKeyFileSize, file.size());
    QByteArray bytes(room, '\0');
    qsizetype used = 0;
    qint64 count = 1;
    while (count > 0 && used < room) {
        count = file.read(bytes.data() + used, room - used);
        used += qMax(count, qint64{0});
    }
    if (count < 0) {
        wipe(bytes);
        return failed();
    }
    bytes.truncate(used);
    content = std::move(bytes);
    return true;
}
