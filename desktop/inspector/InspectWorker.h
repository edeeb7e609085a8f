#pragma once

#include "desktop/inspector/InspectTree.h"
#include "desktop/inspector/MemoryMapModel.h"
#include "inspect/Call.h"

#include <QObject>
#include <QThreadPool>

#include <atomic>
#include <memory>

/// What is to be looked at: command lines of the opener, without the name of the program.
struct InspectRequest {
    QStringList verify;   ///< about the file
    QStringList show;     ///< about the same file, for the case that nothing can be proven
    QStringList compare;  ///< with another file; may be empty
    bool wantsContents = false;
};

/// What came of it. Everything in it stays as it is and where it is.
struct InspectResult {
    InspectRequest request;
    inspect::Report report;                      ///< of `verify`; of `show` if that gave no file
    inspect::Kept kept;                          ///< the bytes of the file and of its second one
    inspect::Description unknown;                ///< of a file whose format isn't known
    const inspect::Description* file = nullptr;  ///< null if nothing could be read
    QString fault;                               ///< why nothing could be proven, or read
    InspectTree tree;
    std::vector<MapBlock> blocks;
    inspect::Report comparison;

    InspectResult() = default;
    InspectResult(const InspectResult&) = delete;
    InspectResult& operator=(const InspectResult&) = delete;
};

/// Works on one request at a time, apart from the window. A newer request, or a stop, makes an older one worthless:
/// nobody hears of it again.
class InspectWorker : public QObject {
    Q_OBJECT

  public:
    explicit InspectWorker(QObject* parent = nullptr);
    ~InspectWorker() override;

    void start(const InspectRequest& request);
    void stop();
    [[nodiscard]] bool isRunning() const { return isRunning_; }

  signals:
    void finished(const std::shared_ptr<InspectResult>& result);

  private:
    QThreadPool pool_;
    std::atomic<quint64> newest_ = 0;
    bool isRunning_ = false;
};
