#include "produce/ConsoleListener.h"

#include "inspect/Report.h"
#include "record/canonicalJson.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

namespace produce {

namespace {

constexpr qint64 lineMilliseconds = 10000;
constexpr int barWidth = 30;

const char* nameOf(RunListener::Verdict verdict) {
    switch (verdict) {
        case RunListener::Verdict::proven:
        case RunListener::Verdict::provenBefore:
            return "proven";
        case RunListener::Verdict::failed:
            return "failed";
        case RunListener::Verdict::interrupted:
            return "interrupted";
        case RunListener::Verdict::held:
            return "held";
    }
    return "";
}

QJsonObject countsOf(const RunCounts& counts) {
    return {{QStringLiteral("proven"), counts.proven},
            {QStringLiteral("provenBefore"), counts.provenBefore},
            {QStringLiteral("failed"), counts.failed},
            {QStringLiteral("interrupted"), counts.interrupted},
            {QStringLiteral("held"), counts.held}};
}

QString timeText(qint64 seconds) {
    return seconds < 60     ? QStringLiteral("%1 s").arg(seconds)
           : seconds < 6000 ? QStringLiteral("%1 min %2 s").arg(seconds / 60).arg(seconds % 60)
                            : QStringLiteral("%1 h %2 min").arg(seconds / 3600).arg(seconds / 60 % 60);
}

qint64 perSecond(qint64 count, qint64 milliseconds) {
    return milliseconds <= 0 ? 0 : count * 1000 / milliseconds;
}

}  // namespace

QString printable(const QString& text) {
    return inspect::printable(text);
}

void printFault(const QString& text) {
    std::fprintf(stderr, "qvora-produce: %s\n", qUtf8Printable(printable(text)));
}

ConsoleListener::ConsoleListener(bool asJson, qint64 total)
    : asJson_(asJson), isTerminal_(isatty(STDERR_FILENO) == 1), total_(total) {
    time_.start();
    lastLine_.start();
}

void ConsoleListener::runStarted(const QString& product, const QString& station, qint64 recovered) {
    printEvent("start", {{QStringLiteral("product"), product},
                         {QStringLiteral("station"), station},
                         {QStringLiteral("recovered"), recovered}});
    if (recovered > 0) {
        warn(QStringLiteral("%1 devices of an interrupted run are void and will be made again").arg(recovered));
    }
}

void ConsoleListener::deviceEnded(const QString& serial, Verdict verdict, const QString& reason) {
    QJsonObject event{{QStringLiteral("serial"), serial}, {QStringLiteral("verdict"), QLatin1String(nameOf(verdict))}};
    if (verdict == Verdict::provenBefore) {
        event.insert(QStringLiteral("before"), true);
    }
    if (!reason.isEmpty()) {
        event.insert(QStringLiteral("reason"), reason);
    }
    // A stopped run interrupts many devices for one reason; the summary counts them.
    if (verdict == Verdict::failed || verdict == Verdict::held) {
        clearBar();
        printFault(QStringLiteral("%1: %2").arg(serial, reason));
    }
    printEvent("device", event);
}

void ConsoleListener::checkpointWritten() {
    printEvent("checkpoint", {});
}

void ConsoleListener::warn(const QString& text) {
    clearBar();
    printFault(text);
    printEvent("warning", {{QStringLiteral("text"), text}});
}

void ConsoleListener::progressed(const RunCounts& counts) {
    if (isTerminal_) {
        printBar(counts);
    } else if (lastLine_.elapsed() >= lineMilliseconds) {
        lastLine_.restart();
        std::fprintf(stderr, "%s\n", qUtf8Printable(progressText(counts)));
        printEvent("progress", countsOf(counts));
    }
}

void ConsoleListener::runEnded(const RunCounts& counts, int status) {
    clearBar();
    if (asJson_) {
        QJsonObject event = countsOf(counts);
        event.insert(QStringLiteral("milliseconds"), time_.elapsed());
        event.insert(QStringLiteral("status"), status);
        printEvent("end", event);
        return;
    }
    QString text = QStringLiteral("%1 proven, %2 failed").arg(counts.proven).arg(counts.failed);
    if (counts.provenBefore > 0) {
        text += QStringLiteral(", %1 proven before").arg(counts.provenBefore);
    }
    if (counts.interrupted > 0) {
        text += QStringLiteral(", %1 interrupted").arg(counts.interrupted);
    }
    if (counts.held > 0) {
        text += QStringLiteral(", %1 at other stations").arg(counts.held);
    }
    std::printf("%s; %.1f s, %lld devices a second\n", qUtf8Printable(text),
                static_cast<double>(time_.elapsed()) / 1000.0,
                static_cast<long long>(perSecond(counts.proven + counts.failed, time_.elapsed())));
}

QString ConsoleListener::progressText(const RunCounts& counts) const {
    const qint64 made = counts.proven + counts.failed;
    const qint64 rate = perSecond(made, time_.elapsed());
    QString text = total_ < 0 ? QStringLiteral("%1 devices").arg(counts.ended())
                              : QStringLiteral("%1 of %2 devices").arg(counts.ended()).arg(total_);
    text += QStringLiteral(", %1 failed, %2 a second").arg(counts.failed).arg(rate);
    if (total_ >= 0 && rate > 0) {
        text += QStringLiteral(", %1 left").arg(timeText(std::max<qint64>(0, total_ - counts.ended()) / rate));
    }
    return text;
}

void ConsoleListener::printBar(const RunCounts& counts) {
    QString bar;
    if (total_ > 0) {
        const qint64 filled = std::clamp<qint64>(counts.ended() * barWidth / total_, 0, barWidth);
        bar = u'[' + QString(filled, u'#') + QString(barWidth - filled, u' ') + QStringLiteral("] ");
    }
    std::fprintf(stderr, "\r%s%s\033[K", qUtf8Printable(bar), qUtf8Printable(progressText(counts)));
    std::fflush(stderr);
    hasBar_ = true;
}

void ConsoleListener::clearBar() {
    if (hasBar_) {
        std::fputs("\r\033[K", stderr);
        hasBar_ = false;
    }
}

void ConsoleListener::printEvent(const char* name, QJsonObject event) {
    if (!asJson_) {
        return;
    }
    event.insert(QStringLiteral("event"), QLatin1String(name));
    const QByteArray text = record::canonicalJson(event);
    std::printf("%s\n", text.constData());
    std::fflush(stdout);
}

}  // namespace produce
