#include "desktop/inspector/InspectWorker.h"

#include "display/MessageCollector.h"
#include "inspect/commandLine.h"
#include "inspect/formats.h"

namespace desktop {

namespace {

inspect::Report run(const QStringList& arguments, inspect::Kept* kept) {
    return inspect::reportOf(QStringList{QStringLiteral("qvora-inspect")} + arguments, kept);
}

QString faultOf(const inspect::Report& report) {
    QStringList lines;
    for (const inspect::Failure& failure : report.failures) {
        const QString file = inspect::printable(failure.file);
        lines.append(file.isEmpty() ? inspect::printable(failure.text)
                                    : file + QStringLiteral(": ") + inspect::printable(failure.text));
    }
    return lines.join(u'\n');
}

/// Describes the file even if `verify` doesn't. If `verify` read no file, for example because a key file is missing,
/// the report of `show` describes the file. A file of unknown format gets a description without a format.
void describeFile(InspectResult& result) {
    constexpr std::size_t shownTexts = 100;
    result.kept.wantsContents = result.request.wantsContents;
    result.kept.wantsMeaning = true;
    result.kept.texts = shownTexts;
    result.report = run(result.request.verify, &result.kept);
    result.fault = faultOf(result.report);
    if (result.report.files.empty() && result.kept.files.empty()) {
        result.report = run(result.request.show, &result.kept);
    }
    if (!result.report.files.empty()) {
        result.file = &result.report.files.front();
    } else if (!result.kept.files.empty()) {
        result.unknown = inspect::describe(result.kept.files.front().source);
        result.file = &result.unknown;
    }
}

void work(InspectResult& result, const std::function<bool()>& isWanted) {
    const MessageCollector messages;
    describeFile(result);
    if (result.file == nullptr || !isWanted()) {
        return;
    }
    result.tree = InspectTree(*result.file);
    result.blocks = mapBlocks(result.tree);
    if (!result.request.compare.isEmpty() && isWanted()) {
        result.comparison = run(result.request.compare, nullptr);
    }
}

}  // namespace

InspectWorker::InspectWorker(QObject* parent) : QObject(parent) {
    pool_.setMaxThreadCount(1);
}

InspectWorker::~InspectWorker() {
    stop();
    pool_.waitForDone();
}

void InspectWorker::start(const InspectRequest& request) {
    stop();
    isRunning_ = true;
    const quint64 number = newest_;
    pool_.start([this, request, number] {
        const auto isWanted = [this, number] { return newest_ == number; };
        if (!isWanted()) {
            return;
        }
        auto result = std::make_shared<InspectResult>();
        result->request = request;
        work(*result, isWanted);
        QMetaObject::invokeMethod(
            this,
            [this, result, isWanted] {
                if (isWanted()) {
                    isRunning_ = false;
                    emit finished(result);
                }
            },
            Qt::QueuedConnection);
    });
}

void InspectWorker::stop() {
    ++newest_;
    pool_.clear();
    isRunning_ = false;
}

}  // namespace desktop
