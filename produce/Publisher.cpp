#include "produce/Publisher.h"

#include <QMutexLocker>

#include <sys/eventfd.h>

namespace produce {

Publisher::Publisher(const Line& line) : line_(line), signal_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
}

Publisher::~Publisher() {
    giveUp();
    if (isStarted_) {
        add({});
        pthread_join(thread_, nullptr);
    }
}

bool Publisher::start(qint64& recovered, QString& fault) {
    // A QThread isn't used: its wait() returns before libraries have freed their data of the thread, such as OpenSSL's
    // random generators, and its start() doesn't report a failure.
    const auto run = [](void* publisher) -> void* {
        static_cast<Publisher*>(publisher)->loop();
        return nullptr;
    };
    isStarted_ = pthread_create(&thread_, nullptr, run, this) == 0;
    if (!isStarted_) {
        fault = QStringLiteral("the thread of the ledger can't be started");
        return false;
    }
    Work open;
    open.kind = Work::Kind::open;
    add(std::move(open));
    QMutexLocker lock(&mutex_);
    while (!hasAnswered_) {
        isOpened_.wait(&mutex_);
    }
    recovered = recovered_;
    fault = fault_;
    return isOpen_;
}

void Publisher::claim(QList<DeviceRow> rows) {
    ++claims_;
    Work work;
    work.kind = Work::Kind::claim;
    work.rows = std::move(rows);
    add(std::move(work));
}

void Publisher::finish(QList<MadeDevice> devices) {
    ++finishes_;
    Work work;
    work.kind = Work::Kind::finish;
    work.devices = std::move(devices);
    add(std::move(work));
}

void Publisher::end() {
    ++ends_;
    Work work;
    work.kind = Work::Kind::end;
    add(std::move(work));
}

std::deque<LineEvent> Publisher::takeEvents() {
    quint64 count = 0;
    static_cast<void>(signal_.read(reinterpret_cast<char*>(&count), sizeof count));
    const QMutexLocker lock(&mutex_);
    return std::exchange(events_, {});
}

void Publisher::add(Work&& work) {
    const QMutexLocker lock(&mutex_);
    work_.push_back(std::move(work));
    hasWork_.wakeOne();
}

Publisher::Work Publisher::take() {
    QMutexLocker lock(&mutex_);
    while (work_.empty()) {
        hasWork_.wait(&mutex_);
    }
    Work work = std::move(work_.front());
    work_.pop_front();
    return work;
}

void Publisher::loop() {
    LineLedger ledger(
        line_, [this](LineEvent&& event) { report(std::move(event)); }, [this] { return !isGivenUp_; });
    bool isUsable = true;  // after a fault, the ledger's state is unknown, and nothing more is written
    for (;;) {
        Work work = take();
        switch (work.kind) {
            case Work::Kind::open: {
                qint64 recovered = 0;
                QString fault;
                isUsable = ledger.open(recovered, fault);
                const QMutexLocker lock(&mutex_);
                recovered_ = recovered;
                fault_ = fault;
                isOpen_ = isUsable;
                hasAnswered_ = true;
                isOpened_.wakeOne();
                break;
            }
            case Work::Kind::claim:
                isUsable = isUsable && ledger.claim(work.rows);
                --claims_;
                break;
            case Work::Kind::finish:
                isUsable = isUsable && ledger.finish(work.devices);
                --finishes_;
                break;
            case Work::Kind::end:
                isUsable = isUsable && ledger.end();
                --ends_;
                break;
            case Work::Kind::stop:
                return;
        }
        wake();
    }
}

void Publisher::report(LineEvent&& event) {
    {
        const QMutexLocker lock(&mutex_);
        events_.push_back(std::move(event));
    }
    wake();
}

void Publisher::wake() const {
    const quint64 one = 1;
    static_cast<void>(signal_.write(QByteArrayView(reinterpret_cast<const char*>(&one), sizeof one)));
}

}  // namespace produce
