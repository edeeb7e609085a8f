#pragma once

#include "ledger/rows.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <memory>
#include <span>

namespace ledger {

struct Summary;
class Connection;

/// The ledger of a production line: which device was made when, with which IVs. SQLite for one station, PostgreSQL for
/// several; both have the same tables, and rows are only inserted, never changed.
///
/// An object belongs to the thread that opened it, and needs a QCoreApplication. A child of a fork never uses it. A
/// call that fails gives a fault and leaves its results unchanged. After `unreachable` it is unknown whether a call
/// that writes was committed. The same call with the same arguments on the same object settles that: it writes nothing
/// twice and gives the result of the first. A connection that was lost is opened again by the next call.
///
/// Names (products, serials, stations, steps, labels) have 1 to 200 characters and no control characters.
class Ledger {
  public:
    Ledger();
    ~Ledger();
    Ledger(const Ledger&) = delete;
    Ledger& operator=(const Ledger&) = delete;

    /// Makes a new ledger with its first epoch. `place` is the path of a file that doesn't exist, or the URL
    /// postgresql://[user[:password]@]host[:port]/database (host may be the folder of a socket: ?host=/path) of a
    /// database without our tables.
    [[nodiscard]] static bool create(const QString& place, Fault& fault);

    enum class Access { readOnly, station };
    /// Opens a ledger, once per object. `station` names the caller's station; with Access::station the station is
    /// locked until the object is destroyed, so a second process can't use the same name at once. With
    /// Access::readOnly, calls that write are refused, and `station` may be empty. Migrates an older schema, refuses a
    /// newer one and files that aren't ledgers, and leaves those untouched.
    [[nodiscard]] bool open(const QString& place, Access access, const QString& station, Fault& fault);

    /// Leases the next block of nonces of the current epoch. Fails when the epoch has no such block left.
    [[nodiscard]] bool lease(std::uint32_t count, Lease& result, Fault& fault);

    /// Claims devices and their IVs in one durable commit. Each request gets its own result; those that can't be
    /// claimed don't stop the others. Of two requests of one call for the same device or IV, the first counts.
    [[nodiscard]] bool claim(std::span<const ClaimRequest> requests, std::span<ClaimResult> results, Fault& fault);

    /// Commits the ends of attempts together with the lines of the record, durably. `isFinal[i]` is false if another
    /// end of that attempt was committed before, by another station or a user; then the call returns true, but NOTHING
    /// of this call is committed, because the record would be wrong: the caller makes other lines and calls again. An
    /// attempt that was never claimed, or that occurs twice, is a fault.
    [[nodiscard]] bool finish(std::span<const Outcome> outcomes, std::span<const RecordRow> lines,
                              std::span<bool> isFinal, Fault& fault);

    /// This station's claims without an end.
    [[nodiscard]] bool openClaims(QList<Attempt>& attempts, Fault& fault);

    /// The device's last attempt. Fails if the ledger doesn't have the device.
    [[nodiscard]] bool lastAttempt(const QString& product, const QString& serial, Attempt& attempt, Fault& fault);

    /// Whether the device's last attempt is proven and wasn't recalled. False for a device that the ledger doesn't
    /// have.
    [[nodiscard]] bool isProven(const QString& product, const QString& serial, bool& isProven, Fault& fault);

    /// Permits a new attempt for a proven device, or ends an open claim of any station. Commits `lines` with it. Fails
    /// if the device's last attempt is neither proven nor open.
    [[nodiscard]] bool recall(const QString& product, const QString& serial, const QString& reason,
                              std::span<const RecordRow> lines, Attempt& recalled, Fault& fault);

    [[nodiscard]] bool head(Head& result, Fault& fault);
    /// The lines of this station's record after line `after`, at most `most`.
    [[nodiscard]] bool recordAfter(qint64 after, qsizetype most, QList<RecordRow>& lines, Fault& fault);

    // Keys: the ledger has fingerprints, never keys. A key that is in the ledger keeps its first label and source.
    [[nodiscard]] bool addKey(const QByteArray& fingerprint, const QString& label, const QString& source, Fault& fault);
    [[nodiscard]] bool retireKey(const QByteArray& fingerprint, std::span<const RecordRow> lines, Fault& fault);

    /// Begins the new epoch `epoch`, 8 random bytes, and commits `lines` with it. `replaced` is the epoch of the head
    /// that it replaces.
    [[nodiscard]] bool newEpoch(const QByteArray& epoch, const QByteArray& replaced, std::span<const RecordRow> lines,
                                Fault& fault);
    /// Whether a later epoch has replaced `epoch`.
    [[nodiscard]] bool isReplaced(const QByteArray& epoch, bool& result, Fault& fault);

    /// Marks the IVs of images that were made without this ledger as used. `added` is the number of IVs that were new.
    [[nodiscard]] bool importIvs(std::span<const IvUse> ivs, const QString& origin, std::span<const RecordRow> lines,
                                 qint64& added, Fault& fault);

    /// Checks every table and every rule between them, and the file itself (PRAGMA integrity_check). Each finding is
    /// one sentence.
    [[nodiscard]] bool check(QStringList& findings, Fault& fault);

    /// The numbers for a status page, all of one moment.
    [[nodiscard]] bool summary(Summary& result, Fault& fault);

  private:
    [[nodiscard]] bool isOpen(Fault& fault) const;

    std::unique_ptr<Connection> connection_;
};

}  // namespace ledger
