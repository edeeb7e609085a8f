#include "ledger/Connection.h"
#include "ledger/Ledger.h"
#include "ledger/faults.h"
#include "ledger/records.h"

#include <QMap>
#include <QSet>

#include <algorithm>
#include <utility>
#include <vector>

namespace ledger {
namespace {

using Device = std::pair<QString, QString>;    // product and serial
using Iv = std::pair<QByteArray, QByteArray>;  // fingerprint and part

constexpr Target claimTarget{"claim", "product, serial, attempt, station, number, call, at_ms", "ttitibi"};
constexpr Target ivTarget{"iv", "fingerprint, part, product, serial, attempt", "bbtti"};
constexpr Target settledTarget{"settled", "station, number", "ti"};
constexpr Query lastAttempts{
    "SELECT {i}, c.attempt, c.station, c.call, o.kind, r.attempt FROM {t} "
    "JOIN claim c ON c.product = t.a1 AND c.serial = t.a2 "
    "AND c.attempt = (SELECT max(m.attempt) FROM claim m WHERE m.product = t.a1 AND m.serial = t.a2) "
    "LEFT JOIN outcome o ON o.product = c.product AND o.serial = c.serial AND o.attempt = c.attempt "
    "LEFT JOIN recall r ON r.product = c.product AND r.serial = c.serial AND r.attempt = c.attempt",
    "tt"};
constexpr Query usedIvs{"SELECT {i} FROM {t} JOIN iv ON iv.fingerprint = t.a1 AND iv.part = t.a2", "bb"};
constexpr Query retiredKeys{"SELECT {i} FROM {t} JOIN key_state k ON k.fingerprint = t.a1 AND k.state = 'retired'",
                            "b"};
constexpr Query lastClaim{
    "SELECT {i}, coalesce((SELECT max(c.number) FROM claim c WHERE c.station = t.a1), 0), "
    "coalesce((SELECT max(s.number) FROM settled s WHERE s.station = t.a1), 0) FROM {t}",
    "t"};
constexpr Query openClaimsAfter{
    "SELECT {i}, c.product, c.serial, c.attempt, c.number FROM {t} "
    "JOIN claim c ON c.station = t.a1 AND c.number > t.a2 "
    "LEFT JOIN outcome o ON o.product = c.product AND o.serial = c.serial AND o.attempt = c.attempt "
    "WHERE o.kind IS NULL ORDER BY c.number",
    "ti"};

constexpr qsizetype fingerprintSize = 32;
constexpr qsizetype shortPart = 8;
constexpr qsizetype longPart = 16;

bool checkRequests(std::span<const ClaimRequest> requests, QByteArray& arguments, Fault& fault) {
    arguments = "claim";
    for (const ClaimRequest& request : requests) {
        if (!checkName("product", request.product, fault) || !checkName("serial", request.serial, fault)) {
            return false;
        }
        appendArgument(request.product, arguments);
        appendArgument(request.serial, arguments);
        appendArgument(request.ivs.size(), arguments);
        for (const IvUse& iv : request.ivs) {
            if (iv.fingerprint.size() != fingerprintSize ||
                (iv.part.size() != shortPart && iv.part.size() != longPart)) {
                return failed(QStringLiteral("an IV of %1 has a fingerprint of %2 bytes and a part of %3; expected are "
                                             "32 and 8 or 16")
                                  .arg(request.serial)
                                  .arg(iv.fingerprint.size())
                                  .arg(iv.part.size()),
                              fault);
            }
            appendArgument(iv.fingerprint, arguments);
            appendArgument(iv.part, arguments);
        }
    }
    return true;
}

// One call of claim(): finds the requests that can't be granted, then inserts the others.
class Claiming {
  public:
    Claiming(Connection& connection, std::span<const ClaimRequest> requests)
        : connection_(connection), requests_(requests), results_(requests.size()), last_(requests.size()) {}

    [[nodiscard]] Connection::Step run(const QByteArray& call, bool isNew, Fault& fault) {
        std::fill(results_.begin(), results_.end(), ClaimResult{});
        std::fill(last_.begin(), last_.end(), Row{});
        if (!readAttempts(fault) || !readIvs(fault)) {
            return Connection::Step::fail;
        }
        // A repeated call finds its claims. It may also claim devices that have become free since the first time.
        judge(isNew ? QByteArray() : call);
        return insert(call, fault);
    }
    [[nodiscard]] const std::vector<ClaimResult>& results() const { return results_; }

