#pragma once

#include <QByteArray>

#include <cstdint>

/// The wanted content of a programmed card.
struct WantedCard {
    QByteArray key;  ///< 16 bytes
    QByteArray nonce;
    QByteArray persoData;  ///< empty: none
    std::uint32_t maxCounter = 0;
    QByteArray firmwareId;  ///< UTF-8, 1 to 15 bytes
};

enum class CardProof {
    holds,    ///< it is programmed with exactly this
    fresh,    ///< it isn't programmed
    differs,  ///< it is programmed with something else, which was reported
    failed,   ///< it can't be read, which was reported
};

/// Compares the card at the position `slot` with `wanted`. Logs in with the PIN in QVORA_HSM_PIN, once, and only if the
/// card is programmed. The key never leaves the card: the card encrypts a random block with it (AES, FIPS 197), and the
/// result is compared with that of `wanted.key`. Changes nothing on the card.
[[nodiscard]] CardProof proveCard(std::int32_t slot, const WantedCard& wanted);
