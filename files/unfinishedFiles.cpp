#include "files/unfinishedFiles.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdlib>

namespace {

// The names of the unfinished files. A run has only a few at a time; the desktop program may have some in each of its
// threads. If the array is full, a further file is removed only by its UnfinishedFile.
std::array<std::atomic<const char*>, 32> names;
static_assert(std::atomic<const char*>::is_always_lock_free, "signal handlers read this");

void remember(const char* name) {
    for (std::atomic<const char*>& place : names) {
        const char* none = nullptr;
        if (place.compare_exchange_strong(none, name)) {
            return;
        }
    }
}

void forget(const char* name) {
    for (std::atomic<const char*>& place : names) {
        const char* known = name;
        if (place.compare_exchange_strong(known, nullptr)) {
            return;
        }
    }
}

}  // namespace

UnfinishedFile::~UnfinishedFile() {
    if (exists()) {
        unlink(name());
        release();
    }
}

FileHandle UnfinishedFile::create(const QByteArray& folder, const QByteArray& suffix) {
    const EndingSignalsHeld held;  // no signal may arrive after the file is created and before its name is stored
    name_ = folder + ".qvora-XXXXXX" + suffix;
    FileHandle file(mkostemps(name_.data(), static_cast<int>(suffix.size()), O_CLOEXEC));
    if (file.isOpen()) {
        remember(name());
    } else {
        const int reason = errno;
        name_.clear();
        errno = reason;
    }
    return file;
}

void UnfinishedFile::release() {
    forget(name());
    name_.clear();
}

void removeUnfinishedFiles() {
    for (const std::atomic<const char*>& place : names) {
        const char* const name = place;
        if (name != nullptr) {
            unlink(name);
        }
    }
}

EndingSignalsHeld::EndingSignalsHeld() {
    sigset_t ending{};
    sigemptyset(&ending);
    for (const int signal : endingSignals) {
        sigaddset(&ending, signal);
    }
    pthread_sigmask(SIG_BLOCK, &ending, &before_);
}

EndingSignalsHeld::~EndingSignalsHeld() {
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}
