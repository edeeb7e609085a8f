#include "record/envelope.h"

#include "record/StationKey.h"
#include "record/lineForm.h"

#include <QJsonArray>

namespace record {

QByteArray preAuthEncoding(QByteArrayView type, QByteArrayView body) {
    QByteArray bytes = "DSSEv1 " + QByteArray::number(type.size()) + ' ';
    bytes.append(type).append(' ').append(QByteArray::number(body.size())).append(' ').append(body);
    return bytes;
}

bool sealEnvelope(const QByteArray& payload, const StationKey& key, QJsonObject& envelope) {
    QByteArray signature;
    if (!key.sign(preAuthEncoding(payloadType, payload), signature)) {
        return false;
    }
    const QJsonObject signed_{{QStringLiteral("keyid"), key.id()},
                              {QStringLiteral("sig"), QString::fromLatin1(signature.toBase64())}};
    envelope = {{QStringLiteral("payload"), QString::fromLatin1(payload.toBase64())},
                {QStringLiteral("payloadType"), QLatin1String(payloadType)},
                {QStringLiteral("signatures"), QJsonArray{signed_}}};
    return true;
}

bool openEnvelope(const QJsonObject& envelope, const StationPublicKey& key, QByteArray& payload, QString& fault) {
    const QJsonObject signature = envelope.value(QLatin1String("signatures")).toArray().at(0).toObject();
    const QString id = signature.value(QLatin1String("keyid")).toString();
    if (id != key.id()) {
        fault = QStringLiteral("the checkpoint is signed with the key %1, not with the key %2").arg(id, key.id());
        return false;
    }
    const QByteArray body = QByteArray::fromBase64(envelope.value(QLatin1String("payload")).toString().toLatin1());
    const QByteArray sig = QByteArray::fromBase64(signature.value(QLatin1String("sig")).toString().toLatin1());
    switch (key.verify(preAuthEncoding(payloadType, body), sig)) {
        case StationPublicKey::Check::holds:
            payload = body;
            return true;
        case StationPublicKey::Check::doesNotHold:
            fault = QStringLiteral("the signature of the checkpoint is wrong");
            return false;
        case StationPublicKey::Check::failed:
            break;
    }
    fault = QStringLiteral("the signature of the checkpoint can't be checked");
    return false;
}

}  // namespace record
