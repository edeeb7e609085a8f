#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QList>
#include <QString>

#include <cstdint>

/// A run of OTP words of a secrets image.
struct SecretSegment {
    std::uint32_t offset = 0;  ///< index of the first OTP word
    std::uint32_t word = 0;    ///< the index in the low half, protection bits in the high half
    std::uint32_t size = 0;    ///< bytes of data, the nonce's 16 bytes included
    QByteArray data{};
};

/// Reads the secrets image at `path`, or the `image` of that name in memory, in the layout of device `deviceId`. An
/// image may have 65,535 records. 0 on success, when `segments` is replaced; -1 with a message otherwise. The fixed
/// layout gives one segment a word, with protection 0.
[[nodiscard]] int parseSecretsImage(std::uint32_t deviceId, const QString& path, QList<SecretSegment>& segments);
[[nodiscard]] int parseSecretsImage(std::uint32_t deviceId, QByteArrayView image, const QString& path,
                                    QList<SecretSegment>& segments);

/// True when no two segments overlap, a nonce counting as data, and the last one ends inside the device's OTP memory.
/// The first fault is reported.
[[nodiscard]] bool checkSecretsOverlap(const QList<SecretSegment>& segments, std::uint32_t deviceId);
