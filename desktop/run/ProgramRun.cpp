#include "desktop/run/ProgramRun.h"

#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>

namespace desktop {

QString programPath(const QString& toolPath, const QString& name) {
    const QFileInfo beside(QFileInfo(toolPath).dir().filePath(name));
    return beside.isFile() && beside.isExecutable() ? beside.filePath() : QStandardPaths::findExecutable(name);
}

ProgramRun::ProgramRun(QObject* parent) : QObject(parent) {
    timer_.setSingleShot(true);
    timer_.setInterval(patience);
    connect(&timer_, &QTimer::timeout, this, [this] {
        const QString text = tr("%1 didn't answer within %2 seconds.").arg(name()).arg(patience / 1000);
        drop();
        finish({-1, {}, text});
    });
}

ProgramRun::~ProgramRun() {
    drop();
}

void ProgramRun::start(const QString& program, const QStringList& arguments, const QByteArray& input) {
    drop();
    process_ = new QProcess(this);
    connect(process_, &QProcess::finished, this, [this](int status, QProcess::ExitStatus how) {
        const QString faults =
            QString::fromUtf8(process_->readAllStandardError()).remove(name() + QLatin1String(": ")).trimmed();
        const bool hasEnded = how == QProcess::NormalExit;
        finish({hasEnded ? status : -1, process_->readAllStandardOutput(),
                hasEnded ? faults : tr("%1 crashed.").arg(name())});
    });
    connect(process_, &QProcess::errorOccurred, this, [this](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart) {
            finish({-1, {}, tr("%1 can't be started: %2").arg(name(), process_->errorString())});
        }
    });
    timer_.start();
    process_->start(program, arguments);
    process_->write(input);
    process_->closeWriteChannel();
}

QString ProgramRun::name() const {
    return process_ == nullptr ? QString() : QFileInfo(process_->program()).fileName();
}

void ProgramRun::finish(const Result& result) {
    if (process_ != nullptr) {
        process_->deleteLater();
        process_ = nullptr;
    }
    timer_.stop();
    emit ended(result);
}

void ProgramRun::drop() {
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
