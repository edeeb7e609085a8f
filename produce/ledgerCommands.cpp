// The commands that read or change a ledger without a job.

#include "Preparation/primitives/randomBytes.h"
#include "files/wipe.h"
#include "inspect/commandLine.h"
#include "inspect/formats.h"
#include "ledger/Summary.h"
#include "produce/ConsoleListener.h"
#include "produce/LineSession.h"
#include "produce/catchUp.h"
#include "produce/ledgerHead.h"
#include "produce/recordLines.h"
#include "produce/runnerCommands.h"
#include "record/StationKey.h"
#include "record/chain.h"
#include "token/KeyUri.h"

#include <QFile>

#include <cstdio>
#include <functional>

namespace produce {

namespace {

constexpr qsizetype payloadNonceSize = 16;
constexpr qsizetype baseIvPartSize = 8;
constexpr qsizetype fingerprintSize = 32;

int refuse(const QString& fault) {
    printFault(fault);
    return statusNothing;
}

/// An application object, which Qt's drivers of databases need.
class Application {
  public:
    Application() : application_(count_, words_) {}

  private:
    int count_ = 1;
    char name_[14] = "qvora-produce";
    char* words_[2] = {name_, nullptr};
    QCoreApplication application_;
};

/// Opens a ledger for a change, and chains the lines of the change.
class LedgerChange {
  public:
    [[nodiscard]] bool open(const calls::Call& call, QString& fault) {
        station_ = stationOf(call, fault);
        ledger::Fault reason;
        if (!fault.isEmpty() ||
            (ledger_.open(call.value("ledger"), ledger::Ledger::Access::station, station_, reason) &&
             ledger_.head(head_, reason))) {
            return fault.isEmpty();
        }
        fault = reason.text;
        return false;
    }

    /// Puts the lines of the station's record that the ledger lacks back into it.
    [[nodiscard]] bool catchUp(const QString& recordPath, qint64& lines, QString& fault) {
        ledger::Fault reason;
        if (!produce::catchUp(recordPath, station_, ledger_, lines, fault)) {
            return false;
        }
        if (!ledger_.head(head_, reason)) {
            fault = reason.text;
            return false;
        }
        return true;
    }

    /// The row of the next line.
    [[nodiscard]] ledger::RecordRow rowOf(const QJsonObject& body) const {
        record::ChainHead head{head_.records, head_.hash};
        const QByteArray line = record::nextLine(body, head);
        return {head.number, head.hash, line};
    }

    [[nodiscard]] ledger::Ledger& ledger() { return ledger_; }
    [[nodiscard]] const ledger::Head& head() const { return head_; }
    [[nodiscard]] const QString& station() const { return station_; }

