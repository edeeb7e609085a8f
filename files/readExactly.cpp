#include "files/readExactly.h"

#include "files/largePages.h"
#include "files/memoryFile.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

bool canAllocate(qint64 size) {
    if (size < 0) {
        return false;
    }
    // Volatile, because a compiler may drop an allocation that nobody uses and call it a success.
    void* volatile const probe = std::malloc(static_cast<std::size_t>(size) + 1);
    const bool available = probe != nullptr;
    std::free(probe);
    return available;
}

bool memoryAvailable(qint64 size) {
    return size <= std::numeric_limits<std::uint32_t>::max() && canAllocate(size);
}

ReadStatus readExactly(QFile& device, qint64 size, QByteArray& bytes) {
    // The length is asked from the system each time; a short read finds a small claim false for less.
    constexpr qint64 smallSize = 4096;
    if (size > smallSize && size > device.size() - device.pos()) {
        return ReadStatus::cutShort;
    }
    if (!memoryAvailable(size)) {
        return ReadStatus::noMemory;
    }
    QByteArray content(size, Qt::Uninitialized);
    preferLargePages(content);
    if (device.read(content.data(), size) != size) {
        return ReadStatus::cutShort;
    }
    bytes = std::move(content);
    return ReadStatus::done;
}

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
    if (content.size() < size && !file.isTextModeEnabled()) {  // text may lose its carriage returns
        return WholeStatus::failed;
    }
    bytes = std::move(content);
    return WholeStatus::done;
}

bool readUpTo(QFile& file, qint64 limit, QByteArray& bytes) {
    return readWhole(file, limit, bytes) == WholeStatus::done;
}
