#pragma once

#include "desktop/inspector/InspectTree.h"
#include "desktop/inspector/MemoryMapModel.h"
#include "inspect/Call.h"

#include <QObject>
#include <QThreadPool>

#include <atomic>
#include <memory>

namespace desktop {

/// The command lines of the opener to run, without the name of the program.
struct InspectRequest {
    QStringList verify;   ///< verifies the file
    QStringList show;     ///< shows the same file; runs only if `verify` reads no file
    QStringList compare;  ///< compares it with another file; may be empty
    bool wantsContents = false;
};

/// The result of a request. It never changes or moves, because the tree points into it.
struct InspectResult {
    InspectRequest request;
    inspect::Report report;                      ///< the report of `verify`, or of `show` if `verify` read no file
    inspect::Kept kept;                          ///< the bytes of the file and of its second file
    inspect::Description unknown;                ///< describes a file of unknown format
    const inspect::Description* file = nullptr;  ///< null if nothing could be read
    QString fault;                               ///< why nothing could be proven or read
    InspectTree tree;
    std::vector<MapBlock> blocks;
    inspect::Report comparison;

    InspectResult() = default;
    InspectResult(const InspectResult&) = delete;
    InspectResult& operator=(const InspectResult&) = delete;
};

/// Works on one request at a time, on a thread of its own. A newer request or a stop discards the result of an older
/// one.
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

}  // namespace desktop