  private:
    bool readAttempts(Fault& fault) {
        QList<Row> inputs;
        for (const ClaimRequest& request : requests_) {
            inputs += Row{request.product, request.serial};
        }
        QList<Row> rows;
        if (!connection_.select(lastAttempts, inputs, rows, fault)) {
            return false;
        }
        for (const Row& row : rows) {
            last_[row.at(0).toUInt()] = row;
        }
        return true;
    }

    bool readIvs(Fault& fault) {
        QList<Row> ivs;
        QList<Row> keys;
        QSet<QByteArray> fingerprints;
        for (const ClaimRequest& request : requests_) {
            for (const IvUse& iv : request.ivs) {
                ivs += Row{iv.fingerprint, iv.part};
                if (!fingerprints.contains(iv.fingerprint)) {
                    fingerprints.insert(iv.fingerprint);
                    keys += Row{iv.fingerprint};
                }
            }
        }
        QList<Row> used;
        QList<Row> retired;
        if (!connection_.select(usedIvs, ivs, used, fault) || !connection_.select(retiredKeys, keys, retired, fault)) {
            return false;
        }
        used_.clear();
        retired_.clear();
        for (const Row& row : used) {
            const Row& iv = ivs.at(row.at(0).toLongLong());
            used_.insert({iv.at(0).toByteArray(), iv.at(1).toByteArray()});
        }
        for (const Row& row : retired) {
            retired_.insert(keys.at(row.at(0).toLongLong()).at(0).toByteArray());
        }
        return true;
    }

    // `mine` is the call, if it was committed before.
    void judge(const QByteArray& mine) {
        claimed_.clear();
        QMap<Device, Attempt> taken;
        for (std::size_t i = 0; i < requests_.size(); ++i) {
            const ClaimRequest& request = requests_[i];
            ClaimResult& result = results_[i];
            const Row& last = last_[i];
            const Device device(request.product, request.serial);
            const auto number = last.value(1).toInt();
            result.attempt = {request.product, request.serial, number};
            if (taken.contains(device)) {
                result.kind = ClaimResult::Kind::heldHere;
                result.attempt = taken.value(device);
                result.station = connection_.station();
            } else if (!mine.isEmpty() && last.value(3).toByteArray() == mine) {
                result.kind = ClaimResult::Kind::claimed;
                result.station = connection_.station();
                taken.insert(device, result.attempt);
            } else if (!last.isEmpty() && !isFree(last, result)) {
                continue;
            } else if (areIvsFree(request, result)) {
                result.kind = ClaimResult::Kind::claimed;
                result.attempt.number = number + 1;
                result.station = connection_.station();
                taken.insert(device, result.attempt);
                claimed_.push_back(i);
            }
        }
    }

    // Whether the last attempt permits another one.
    bool isFree(const Row& last, ClaimResult& result) const {
        const QString kind = last.value(4).toString();
        const bool isRecalled = !last.value(5).isNull();
        if (kind.isEmpty()) {
            result.station = last.value(2).toString();
            result.kind =
                result.station == connection_.station() ? ClaimResult::Kind::heldHere : ClaimResult::Kind::heldByOther;
            return false;
        }
        if (kind == QLatin1String("proven") && !isRecalled) {
            result.station = last.value(2).toString();
            result.kind = ClaimResult::Kind::alreadyProven;
            return false;
        }
        return true;
    }

    bool areIvsFree(const ClaimRequest& request, ClaimResult& result) {
        QSet<Iv> own;
        for (qsizetype i = 0; i < request.ivs.size(); ++i) {
            const Iv iv(request.ivs.at(i).fingerprint, request.ivs.at(i).part);
            const bool isRetired = retired_.contains(iv.first);
            if (isRetired || used_.contains(iv) || own.contains(iv)) {
                result.kind = isRetired ? ClaimResult::Kind::keyRetired : ClaimResult::Kind::ivUsed;
                result.iv = i;
                return false;
            }
            own.insert(iv);
        }
        used_.unite(own);
        return true;
    }

