#include "tests/ledger/CuttingProxy.h"

#include <QByteArray>
#include <QFile>
#include <QMutexLocker>

#include <algorithm>
#include <cstring>
#include <utility>

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

sockaddr_un addressIn(const QString& folder) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const QByteArray path = QFile::encodeName(folder + QStringLiteral("/.s.PGSQL.5432"));
    std::memcpy(address.sun_path, path.constData(),
                std::min(static_cast<std::size_t>(path.size()), sizeof address.sun_path - 1));
    return address;
}

const sockaddr* plain(const sockaddr_un& address) {
    return reinterpret_cast<const sockaddr*>(&address);
}

bool sendAll(int socket, const char* bytes, ssize_t size) {
    ssize_t sent = 0;
    while (sent < size) {
        const ssize_t now = send(socket, bytes + sent, static_cast<std::size_t>(size - sent), MSG_NOSIGNAL);
        if (now <= 0) {
            return false;
        }
        sent += now;
    }
    return true;
}

}  // namespace

CuttingProxy::CuttingProxy(const QString& folder, const QString& serverFolder) : serverFolder_(serverFolder) {
    listener_ = socket(AF_UNIX, SOCK_STREAM, 0);
    const sockaddr_un address = addressIn(folder);
    if (pipe(stop_) != 0 || bind(listener_, plain(address), sizeof address) != 0 || listen(listener_, 8) != 0) {
        qFatal("the proxy cannot listen");
    }
    start();
}

CuttingProxy::~CuttingProxy() {
    close(stop_[1]);
    wait();
    close(stop_[0]);
    close(listener_);
}

void CuttingProxy::cutNext(Cut cut) {
    const QMutexLocker<QMutex> locker(&mutex_);
    cut_ = cut;
}

CuttingProxy::Cut CuttingProxy::takeCut() {
    const QMutexLocker<QMutex> locker(&mutex_);
    return std::exchange(cut_, Cut::never);
}

void CuttingProxy::run() {
    for (;;) {
        pollfd waited[] = {{listener_, POLLIN, 0}, {stop_[0], POLLIN, 0}};
        poll(waited, 2, -1);
        if (waited[1].revents != 0) {
            return;
        }
        const int client = accept(listener_, nullptr, nullptr);
        const int server = socket(AF_UNIX, SOCK_STREAM, 0);
        const sockaddr_un address = addressIn(serverFolder_);
        if (::connect(server, plain(address), sizeof address) == 0) {
            forward(client, server);
        }
        close(client);
        close(server);
    }
}

void CuttingProxy::forward(int client, int server) {
    char bytes[65536];
    bool drops = false;
    for (;;) {
        pollfd waited[] = {{client, POLLIN, 0}, {server, POLLIN, 0}, {stop_[0], POLLIN, 0}};
        poll(waited, 3, -1);
        if (waited[2].revents != 0) {
            return;
        }
        if (waited[0].revents != 0) {
            const ssize_t size = recv(client, bytes, sizeof bytes, 0);
            if (size <= 0) {
                return;
            }
            // A query: 'Q', its length, "COMMIT" and NUL.
            if (size == 12 && std::memcmp(bytes,
                                          "Q\0\0\0\x0B"
                                          "COMMIT",
                                          12) == 0) {
                const Cut cut = takeCut();
                if (cut == Cut::beforeCommit) {
                    return;
                }
                drops = cut == Cut::afterCommit;
            }
            if (!sendAll(server, bytes, size)) {
                return;
            }
        }
        if (waited[1].revents != 0) {
            const ssize_t size = recv(server, bytes, sizeof bytes, 0);
            if (size <= 0 || drops || !sendAll(client, bytes, size)) {
                return;
            }
        }
    }
}
