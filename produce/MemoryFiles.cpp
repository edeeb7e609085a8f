#include "produce/MemoryFiles.h"

#include "files/FileHandle.h"
#include "produce/DeviceTask.h"

#include <sys/mman.h>
#include <unistd.h>

namespace produce {

MemoryFiles::~MemoryFiles() {
    for (int i = 0; i < count_; ++i) {
        close(firstMemoryFile + i);
    }
}

bool MemoryFiles::make(const QList<QByteArray>& contents) {
    if (contents.size() > mostMemoryFiles) {
        return false;
    }
    for (const QByteArray& content : contents) {
        const FileHandle file(memfd_create("qvora", 0));
        if (!file.isOpen() || !file.write(content) || dup2(file.get(), firstMemoryFile + count_) < 0) {
            return false;
        }
        ++count_;
    }
    return true;
}

}  // namespace produce
