// The command "status".

#include "files/outputFile.h"
#include "ledger/Ledger.h"
#include "ledger/Place.h"
#include "ledger/Summary.h"
#include "produce/ConsoleListener.h"
#include "produce/reportPage.h"
#include "produce/runnerCommands.h"
#include "produce/statusDocument.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QFile>
#include <QFileInfo>

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cstdio>

namespace produce {

namespace {

constexpr qsizetype mostFailuresInText = 20;
constexpr qsizetype shownFingerprint = 16;  // digits

/// The endings of the files of a ledger. A report never replaces one of them.
constexpr std::array ledgerEndings = {"",      "-wal",  "-shm",         "-journal",
                                      "-lock", ".site", ".station.pem", ".station.pem.pub"};

bool areOneFile(const QString& left, const QString& right) {
    struct stat a {};
    struct stat b {};
    return ::stat(QFile::encodeName(left).constData(), &a) == 0 &&
           ::stat(QFile::encodeName(right).constData(), &b) == 0 && a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

bool isFileOfLedger(const QString& path, const ledger::Place& place) {
    return place.dialect == ledger::Dialect::sqlite &&
           std::any_of(ledgerEndings.begin(), ledgerEndings.end(), [&](const char* ending) {
               const QString file = place.path + QLatin1String(ending);
               // Some of them exist only while a program uses the ledger.
               const bool isInPlace = QFileInfo(path).fileName() == QFileInfo(file).fileName() &&
                                      areOneFile(QFileInfo(path).absolutePath(), QFileInfo(file).absolutePath());
               return isInPlace || areOneFile(path, file);
           });
}

/// Prints a line. Nothing of the ledger can control the terminal.
void print(const QString& line) {
    std::printf("%s\n", qUtf8Printable(printable(line)));
}

QString counted(qint64 count, const char* one, const char* many) {
    return QStringLiteral("%1 %2").arg(count).arg(QLatin1String(count == 1 ? one : many));
}

void printKeys(const ledger::Summary& summary) {
    for (const ledger::Summary::Key& key : summary.keys) {
        print(QStringLiteral("  %1  %2, %3, %4")
                  .arg(QString::fromLatin1(key.fingerprint.toHex().left(shownFingerprint)),
                       key.label.isEmpty() ? QStringLiteral("without a label") : key.label,
                       counted(key.ivs, "IV", "IVs"),
                       key.isRetired ? QStringLiteral("retired") : QStringLiteral("usable")));
    }
}

void printStations(const ledger::Summary& summary) {
    for (const ledger::Summary::Station& station : summary.stations) {
        const QString line =
            station.records == 0
                ? QStringLiteral("no line yet")
                : QStringLiteral("last line %1 at %2").arg(station.records).arg(plainTime(station.recordTime));
        const QString checkpoint = station.checkpoint == 0
                                       ? QStringLiteral("no checkpoint")
                                       : QStringLiteral("checkpoint in line %1").arg(station.checkpoint);
        print(QStringLiteral("  %1: %2, %3").arg(station.name, line, checkpoint));
    }
}

void printFailures(const ledger::Summary& summary) {
    const qsizetype count = std::min(summary.troubles.size(), mostFailuresInText);
    for (const ledger::Summary::Trouble& trouble : summary.troubles.first(count)) {
        print(QStringLiteral("  %1  %2 of %3, %4: %5")
                  .arg(plainTime(trouble.time), trouble.serial, trouble.product,
                       counted(trouble.failures, "failure", "failures"), trouble.reason));
    }
    if (summary.troubleCount > count) {
        print(QStringLiteral("  and %1 more").arg(counted(summary.troubleCount - count, "device", "devices")));
    }
}

void printText(const ledger::Summary& summary, const ReportHead& head) {
    print(QStringLiteral("%1, %2").arg(head.ledger, plainTime(head.time)));
    for (const ledger::Summary::Product& product : summary.products) {
        print(QStringLiteral("%1: %2 proven, %3 failed, %4 interrupted, %5 open, %6 recalled")
                  .arg(product.name)
                  .arg(product.proven)
                  .arg(product.failed)
                  .arg(product.interrupted)
                  .arg(product.open)
                  .arg(product.recalled));
    }
    const struct {
        const char* title;
        bool isEmpty;
        void (*print)(const ledger::Summary& summary);
    } parts[] = {{"Keys:", summary.keys.isEmpty(), printKeys},
                 {"Stations:", summary.stations.isEmpty(), printStations},
                 {"Failures:", summary.troubles.isEmpty(), printFailures}};
    if (summary.products.isEmpty()) {
        print(QStringLiteral("No device was claimed yet."));
    }
    for (const auto& part : parts) {
        if (!part.isEmpty) {
            print(QLatin1String(part.title));
            part.print(summary);
        }
    }
}

int refuse(const QString& fault) {
    printFault(fault);
    return statusNothing;
}

}  // namespace

int runStatus(const calls::Call& call) {
    int count = 1;
    char name[] = "qvora-produce";
    char* words[] = {name, nullptr};
    const QCoreApplication application(count, words);
    ledger::Ledger ledger;
    ledger::Fault fault;
    ledger::Place place;
    ledger::Summary summary;
    const QString page = call.value("html");
    if (!ledger::readPlace(call.value("ledger"), place, fault)) {
        return refuse(fault.text);
    }
    if (call.has("html") && isFileOfLedger(page, place)) {
        return refuse(QStringLiteral("%1 belongs to the ledger; a report needs a file of its own").arg(page));
    }
    if (!ledger.open(call.value("ledger"), ledger::Ledger::Access::readOnly, {}, fault) ||
        !ledger.summary(summary, fault)) {
        return refuse(fault.text);
    }
    const bool isFile = place.dialect == ledger::Dialect::sqlite;
    const ReportHead head{isFile ? QFileInfo(place.path).fileName() : place.shown, QDateTime::currentMSecsSinceEpoch()};
    if (call.has("html") && replaceFile(page, reportPage(summary, head)) != ReplaceResult::done) {
        return refuse(QStringLiteral("%1 can't be written").arg(page));
    }
    if (call.has("json")) {
        const QByteArray document = statusDocument(summary, head);
        if (document.isEmpty()) {
            return refuse(QStringLiteral("the ledger has a number beyond 2^53; \"ledger check\" shows the damage"));
        }
        std::printf("%s\n", document.constData());
    } else if (!call.has("html")) {
        printText(summary, head);
    }
    return statusDone;
}

}  // namespace produce
