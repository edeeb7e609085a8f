#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

namespace ledger {

/// The numbers for a status page. Times are milliseconds since 1970-01-01 UTC; 0 means never.
struct Summary {
    struct Product {
        QString name;
        qint64 proven = 0;       ///< attempts that are proven and not recalled
        qint64 failed = 0;       ///< attempts
        qint64 interrupted = 0;  ///< attempts
        qint64 open = 0;         ///< attempts without an end
        qint64 recalled = 0;     ///< attempts
    };
    /// A device with at least one failed attempt.
    struct Trouble {
        QString product;
        QString serial;
        qint64 failures = 0;
        QString reason;  ///< reason of the last failure
        qint64 time = 0;
    };
    struct Bucket {
        qint64 start = 0;
        qint64 proven = 0;
        qint64 failed = 0;
        qint64 interrupted = 0;
        qint64 recalled = 0;
    };
    struct Key {
        QByteArray fingerprint;
        QString label;   ///< empty if only the IVs of the key are in the ledger
        QString source;  ///< empty if `label` is
        bool isRetired = false;
        qint64 firstUse = 0;
        qint64 ivs = 0;
    };
    struct Epoch {
        qint64 number = 0;
        QByteArray id;
        QByteArray replaced;
        qint64 time = 0;
    };
    struct Station {
        QString name;
        qint64 since = 0;
        qint64 claims = 0;
        qint64 leases = 0;
        qint64 records = 0;  ///< number of the last line
        qint64 recordTime = 0;
        qint64 checkpoint = 0;  ///< number of the last line whose kind is "checkpoint"
    };

    static constexpr qint64 mostTroubles = 1000;
    static constexpr qint64 buckets = 60;

    QList<Product> products;
    QList<Trouble> troubles;  ///< the latest ones, at most mostTroubles
    qint64 troubleCount = 0;  ///< number of all devices with a failed attempt
    qint64 bucketLength = 0;  ///< milliseconds
    QList<Bucket> outcomes;   ///< at most `buckets`, from the first outcome to the last, without gaps
    QList<Key> keys;
    QList<Epoch> epochs;
    QList<Station> stations;
};

}  // namespace ledger
