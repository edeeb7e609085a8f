#include "ledger/Watchdog.h"

#include <QMutexLocker>

#include <csignal>

#include <sys/socket.h>

namespace ledger {

Watchdog::~Watchdog() {
    {
        const QMutexLocker<QMutex> locker(&mutex_);
        ends_ = true;
        ended_.wakeAll();
    }
    wait();
}

void Watchdog::arm(int socket, int seconds) {
    if (!isRunning()) {
        start();
    }
    const QMutexLocker<QMutex> locker(&mutex_);
    socket_ = socket;
    deadline_.setRemainingTime(qint64{seconds} * 1000);
    hasFired_ = false;
}

bool Watchdog::disarm() {
    const QMutexLocker<QMutex> locker(&mutex_);
    socket_ = -1;
    return hasFired_;
}

void Watchdog::run() {
    // This thread blocks all signals, so that the caller's threads receive them.
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, nullptr);
    // The thread looks twice a second, so that arming costs the caller no switch of threads.
    constexpr unsigned long tick = 500;
    const QMutexLocker<QMutex> locker(&mutex_);
    while (!ends_) {
        ended_.wait(&mutex_, tick);
        if (socket_ >= 0 && deadline_.hasExpired()) {
            shutdown(socket_, SHUT_RDWR);
            socket_ = -1;
            hasFired_ = true;
        }
    }
}

}  // namespace ledger
