#include "files/memoryFile.h"

#include "display/Display.h"
#include "files/FileHandle.h"
#include "files/readExactly.h"

#include <sys/mman.h>
#include <sys/stat.h>

#include <array>
#include <cstring>

// The memory is an anonymous file of the system, so that readers can treat it as a file. The bytes may be a key, so
// these functions leave no copy of them on the heap or the stack.

namespace {

FileHandle makeMemoryFile() {
    return FileHandle(memfd_create("input", MFD_CLOEXEC));
}

bool openOn(FileHandle memory, QFile& device, QIODevice::OpenMode mode) {
    device.close();
    return lseek(memory.get(), 0, SEEK_SET) == 0 && device.open(memory.release(), mode, QFileDevice::AutoCloseHandle);
}

/// Copies bytes from `pipe` to `memory`, until the pipe ends or `size` is above the limit. False if `pipe` can't be
/// read or `memory` can't be written.
bool copyPipe(const FileHandle& pipe, const FileHandle& memory, qint64 limit, qint64& size) {
    std::array<char, 65536> piece;
    ssize_t count = 1;
    bool isGood = true;
    while (isGood && count > 0 && size <= limit) {
        count = pipe.read(piece.data(), piece.size());
        isGood = count >= 0 && memory.write(QByteArrayView(piece.data(), count));
        size += count;
    }
    explicit_bzero(piece.data(), piece.size());
    return isGood;
}

}  // namespace

bool openOnBytes(QFile& device, QByteArrayView bytes) {
    FileHandle memory = makeMemoryFile();
    return memory.write(bytes) && openOn(std::move(memory), device, QIODevice::ReadOnly);
}

PipeStatus holdPipe(QFile& device, qint64 limit) {
    struct stat status {};
    // A file that the system generates during the read, as in /proc, is a regular file with the size 0. It is read like
    // a pipe.
    if (fstat(device.handle(), &status) == 0 && S_ISREG(status.st_mode) && status.st_size > 0) {
        return PipeStatus::done;
    }
    FileHandle memory = makeMemoryFile();
    qint64 size = 0;
    const bool isCopied = copyPipe(FileHandle(dup(device.handle())), memory, limit, size);
    if (size > limit) {
        return PipeStatus::tooLong;
    }
    return isCopied && openOn(std::move(memory), device, device.openMode()) ? PipeStatus::done : PipeStatus::failed;
}

bool takePipeWhole(QFile& device, const QString& shown) {
    switch (holdPipe(device, maxInputPipe)) {
        case PipeStatus::done:
            return true;
        case PipeStatus::tooLong:
            return reportError("The file %s does not end: more than 256 MiB came from it", qUtf8Printable(shown));
        case PipeStatus::failed:
            break;
    }
    return reportError("Unable to read the file %s", qUtf8Printable(shown));
}
