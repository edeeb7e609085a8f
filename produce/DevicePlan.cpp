#include "produce/DevicePlan.h"

#include "files/wipe.h"
#include "produce/DeviceTable.h"
#include "produce/IvRule.h"
#include "produce/ProductionJob.h"
#include "produce/fillIn.h"
#include "produce/siteKeys.h"

#include <QtEndian>

#include <algorithm>

namespace produce {

namespace {

constexpr char keyField[] = "key";
constexpr char nonceField[] = "nonce";

/// Plans one device.
class Planner {
  public:
    Planner(const ProductionJob& job, const JobKeys& keys, const SiteSecret& site, DevicePlan& plan)
        : job_(job), keys_(keys), site_(site), plan_(plan) {}

    /// Adds the keys that only this device has, and its nonces, to its files in memory.
    [[nodiscard]] bool takeSecrets(NonceSource& nonces, QString& fault) {
        QList<JobKeys::DeviceKey> own;
        if (!keys_.ofDevice(plan_.task.serial, own, fault)) {
            return false;
        }
        for (const JobKeys::DeviceKey& key : std::as_const(own)) {
            plan_.task.keyPaths.insert(key.name, addMemory(key.bytes));
        }
        for (const Step& step : job_.steps) {
            QString path;
            if (usesNonce(step)) {
                path = addMemory(nonces.next(nonceSize(step)));
            }
            plan_.task.noncePaths.append(path);
        }
        device_ = {plan_.task.serial, plan_.task.values, plan_.task.folder, plan_.task.noncePaths, keys_.paths()};
        device_.keyPaths.insert(plan_.task.keyPaths);
        return true;
    }

    /// Reads key and nonce of a step that makes an image under an IV.
    [[nodiscard]] bool planStep(qsizetype index, QString& fault) {
        const Step& step = job_.steps.at(index);
        const IvRule rule = ivRule(*step.row);
        if (rule == IvRule::none) {
            return true;
        }
        QByteArray nonce;
        StepIv iv;
        iv.step = index;
        iv.isOurs = usesNonce(step);
        if (!findKey(index, iv.use.fingerprint, fault) || !findNonce(index, nonce, fault)) {
            return false;
        }
        if (!ivPart(rule, nonce, iv.use.part)) {
            fault = QStringLiteral("the nonce of the step %1 has %2 bytes").arg(step.name).arg(nonce.size());
            return false;
        }
        plan_.ivs.append(iv);
        return true;
    }

  private:
    /// The path at which the steps read `bytes`.
    QString addMemory(const QByteArray& bytes) {
        plan_.task.memory.append(bytes);
        return QStringLiteral("/proc/self/fd/%1").arg(firstMemoryFile + plan_.task.memory.size() - 1);
    }

    [[nodiscard]] bool valueOf(qsizetype index, const char* field, QString& path, QString& fault) const {
        const Step& step = job_.steps.at(index);
        const auto& rows = step.row->rows;
        const auto row = std::find_if(rows.begin(), rows.end(), [field](const jobs::FieldRow& candidate) {
            return QLatin1String(candidate.id) == QLatin1String(field);
        });
        QStringList value;
        if (row == rows.end() || !fillInField(job_, step, *row, device_, value, fault)) {
            return false;
        }
        path = value.value(0);
        return true;
    }

    /// Reads a file of the user, and lets the step read these bytes from memory, so that they can't change before the
    /// step runs.
    [[nodiscard]] bool bring(qsizetype index, const char* field, const QString& path, QByteArray& bytes,
                             QString& fault) {
        if (!readKeyBytes(path, bytes, fault)) {
            return false;
        }
        const QString place = addMemory(bytes);
        plan_.task.fieldPaths.append({static_cast<std::int32_t>(index), QLatin1String(field), place});
        return true;
    }

    [[nodiscard]] bool findKey(qsizetype index, QByteArray& fingerprint, QString& fault) {
        QString path;
        if (!valueOf(index, keyField, path, fault)) {
            return false;
        }
        StepKey key{index, QLatin1String(keyField), path, {}};
        if (const JobKeys::Known* const known = keys_.at(path)) {
            key.name = known->name;
            key.fingerprint = known->fingerprint;
        } else if (const QString name = plan_.task.keyPaths.key(path); !name.isEmpty()) {
            key.name = name;
            key.fingerprint = site_.fingerprint(memoryAt(path));
        } else {
            QByteArray bytes;
            const bool isRead = bring(index, keyField, path, bytes, fault);
            key.fingerprint = isRead ? site_.fingerprint(bytes) : QByteArray();
            if (!isRead) {
                return false;
            }
        }
        fingerprint = key.fingerprint;
        plan_.keys.append(key);
        return true;
    }

    [[nodiscard]] bool findNonce(qsizetype index, QByteArray& nonce, QString& fault) {
        QString path;
        if (!valueOf(index, nonceField, path, fault)) {
            return false;
        }
        const qsizetype place = plan_.task.noncePaths.indexOf(path);
        if (path.isEmpty() || place < 0) {
            return bring(index, nonceField, path, nonce, fault);
        }
        nonce = memoryAt(path);
        return true;
    }

    /// The bytes for which addMemory() returned this path.
    [[nodiscard]] QByteArray memoryAt(const QString& path) const {
        return plan_.task.memory.value(path.section(u'/', -1).toInt() - firstMemoryFile);
    }

    const ProductionJob& job_;
    const JobKeys& keys_;
    const SiteSecret& site_;
    DevicePlan& plan_;
    Device device_;
};

}  // namespace

void NonceSource::use(const ledger::Lease& lease) {
    lease_ = lease;
    used_ = 0;
}

qint64 NonceSource::left() const {
    return qint64{lease_.count} - used_;
}

QByteArray NonceSource::next(int size) {
    Q_ASSERT(left() > 0 && size > lease_.epoch.size());
    const quint64 counter = qToBigEndian<quint64>(lease_.first + used_++);
    const QByteArray bytes(reinterpret_cast<const char*>(&counter), sizeof counter);
    return lease_.epoch + bytes.last(size - lease_.epoch.size());
}

qint64 noncesNeeded(const ProductionJob& job) {
    return std::count_if(job.steps.begin(), job.steps.end(), [](const Step& step) { return usesNonce(step); });
}

bool planDevice(const ProductionJob& job, const JobKeys& keys, const SiteSecret& site, const DeviceRow& row,
                const QString& folder, NonceSource& nonces, DevicePlan& plan, QString& fault) {
    DevicePlan made;
    made.task.id = plan.task.id;
    made.task.serial = row.serial;
    made.task.values = row.values;
    made.task.folder = folder;
    Planner planner(job, keys, site, made);
    if (!planner.takeSecrets(nonces, fault)) {
        return false;
    }
    for (qsizetype i = 0; i < job.steps.size(); ++i) {
        if (!planner.planStep(i, fault)) {
            return false;
        }
    }
    plan = made;
    return true;
}

}  // namespace produce
