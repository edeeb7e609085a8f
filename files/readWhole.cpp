#include "files/readWhole.h"

#include "files/memoryFile.h"
#include "files/readExactly.h"

#include <algorithm>

WholeStatus readWhole(QFile& file, qint64 limit, QByteArray& bytes) {
    switch (holdPipe(file, limit)) {
        case PipeStatus::done:
            break;
        case PipeStatus::tooLong:
            return WholeStatus::tooLong;
        case PipeStatus::failed:
            return WholeStatus::failed;
    }
    const qint64 size = file.size();
    if (size > limit) {
        return WholeStatus::tooLong;
    }
    if (!canAllocate(size)) {
        return WholeStatus::noMemory;
    }
    QByteArray content(size, Qt::Uninitialized);
    content.truncate(std::max<qint64>(file.read(content.data(), size), 0));
    if (content.size() < size && !file.isTextModeEnabled()) {  // text mode drops carriage returns
        return WholeStatus::failed;
    }
    bytes = std::move(content);
    return WholeStatus::done;
}

bool readUpTo(QFile& file, qint64 limit, QByteArray& bytes) {
    return readWhole(file, limit, bytes) == WholeStatus::done;
}
