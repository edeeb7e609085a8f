#include "files/readExactly.h"

#include "files/largePages.h"

#include <cstdlib>
#include <limits>

bool canAllocate(qint64 size) {
    if (size < 0) {
        return false;
    }
    // Volatile, because a compiler may remove an unused allocation and assume that it succeeded.
    void* volatile const probe = std::malloc(static_cast<std::size_t>(size) + 1);
    const bool available = probe != nullptr;
    std::free(probe);
    return available;
}

bool memoryAvailable(qint64 size) {
    return size <= std::numeric_limits<std::uint32_t>::max() && canAllocate(size);
}

ReadStatus readExactly(QFile& device, qint64 size, QByteArray& bytes) {
    // For a small size, a short read detects missing bytes. This costs less than asking the system for the length.
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
