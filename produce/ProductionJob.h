#pragma once

#include "jobs/jobTable.h"

#include <QByteArray>
#include <QList>
#include <QStringList>

namespace produce {

/// A key that steps name as {key:NAME}.
struct KeySource {
    QString name;
    QString path;   ///< absolute; it can be /proc/self/fd/N. Empty for a key in a token
    QString token;  ///< the PKCS #11 URI of a secret key
    QString use;    ///< the use that keys of devices are derived for; empty if the token's own key is used
    int size = 16;  ///< size of a derived key in bytes: 16 or 32
};

/// A file that is copied into the device's folder before the step runs.
struct Copy {
    QString from;         ///< a path, {nonce} or {nonce:STEP}; may have placeholders
    QString to;           ///< begins with {out}/
    bool expand = false;  ///< {serial} and {column:NAME} in the text of the file are replaced
};

/// An option of `qvora-inspect verify`, without dashes.
struct ProofArgument {
    QString option;
    QString value;
    bool isPath = false;
};

/// One command of the tool for each device. Texts are as in the job file: placeholders aren't filled in.
struct Step {
    QString name;
    const jobs::JobRow* row = nullptr;
    jobs::JobValues values;  ///< values of all fields, including the initial values
    QList<Copy> copies;
    QList<ProofArgument> proof;  ///< replaces the derived options of the same names
    QStringList withoutProof;    ///< derived options that are left out
    bool derivesProof = true;
    int timeoutSeconds = 60;
    QString place;            ///< place in the job file, for messages: "steps[0]"
    QStringList savedFields;  ///< the ids of the values that are from a saved job
};

/// The steps that are run for each device, in their order.
struct ProductionJob {
    QString path;    ///< path of the job file
    QString folder;  ///< folder of the job file; relative paths start here
    QString product;
    QList<KeySource> keys;
    QList<Step> steps;
    QStringList columns;  ///< the columns that the device table has in addition to "serial"
    /// SHA-256 of the job file's bytes, followed by those of its saved jobs in the order of the steps and of its
    /// policy. Each of these texts is one JSON document, so the digest fixes where each ends.
    QByteArray digest;
    bool allowsDevelopmentKeys = false;
};

/// Whether the step uses a nonce of the ledger: its field "nonce" is {nonce}.
[[nodiscard]] bool usesNonce(const Step& step);

/// The size of the nonce that the step's command needs: 12 or 16 bytes.
[[nodiscard]] int nonceSize(const Step& step);

/// The place of a field's value in the job file, for messages: "steps[0].values.key".
[[nodiscard]] QString placeOf(const Step& step, const QString& field);

/// The step with this name; -1 if there is none.
[[nodiscard]] qsizetype stepNamed(const ProductionJob& job, const QString& name);

/// Whether the command writes to the path of the field.
[[nodiscard]] bool isOutput(const jobs::FieldRow& row);

/// Whether `text` names a product, a step, a key or a device: 1 to 64 ASCII letters, digits, "-", "_" and ".", and the
/// first one isn't "-" or ".".
[[nodiscard]] bool isName(QStringView text);

}  // namespace produce
