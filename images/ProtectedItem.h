#pragma once

#include <QMap>
#include <QString>

#include <cstdint>

/// One field of an item's protection word. Neither the word nor any check looks at `BitWidth`: a value too wide for
/// its field spills into the neighbour.
struct ProtectionField {
    std::uint8_t BitOffset = 0;  ///< taken modulo 32
    std::uint8_t BitWidth = 0;
    std::uint16_t BitValue = 0;
    QMap<std::uint16_t, QString> PossibleValues;  ///< value to label, for a selection list
};

/// Values of `EncWrap`, `KeySize` and `Algorithm` that rules look at; others are passed on to the device.
enum EncWrapValue : std::uint16_t { encWrapNone = 0, encWrapWrapping = 1, encWrapEncryption = 2 };
enum KeySizeValue : std::uint16_t { keySize128 = 0, keySize256 = 1 };
enum AlgorithmValue : std::uint16_t { algorithmEcb = 0, algorithmCbc = 1, algorithmCtr = 2 };

/// What a backup item and a secret item have in common.
struct ProtectedItem {
    QString Name;
    std::uint32_t Offset = 0;
    ProtectionField Lock;
    ProtectionField CID;
    ProtectionField EncWrap;
    ProtectionField KeySel;
    ProtectionField KeySize;
    ProtectionField Algorithm;
    QString Nonce;  ///< path of a nonce file, may be empty
    ProtectionField HDPL;
};

/// The OR of every field's value at its place.
[[nodiscard]] std::uint32_t protectionWord(const ProtectedItem& item);

/// The bytes of nonce inside a segment of `size` bytes under a protection word, whatever place a document gave the
/// algorithm in it.
[[nodiscard]] std::uint32_t nonceBytes(std::uint32_t protection);
