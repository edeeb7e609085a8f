#include "files/readExactly.h"

#include "files/largePages.h"

#include <cstdlib>
#include <limits>

bool memoryAvailable(qint64 size) {
    if (size < 0 || size > std::numeric_limits<std::uint32_t>::max()) {
        return false;
    }
    // Volatile, because a compiler may drop an allocation that nobody uses and call it a success.
    void* volatile const probe = std::malloc(static_cast<std::size_t>(size) + 1);
    const bool available = probe != nullptr;
    std::free(probe);
    return available;
}

ReadStatus readExactly(QFile& device, qint64 size, QByteArray& bytes) {
    if (size > device.size() - device.pos()) {
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
