#pragma once

#include "tests/support/TempFolder.h"

#include <QByteArray>
#include <QJsonObject>
#include <QList>
#include <QStringList>

#include <functional>

/// Status and output of a program that ended.
struct Ended {
    int status = -1;  ///< -1: it crashed or didn't start
    QByteArray output;
    QByteArray errors;

    /// The errors without the program's name and without the folder's path, lines joined by " | ".
    [[nodiscard]] std::string faults() const;
    QString folder;
};

/// A new folder with a production line: job.json makes a provisioning image for each device from its column "secrets",
/// and there are a ledger, a key and files of secrets s1.bin to s9.bin.
class ProductionKit {
  public:
    ProductionKit();

    /// Runs qvora-produce in the folder. The words are separated by blanks. The child calls `prepare`, if given, first.
    Ended produce(const QString& words, const QByteArray& input = {}, const std::function<void()>& prepare = {}) const;
    /// "one JOB" for a serial, with the secrets s1.bin.
    Ended one(const char* serial, const char* more = "--column secrets=s1.bin", const char* job = "job.json",
              const std::function<void()>& prepare = {}) const;

    /// Writes a file that only its owner can read, and returns its path.
    QString secret(const char* name, const QByteArray& content) const;
    /// Writes a job with these steps, keys and further members, all as JSON.
    void writeJob(const char* name, const QByteArray& steps, const QByteArray& keys = imageKey,
                  const QByteArray& more = {}) const;

    /// The lines of out/record.jsonl of one kind, or all.
    [[nodiscard]] QList<QJsonObject> lines(const char* kind = "") const;
    /// The names of all files below a folder, sorted and joined by blanks.
    [[nodiscard]] std::string files(const char* below) const;
    /// An answer of sqlite3 on the ledger: rows joined by blanks, without a line feed at the end.
    [[nodiscard]] std::string ledger(const QByteArray& query) const;
    /// Ledger, record and folders agree: the ledger and the record are sound, each proven device has exactly the files
    /// of its line, and nothing is in progress.
    void expectSound() const;

    static const QByteArray imageKey;  ///< the member of a job's keys
    static const QByteArray secretsStep;
    static const QByteArray key;

    TempFolder folder;
};

/// Runs a program in a folder. The child calls `prepare`, if given, before it starts the program.
[[nodiscard]] Ended runProgram(const QString& program, const QStringList& arguments, const QString& folder,
                               const QByteArray& input = {}, const std::function<void()>& prepare = {});
