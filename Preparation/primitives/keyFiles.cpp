#include "Preparation/primitives/keyFiles.h"

#include "files/wipe.h"

#include <QFile>

namespace {

constexpr qsizetype maxKeyFileSize = qsizetype{1} << 20;

}  // namespace

bool readKeyFile(const QString& path, QByteArray& content) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        return false;
    }
    // The room is taken once: an array that grows would leave its smaller selves behind.
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
        return false;
    }
    bytes.truncate(used);
    content = std::move(bytes);
    return true;
}
