#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QString>

// The DSSE envelope (version 1.0.2) around the statement of a checkpoint.

namespace record {

class StationKey;
class StationPublicKey;

/// The bytes that are signed: "DSSEv1", then the length and the bytes of `type` and of `body`, with blanks between.
[[nodiscard]] QByteArray preAuthEncoding(QByteArrayView type, QByteArrayView body);

/// Signs a statement. False if the key can't sign.
[[nodiscard]] bool sealEnvelope(const QByteArray& payload, const StationKey& key, QJsonObject& envelope);

/// Verifies the envelope of a line whose form has no fault, and returns the bytes that were signed. Nothing parses
/// these bytes before they are verified. False, with the reason, if they aren't signed with the key.
[[nodiscard]] bool openEnvelope(const QJsonObject& envelope, const StationPublicKey& key, QByteArray& payload,
                                QString& fault);

}  // namespace record
