#pragma once

#include "files/FileHandle.h"
#include "produce/DeviceTask.h"

#include <array>

namespace produce {

/// Waits for the next message. `bytes` keeps the bytes after it for the next call. False if the other end has closed
/// the socket or sent something else.
template <typename Message>
[[nodiscard]] bool receive(const FileHandle& socket, QByteArray& bytes, Message& message) {
    for (;;) {
        const Unpacking result = takeMessage(bytes, message);
        if (result != Unpacking::incomplete) {
            return result == Unpacking::done;
        }
        std::array<char, 65536> buffer;  // NOLINT(cppcoreguidelines-pro-type-member-init): read fills it
        const ssize_t count = socket.read(buffer.data(), buffer.size());
        if (count <= 0) {
            return false;
        }
        bytes.append(buffer.data(), count);
    }
}

}  // namespace produce