  private:
    ledger::Ledger ledger_;
    ledger::Head head_;
    QString station_;
};

/// The only product of the ledger, or the one that the user names.
bool productOf(const calls::Call& call, ledger::Ledger& ledger, QString& product, QString& fault) {
    product = call.value("product");
    if (!product.isEmpty()) {
        return true;
    }
    ledger::Summary summary;
    ledger::Fault reason;
    if (!ledger.summary(summary, reason)) {
        fault = reason.text;
        return false;
    }
    if (summary.products.size() != 1) {
        fault = QStringLiteral("the ledger has %1 products: --product NAME chooses one").arg(summary.products.size());
        return false;
    }
    product = summary.products.constFirst().name;
    return true;
}

/// The value that decides on the IVs of an image, as the opener shows it: its base IV, or the nonce of a payload.
QByteArray ivSourceOf(const inspect::Description& image) {
    const bool isPayload =
        image.format != nullptr && QLatin1String(image.format->name) == QLatin1String("provisioningPayload");
    const QLatin1String wanted(isPayload ? "nonce" : "baseIv");
    for (const inspect::Field& field : image.fields) {
        if (QLatin1String(field.name) == wanted) {
            return field.bytes;
        }
    }
    return {};
}

}  // namespace

int runVoid(const calls::Call& call) {
    const Application application;
    LedgerChange change;
    QString fault;
    QString product;
    if (!change.open(call, fault) || !productOf(call, change.ledger(), product, fault)) {
        return refuse(fault);
    }
    ledger::Fault reason;
    ledger::Attempt attempt;
    if (!change.ledger().lastAttempt(product, call.value("serial"), attempt, reason)) {
        return refuse(reason.text);
    }
    const QList<ledger::RecordRow> rows = {change.rowOf(recallLine(change.station(), attempt, call.value("reason")))};
    if (!change.ledger().recall(product, attempt.serial, call.value("reason"), rows, attempt, reason)) {
        return refuse(reason.text);
    }
    std::printf("%s: attempt %d is void; the next run makes the device again\n",
                qUtf8Printable(printable(attempt.serial)), attempt.number);
    return statusDone;
}

int runLedgerInit(const calls::Call& call) {
    const Application application;
    QString fault;
    const QString place = call.value("ledger");
    const QString secret = fileBeside(call, "site-secret", ".site", fault);
    if (!fault.isEmpty()) {
        return refuse(fault);
    }
    const bool makesKey = call.has("station-key") || !isServer(place);
    const bool isInToken = token::KeyUri::isUri(call.value("station-key"));
    const QString key = makesKey ? fileBeside(call, "station-key", ".station.pem", fault) : QString();
    const bool hasSecret = QFile::exists(secret);
    ledger::Fault reason;
    if (!hasSecret && !makeSiteSecret(secret, fault)) {
        return refuse(fault);
    }
    if (makesKey && !isInToken && !QFile::exists(key) &&
        !record::makeStationKey(key, key + QStringLiteral(".pub"), fault)) {
        return refuse(fault);
    }
    if (!ledger::Ledger::create(place, reason)) {
        return refuse(reason.text);
    }
    std::printf("The ledger is ready.\nSite secret: %s (readable by you only; back it up)\n",
                qUtf8Printable(printable(secret)));
    if (makesKey && !isInToken) {
        std::printf("Station key: %s, its public key: %s.pub\n", qUtf8Printable(printable(key)),
                    qUtf8Printable(printable(key)));
    }
    return statusDone;
}

int runLedgerStationKey(const calls::Call& call) {
    QString fault;
    const QString key = call.value("station-key");
    if (token::KeyUri::isUri(key)) {
        return refuse(QStringLiteral("a key in a token is made with the token's own program"));
    }
    if (!record::makeStationKey(key, key + QStringLiteral(".pub"), fault)) {
        return refuse(fault);
    }
    std::printf("Station key: %s, its public key: %s.pub\n", qUtf8Printable(printable(key)),
                qUtf8Printable(printable(key)));
    return statusDone;
}

int runLedgerImport(const calls::Call& call) {
    const Application application;
    SiteSecret site;
    LedgerChange change;
    QString fault;
    QByteArray key;
    const QString secret = fileBeside(call, "site-secret", ".site", fault);
    if (!fault.isEmpty() || !site.read(secret, fault) || !readKeyBytes(call.value("key"), key, fault)) {
        return refuse(fault);
    }
    const QByteArray fingerprint = site.fingerprint(key);
    wipe(key);
    QList<ledger::IvUse> ivs;
    for (const QString& path : call.operands) {
        // The opener proves the image with the key, so that its IV isn't stored under a wrong key.
        const inspect::Report report = inspect::reportOf({QStringLiteral("qvora-inspect"), QStringLiteral("verify"),
                                                          QStringLiteral("--key"), call.value("key"), path},
                                                         nullptr);
        const bool isOfKey =
            !report.files.empty() && inspect::judge(report.files.front()).verdict != inspect::Verdict::wrong;
        const QByteArray iv = isOfKey ? ivSourceOf(report.files.front()) : QByteArray();
        if (iv.isEmpty()) {
            return refuse(QStringLiteral("%1 isn't an image of this key with an IV").arg(path));
        }
        ivs.append({fingerprint, iv.size() == payloadNonceSize ? iv : iv.first(baseIvPartSize)});
    }
    if (!change.open(call, fault)) {
        return refuse(fault);
    }
    ledger::Fault reason;
    qint64 added = 0;
    const QString origin = QStringLiteral("%1 images").arg(ivs.size());
    const QList<ledger::RecordRow> rows = {change.rowOf(importLine(change.station(), ivs, origin))};
    if (!change.ledger().importIvs(ivs, origin, rows, added, reason)) {
        return refuse(reason.text);
    }
    std::printf("%lld images, %lld IVs were new\n", static_cast<long long>(ivs.size()), static_cast<long long>(added));
    return statusDone;
}

int runLedgerNewEpoch(const calls::Call& call) {
    const Application application;
    LedgerChange change;
    LineFolders folders;
    QString fault;
    qint64 lines = 0;
    if (!change.open(call, fault) || !folders.open(call.value("output"), change.station(), fault) ||
        !change.catchUp(folders.recordPath(), lines, fault)) {
        return refuse(fault);
    }
    // A damaged head doesn't stop this command, which writes another one.
    ledger::Head known;
    QString ignored;
    const QByteArray replaced =
        readHead(folders.headPath(), known, ignored) && !known.epoch.isEmpty() ? known.epoch : change.head().epoch;
    QByteArray epoch;
    ledger::Fault reason;
    if (!randomBytes(change.head().epoch.size(), epoch)) {
        return refuse(QStringLiteral("there are no random numbers"));
    }
    const QList<ledger::RecordRow> rows = {
        change.rowOf(epochLine(change.station(), epoch, replaced, call.value("reason")))};
    ledger::Head head;
    if (!change.ledger().newEpoch(epoch, replaced, rows, reason) || !change.ledger().head(head, reason)) {
        return refuse(reason.text);
    }
    if (!writeHead(folders.headPath(), head, fault)) {
        return refuse(fault);
    }
    if (lines > 0) {
        std::printf("%lld lines of the record were put back into the ledger\n", static_cast<long long>(lines));
    }
    std::printf("New nonces begin with %s\n", epoch.toHex().constData());
    return statusDone;
}

int runLedgerRetireKey(const calls::Call& call) {
    const Application application;
    LedgerChange change;
    QString fault;
    const QByteArray fingerprint = QByteArray::fromHex(call.operands.constFirst().toLatin1());
    if (fingerprint.size() != fingerprintSize) {
        return refuse(QStringLiteral("a fingerprint has 64 hexadecimal digits; status lists the keys"));
    }
    if (!change.open(call, fault)) {
        return refuse(fault);
    }
    ledger::Fault reason;
    const QList<ledger::RecordRow> rows = {change.rowOf(retireLine(change.station(), fingerprint))};
    if (!change.ledger().retireKey(fingerprint, rows, reason)) {
        return refuse(reason.text);
    }
    std::printf("The key is retired: no more images are made with it\n");
    return statusDone;
}

int runLedgerCheck(const calls::Call& call) {
    const Application application;
    ledger::Ledger ledger;
    ledger::Fault reason;
    QStringList findings;
    if (!ledger.open(call.value("ledger"), ledger::Ledger::Access::readOnly, {}, reason) ||
        !ledger.check(findings, reason)) {
        return refuse(reason.text);
    }
    for (const QString& finding : findings) {
        printFault(finding);
    }
    if (findings.isEmpty()) {
        std::printf("The ledger is sound.\n");
    }
    return findings.isEmpty() ? statusDone : statusFailed;
}

}  // namespace produce
