#pragma once

#include "ledger/Ledger.h"
#include "produce/DeviceTask.h"

#include <QList>

#include <cstdint>

namespace produce {

class JobKeys;
class SiteSecret;
struct DeviceRow;
struct ProductionJob;

/// The use of an IV by a step.
struct StepIv {
    qsizetype step = 0;
    ledger::IvUse use;
    bool isOurs = false;  ///< the nonce is from the ledger, not from the user
};

/// A key of a step that the runner has read, by its fingerprint.
struct StepKey {
    qsizetype step = 0;
    QString field;
    QString name;
    QByteArray fingerprint;
};

/// A device on its way through the run.
struct DevicePlan {
    DeviceTask task;
    QList<StepIv> ivs;
    QList<StepKey> keys;
    ledger::Attempt attempt;  ///< set when the device is claimed
};

/// Nonces from the leases of a ledger: the epoch (8 bytes), then the counter, big-endian.
class NonceSource {
  public:
    void use(const ledger::Lease& lease);
    [[nodiscard]] qint64 left() const;
    /// The next nonce, of `size` bytes, at least 12. Call this only if left() isn't 0.
    [[nodiscard]] QByteArray next(int size);

  private:
    ledger::Lease lease_;
    std::uint32_t used_ = 0;
};

/// The number of nonces that a device of this job needs from the ledger.
[[nodiscard]] qint64 noncesNeeded(const ProductionJob& job);

/// Plans a device: takes its nonces, reads the user's keys and nonces, and computes the IVs to claim. False if one of
/// these files can't be read or has a wrong size; `fault` is one sentence.
[[nodiscard]] bool planDevice(const ProductionJob& job, const JobKeys& keys, const SiteSecret& site,
                              const DeviceRow& row, const QString& folder, NonceSource& nonces, DevicePlan& plan,
                              QString& fault);

}  // namespace produce
