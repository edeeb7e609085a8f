#pragma once

#include <QByteArrayView>

#include <unistd.h>

#include <cerrno>
#include <utility>

/// Owns the descriptor of an open file. It reads and writes without a buffer, because a buffer would keep a copy of a
/// secret.
class FileHandle {
  public:
    FileHandle() = default;
    explicit FileHandle(int descriptor) : descriptor_(descriptor) {}
    FileHandle(FileHandle&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
    FileHandle& operator=(FileHandle&& other) noexcept {
        std::swap(descriptor_, other.descriptor_);
        return *this;
    }
    ~FileHandle() { static_cast<void>(close()); }

    [[nodiscard]] bool isOpen() const { return descriptor_ >= 0; }
    [[nodiscard]] int get() const { return descriptor_; }

    /// Returns the descriptor and gives up its ownership; the caller closes it.
    [[nodiscard]] int release() { return std::exchange(descriptor_, -1); }

    /// Reads the bytes that are available, up to `size`. Returns 0 at the end, -1 on failure.
    [[nodiscard]] ssize_t read(char* bytes, std::size_t size) const {
        ssize_t count = 0;
        do {
            count = ::read(descriptor_, bytes, size);
        } while (count < 0 && errno == EINTR);
        return count;
    }

    [[nodiscard]] bool write(QByteArrayView bytes) const {
        while (!bytes.isEmpty()) {
            const ssize_t written = ::write(descriptor_, bytes.data(), static_cast<std::size_t>(bytes.size()));
            if (written < 0 && errno == EINTR) {
                continue;
            }
            if (written <= 0) {
                return false;
            }
            bytes = bytes.sliced(written);
        }
        return true;
    }

    // Some file systems report a failed write only when the file is closed.
    [[nodiscard]] bool close() { return !isOpen() || ::close(release()) == 0; }

  private:
    int descriptor_ = -1;
};
