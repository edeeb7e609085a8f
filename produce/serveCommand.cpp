// The command "serve": each line of standard input is a JSON object that asks for a device. A line of standard output
// answers it.

#include "produce/ConsoleListener.h"
#include "produce/LineSession.h"
#include "produce/runnerCommands.h"
#include "record/canonicalJson.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>

#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <limits>

namespace produce {

namespace {

constexpr qsizetype longestRequest = 1 << 20;

void answer(const QJsonObject& object) {
    std::printf("%s\n", record::canonicalJson(object).constData());
    std::fflush(stdout);
}

void answerFault(const QString& serial, const QString& fault) {
    QJsonObject object{{QStringLiteral("verdict"), QStringLiteral("refused")}, {QStringLiteral("reason"), fault}};
    if (!serial.isEmpty()) {
        object.insert(QStringLiteral("serial"), serial);
    }
    answer(object);
}

/// The requests on standard input: objects of texts, as in a device table of JSON lines. A request that can't be read
/// is answered at once.
class RequestSource : public DeviceSource {
  public:
    explicit RequestSource(const ProductionJob& job) : job_(job) {}

    [[nodiscard]] int descriptor() const override { return STDIN_FILENO; }

    [[nodiscard]] Next next(DeviceRow& row, QString& /*fault*/) override {
        for (;;) {
            const qsizetype end = bytes_.indexOf('\n');
            if (end >= 0) {
                const QByteArray line = bytes_.first(end).trimmed();
                bytes_.remove(0, end + 1);
                if (!line.isEmpty() && read(line, row)) {
                    return Next::row;
                }
                continue;
            }
            if (isAtEnd_ || bytes_.size() > longestRequest) {
                if (!bytes_.isEmpty()) {
                    answerFault({}, QStringLiteral("a request is one line, at most %1 bytes").arg(longestRequest));
                }
                return Next::end;
            }
            pollfd input{STDIN_FILENO, POLLIN, 0};
            if (poll(&input, 1, 0) <= 0) {
                return Next::later;
            }
            std::array<char, 4096> buffer{};
            const ssize_t count = ::read(STDIN_FILENO, buffer.data(), buffer.size());
            isAtEnd_ = count == 0 || (count < 0 && errno != EINTR && errno != EAGAIN);
            bytes_.append(buffer.data(), qMax<ssize_t>(0, count));
        }
    }

  private:
    bool read(const QByteArray& line, DeviceRow& row) const {
        QJsonParseError error;
        const QJsonObject request = QJsonDocument::fromJson(line, &error).object();
        const QString serial = request.value(QLatin1String("serial")).toString();
        QString fault = error.error != QJsonParseError::NoError
                            ? QStringLiteral("this isn't JSON: %1").arg(error.errorString())
                            : serialFault(serial);
        DeviceRow made;
        made.serial = serial;
        for (const QString& column : job_.columns) {
            const QJsonValue value = request.value(column);
            if (fault.isEmpty() && !value.isString()) {
                fault = QStringLiteral("the column %1 is missing, or isn't a text").arg(column);
            }
            made.values.append(value.toString());
        }
        if (fault.isEmpty() && request.size() != 1 + job_.columns.size()) {
            fault = QStringLiteral("the request has a member that the job doesn't use");
        }
        if (!fault.isEmpty()) {
            answerFault(serial, fault);
            return false;
        }
        row = made;
        return true;
    }

    const ProductionJob& job_;
    QByteArray bytes_;
    bool isAtEnd_ = false;
};

/// Answers each request when its device is committed.
class Answers : public RunListener {
  public:
    void deviceEnded(const QString& serial, Verdict verdict, const QString& reason) override {
        QJsonObject object{{QStringLiteral("serial"), serial}};
        switch (verdict) {
            case Verdict::provenBefore:
                object.insert(QStringLiteral("before"), true);
                [[fallthrough]];
            case Verdict::proven:
                object.insert(QStringLiteral("verdict"), QStringLiteral("proven"));
                break;
            case Verdict::failed:
                object.insert(QStringLiteral("verdict"), QStringLiteral("failed"));
                break;
            case Verdict::interrupted:
                object.insert(QStringLiteral("verdict"), QStringLiteral("interrupted"));
                break;
            case Verdict::held:
                object.insert(QStringLiteral("verdict"), QStringLiteral("held"));
                break;
        }
        if (!reason.isEmpty()) {
            object.insert(QStringLiteral("reason"), reason);
        }
        answer(object);
    }
    void checkpointWritten() override {}
    void warn(const QString& text) override { printFault(text); }
    void progressed(const RunCounts& /*counts*/) override {}
};

}  // namespace

int runServe(const calls::Call& call) {
    LineSession session;
    if (!session.open(call, {}, std::numeric_limits<int>::max())) {
        return statusNothing;
    }
    RequestSource source(session.job());
    Answers answers;
    RunCounts counts;
    return session.make(source, answers, 0, counts);
}

}  // namespace produce
