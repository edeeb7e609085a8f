#pragma once

#include "record/chain.h"

#include <QByteArray>
#include <QIODevice>
#include <QString>

namespace record {

/// The summary of a record. If there is a fault, the summary covers only the lines before it.
struct Verdict {
    bool isGood = false;   ///< there is no fault; lines after the last checkpoint aren't signed yet
    QString fault;         ///< the first fault, with its line; empty if there is none
    qint64 faultLine = 0;  ///< the line of the fault; 0 if the fault is in no line
    qint64 lines = 0;
    qint64 devices = 0;  ///< proven devices; a recalled one is still counted
    qint64 recalls = 0;
    qint64 checkpoints = 0;    ///< checkpoints with a good signature
    qint64 unsignedLines = 0;  ///< lines after the last checkpoint
    QByteArray lastHash;       ///< hash of the last line
    QString station;
    QString lastTime;

    /// Whether an auditor may rely on the record. Anyone can write a record without a checkpoint.
    [[nodiscard]] bool isSigned() const { return isGood && checkpoints > 0; }
};

/// Checks the chain, the form of every line, and the signature and content of every checkpoint against the public key
/// (PEM). Reads line by line: the memory doesn't grow with the record. No file shows by itself that its last lines were
/// removed. If the caller knows a line of the record from another place, such as the ledger, it passes the line as
/// `known`; the record must contain it.
[[nodiscard]] Verdict verifyRecord(const QString& path, const QByteArray& publicPem, const ChainHead& known = {});
/// The same for bytes from another source. `device` is open for reading.
[[nodiscard]] Verdict verifyRecord(QIODevice& device, const QByteArray& publicPem, const ChainHead& known = {});

}  // namespace record
