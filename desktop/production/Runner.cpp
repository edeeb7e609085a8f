#include "desktop/production/Runner.h"

#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>

namespace desktop {

QString runnerPath(const QString& toolPath) {
    const QString name = QStringLiteral("qvora-produce");
    const QFileInfo beside(QFileInfo(toolPath).dir().filePath(name));
    return beside.isFile() && beside.isExecutable() ? beside.filePath() : QStandardPaths::findExecutable(name);
}

Runner::Runner(QObject* parent) : QObject(parent) {
    timer_.setSingleShot(true);
    timer_.setInterval(patience);
    connect(&timer_, &QTimer::timeout, this, [this] {
        drop();
        finish({-1, {}, tr("qvora-produce didn't answer within %1 seconds.").arg(patience / 1000)});
    });
}

Runner::~Runner() {
    drop();
}

void Runner::start(const QString& program, const QStringList& arguments) {
    drop();
    process_ = new QProcess(this);
    connect(process_, &QProcess::finished, this, [this](int status, QProcess::ExitStatus how) {
        const QString faults =
            QString::fromUtf8(process_->readAllStandardError()).remove(QLatin1String("qvora-produce: ")).trimmed();
        const bool hasEnded = how == QProcess::NormalExit;
        finish({hasEnded ? status : -1, process_->readAllStandardOutput(),
                hasEnded ? faults : tr("qvora-produce crashed.")});
    });
    connect(process_, &QProcess::errorOccurred, this, [this](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart) {
            finish({-1, {}, tr("qvora-produce can't be started: %1").arg(process_->errorString())});
        }
    });
    timer_.start();
    process_->setStandardInputFile(QProcess::nullDevice());
    process_->start(program, arguments);
}

void Runner::finish(const Result& result) {
    if (process_ != nullptr) {
        process_->deleteLater();
        process_ = nullptr;
    }
    timer_.stop();
    emit ended(result);
}

void Runner::drop() {
    if (process_ == nullptr) {
        return;
    }
    process_->disconnect(this);
    process_->kill();
    process_->waitForFinished(1000);
    process_->deleteLater();
    process_ = nullptr;
}

}  // namespace desktop
