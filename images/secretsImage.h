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

/// Reads a secrets image in the layout of device `deviceId`: either the file at `path`, or `image` in memory, which
/// messages call `path`. On success, replaces `segments` and returns 0. On failure, returns -1, with a message. An
/// image has at most 65,535 records. In the fixed layout, every word becomes one segment with protection 0.
[[nodiscard]] int parseSecretsImage(std::uint32_t deviceId, const QString& path, QList<SecretSegment>& segments);
[[nodiscard]] int parseSecretsImage(std::uint32_t deviceId, QByteArrayView image, const QString& path,
                                    QList<SecretSegment>& segments);

/// Checks that no two segments overlap and that the last one ends inside the device's OTP memory. A nonce counts as
/// data here. Only the first fault is reported.
[[nodiscard]] bool checkSecretsOverlap(const QList<SecretSegment>& segments, std::uint32_t deviceId);