    Connection::Step insert(const QByteArray& call, Fault& fault) {
        if (claimed_.empty()) {
            return Connection::Step::rollBack;
        }
        QList<Row> last;
        if (!connection_.select(lastClaim, {{connection_.station()}}, last, fault)) {
            return Connection::Step::fail;
        }
        qint64 number = last.value(0).value(1).toLongLong();
        const qint64 time = now();
        // Rows are inserted in the order of their keys, so that two stations that claim the same devices don't wait
        // for each other.
        std::sort(claimed_.begin(), claimed_.end(), [this](std::size_t a, std::size_t b) {
            return Device(requests_[a].product, requests_[a].serial) <
                   Device(requests_[b].product, requests_[b].serial);
        });
        QList<Row> claims;
        QList<Row> ivs;
        for (const std::size_t i : claimed_) {
            const Attempt& attempt = results_[i].attempt;
            claims += Row{attempt.product, attempt.serial, attempt.number, connection_.station(), ++number, call, time};
            for (const IvUse& iv : requests_[i].ivs) {
                ivs += Row{iv.fingerprint, iv.part, attempt.product, attempt.serial, attempt.number};
            }
        }
        qint64 addedClaims = 0;
        qint64 addedIvs = 0;
        if (!connection_.insert(claimTarget, claims, addedClaims, fault) ||
            !connection_.insert(ivTarget, ivs, addedIvs, fault)) {
            return Connection::Step::fail;
        }
        // If a row was ignored, another station was faster with a device or an IV. The repeated transaction finds out
        // which.
        return addedClaims == claims.size() && addedIvs == ivs.size() ? Connection::Step::commit
                                                                      : Connection::Step::again;
    }

    Connection& connection_;
    std::span<const ClaimRequest> requests_;
    std::vector<ClaimResult> results_;
    std::vector<Row> last_;  // the last attempt of each request's device; empty if there is none
    QSet<Iv> used_;
    QSet<QByteArray> retired_;
    std::vector<std::size_t> claimed_;
};

}  // namespace

bool Ledger::claim(std::span<const ClaimRequest> requests, std::span<ClaimResult> results, Fault& fault) {
    if (results.size() != requests.size()) {
        return failed(
            QStringLiteral("a claim has %1 requests and room for %2 results").arg(requests.size()).arg(results.size()),
            fault);
    }
    QByteArray arguments;
    if (!checkRequests(requests, arguments, fault)) {
        return false;
    }
    if (!isOpen(fault)) {
        return false;
    }
    Claiming claiming(*connection_, requests);
    const auto body = [&claiming](const QByteArray& call, bool isNew, Fault& problem) {
        return claiming.run(call, isNew, problem);
    };
    if (!isOpen(fault) || !connection_->write(arguments, body, fault)) {
        return false;
    }
    std::copy(claiming.results().begin(), claiming.results().end(), results.begin());
    return true;
}

bool Ledger::openClaims(QList<Attempt>& attempts, Fault& fault) {
    constexpr qint64 settledStep = 1024;
    QList<Row> numbers;
    QList<Row> rows;
    const auto body = [&](Fault& problem) {
        return connection_->select(lastClaim, {{connection_->station()}}, numbers, problem) &&
               connection_->select(openClaimsAfter, {{connection_->station(), numbers.value(0).value(2)}}, rows,
                                   problem);
    };
    if (!isOpen(fault) || !connection_->read(body, fault)) {
        return false;
    }
    QList<Attempt> found;
    for (const Row& row : rows) {
        found += {row.value(1).toString(), row.value(2).toString(), row.value(3).toInt()};
    }
    // All claims before the first open one have ended, and an end is final.
    const qint64 settled =
        rows.isEmpty() ? numbers.value(0).value(1).toLongLong() : rows.at(0).value(4).toLongLong() - 1;
    if (connection_->isStation() && settled - numbers.value(0).value(2).toLongLong() >= settledStep) {
        qint64 added = 0;
        if (!connection_->insert(settledTarget, {{connection_->station(), settled}}, added, fault)) {
            return false;
        }
    }
    attempts = found;
    return true;
}

}  // namespace ledger
