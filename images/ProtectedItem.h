#pragma once

#include <QMap>
#include <QString>

#include <array>
#include <cstdint>

/// One field of an item's protection word. `BitWidth` isn't enforced here: a value that is too wide for its field
/// changes the next field.
struct ProtectionField {
    std::uint8_t BitOffset = 0;  ///< taken modulo 32
    std::uint8_t BitWidth = 0;
    std::uint16_t BitValue = 0;
    QMap<std::uint16_t, QString> PossibleValues{};  ///< value to label, for a selection list
};

/// Values of `EncWrap`, `KeySize` and `Algorithm` with rules of their own. All other values are allowed, too.
enum EncWrapValue : std::uint16_t { encWrapNone = 0, encWrapWrapping = 1, encWrapEncryption = 2 };
enum KeySizeValue : std::uint16_t { keySize128 = 0, keySize256 = 1 };
enum AlgorithmValue : std::uint16_t { algorithmEcb = 0, algorithmCbc = 1, algorithmCtr = 2 };

/// The protection fields of a backup item or a secret item, in document order.
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

/// A view of the members that backup items and secret items have in common. The item must outlive the view. The item
/// types have no common base class, so that callers can use aggregate initialisation.
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

/// Whether the item's algorithm needs a nonce, which is stored before the data.
[[nodiscard]] bool hasNonce(const ProtectedItem& item);

/// The OR of the values of all fields, each shifted to its offset.
[[nodiscard]] std::uint32_t protectionWord(const ProtectedItem& item);

/// The number of nonce bytes in a segment with this protection word. The algorithm is read from the bits where the
/// device expects it, even if a document gives it another offset.
[[nodiscard]] std::uint32_t nonceBytes(std::uint32_t protection);
