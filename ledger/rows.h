#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <cstdint>

// The arguments and results of the ledger, as plain data.

namespace ledger {

/// The reason why an operation failed.
struct Fault {
    enum class Kind {
        none,
        unreachable,  ///< the server doesn't answer, or the file is locked: the same call may succeed later
        /// This ledger can't be used: it isn't one, is newer than this program, damaged or older than its known head,
        /// or another process uses the station's name.
        refused,
        failed,  ///< anything else; the text has the reason
    };
    Kind kind = Kind::none;
    QString text;
};

/// The use of an IV: no two images of a key may share `part`.
struct IvUse {
    QByteArray fingerprint;  ///< of the key: 32 bytes, an HMAC under the site's secret
    QByteArray part;         ///< 8 bytes: start of the base IV; 16 bytes: the nonce of a provisioning payload
};

/// A device of a product, and the number of the attempt to make it, from 1.
struct Attempt {
    QString product;
    QString serial;
    std::int32_t number = 0;
};

struct ClaimRequest {
    QString product;
    QString serial;
    QList<IvUse> ivs;
};

struct ClaimResult {
    enum class Kind {
        claimed,        ///< committed durably for this station; `attempt` is the new attempt
        alreadyProven,  ///< the device is proven; `attempt` is the proven one
        heldByOther,    ///< `station` has an open claim
        heldHere,       ///< this station has an open claim (a duplicate in one run, or recovery was skipped)
        ivUsed,         ///< an image of the key already has the IV with index `iv`; nothing was claimed
        keyRetired,     ///< the key of the IV with index `iv` is retired; nothing was claimed
    };
    Kind kind = Kind::heldHere;
    Attempt attempt;
    QString station;
    qsizetype iv = -1;
};

/// A result of a step, for queries. The record has the whole account. The ledger numbers the steps of an attempt in the
/// order of the list, so a name may occur twice.
struct StepRow {
    QString step;
    QByteArray output;  ///< SHA-256 of the output, 32 bytes; empty if the step makes no file
    qint64 size = 0;
    qint64 milliseconds = 0;
};

/// The end of an attempt. The first end that is committed is final.
struct Outcome {
    enum class Kind { proven, failed, interrupted };
    Attempt attempt;
    Kind kind = Kind::failed;
    QString reason;  ///< empty if proven; the ledger keeps the first 4,000 characters
    QList<StepRow> steps;
};

/// One line of a station's record with its number and hash. A call with lines fails if they don't continue the
/// station's record without a gap, or if a hash isn't the SHA-256 of its line.
struct RecordRow {
    qint64 number = 0;
    QByteArray hash;  ///< 32 bytes
    QByteArray line;  ///< without its line break
};

/// The age of a ledger. A copy of it is kept in another place, so that an older copy of the ledger is noticed.
struct Head {
    QByteArray epoch;    ///< 8 bytes
    qint64 claims = 0;   ///< claims of this station
    qint64 records = 0;  ///< number of the last record line of this station
    QByteArray hash;     ///< hash of that line, 32 bytes; empty if there is none
};

/// A block of nonces that no other station gets: the epoch and the counters from `first` to `first + count - 1`.
struct Lease {
    QByteArray epoch;  ///< 8 bytes
    std::uint64_t first = 0;
    std::uint32_t count = 0;
};

}  // namespace ledger
