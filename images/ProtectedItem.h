#pragma once

#include <QMap>
#include <QString>

#include <array>
#include <cstdint>

/// One field of an item's protection word. Neither the word nor any check looks at `BitWidth`: a value too wide for
/// its field spills into the neighbour.
struct ProtectionField {
    std::uint8_t BitOffset = 0;  ///< taken modulo 32
    std::uint8_t BitWidth = 0;
    std::uint16_t BitValue = 0;
    QMap<std::uint16_t, QString> PossibleValues{};  ///< value to label, for a selection list
};

/// Values of `EncWrap`, `KeySize` and `Algorithm` that rules look at; others are passed on to the device.
enum EncWrapValue : std::uint16_t { encWrapNone = 0, encWrapWrapping = 1, encWrapEncryption = 2 };
enum KeySizeValue : std::uint16_t { keySize128 = 0, keySize256 = 1 };
enum AlgorithmValue : std::uint16_t { algorithmEcb = 0, algorithmCbc = 1, algorithmCtr = 2 };

/// The protection fields of a backup item or a secret item, in the order of documents.
enum ProtectionIndex : std::size_t {
    lockField,
    cidField,
    encWrapField,
    keySelField,
    keySizeField,
    algorithmField,
    hdplField
};
template <typename Field>
using ProtectionFields = std::array<Field*, hdplField + 1>;

template <typename Item>
[[nodiscard]] auto protectionFields(Item& item) {
    return std::array{&item.Lock, &item.CID, &item.EncWrap, &item.KeySel, &item.KeySize, &item.Algorithm, &item.HDPL};
}

/// What a backup item and a secret item have in common: a view of one, which must outlive it. Both items are plain
/// lists of members, so that their users can make them by braces.
struct ProtectedItem {
    template <typename Item>
    ProtectedItem(const Item& item)
        : Name(item.Name), Offset(item.Offset), Nonce(item.Nonce), fields(protectionFields(item)) {}

    const QString& Name;
    std::uint32_t Offset;
    const QString& Nonce;
    ProtectionFields<const ProtectionField> fields;

    [[nodiscard]] std::uint16_t value(ProtectionIndex index) const { return fields[index]->BitValue; }
};

/// The OR of every field's value at its place.
[[nodiscard]] std::uint32_t protectionWord(const ProtectedItem& item);

/// The bytes of nonce inside a segment of `size` bytes under a protection word, whatever place a document gave the
/// algorithm in it.
[[nodiscard]] std::uint32_t nonceBytes(std::uint32_t protection);
