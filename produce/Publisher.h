#pragma once

#include "produce/LineLedger.h"

#include <QMutex>
#include <QWaitCondition>

#include <pthread.h>

#include <atomic>
#include <deque>

namespace produce {

/// Runs a LineLedger in a thread of its own, so that the run can make devices while this thread waits for the disk or
/// the server. Work is done in the order of the calls.
class Publisher {
  public:
    explicit Publisher(const Line& line);
    ~Publisher();
    Publisher(const Publisher&) = delete;
    Publisher& operator=(const Publisher&) = delete;

    /// Starts the thread and opens the ledger.
    [[nodiscard]] bool start(qint64& recovered, QString& fault);

    void claim(QList<DeviceRow> rows);
    void finish(QList<MadeDevice> devices);
    void end();

    [[nodiscard]] int claimsWaiting() const { return claims_; }
    [[nodiscard]] int finishesWaiting() const { return finishes_; }
    [[nodiscard]] bool isIdle() const { return claims_ == 0 && finishes_ == 0 && ends_ == 0; }
    /// A descriptor that can be read when there are events.
    [[nodiscard]] int descriptor() const { return signal_.get(); }
    [[nodiscard]] std::deque<LineEvent> takeEvents();
    /// Doesn't repeat calls to a ledger that doesn't answer.
    void giveUp() { isGivenUp_ = true; }

  private:
    struct Work {
        enum class Kind { open, claim, finish, end, stop };
        Kind kind = Kind::stop;
        QList<DeviceRow> rows;
        QList<MadeDevice> devices;
    };

    void add(Work&& work);
    void loop();
    [[nodiscard]] Work take();
    void report(LineEvent&& event);
    void wake() const;

    const Line& line_;
    FileHandle signal_;
    pthread_t thread_{};
    bool isStarted_ = false;
    QMutex mutex_;
    QWaitCondition hasWork_;
    QWaitCondition isOpened_;
    std::deque<Work> work_;
    std::deque<LineEvent> events_;
    std::atomic<int> claims_ = 0;
    std::atomic<int> finishes_ = 0;
    std::atomic<int> ends_ = 0;
    std::atomic<bool> isGivenUp_ = false;
    bool hasAnswered_ = false;  // opening the ledger has succeeded or failed
    bool isOpen_ = false;
    qint64 recovered_ = 0;
    QString fault_;
};

}  // namespace produce
