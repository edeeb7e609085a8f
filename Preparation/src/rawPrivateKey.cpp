#include "Preparation/src/rawPrivateKey.h"

#include "display/Display.h"

#include <array>
#include <cstdint>

// The PKCS #8 DER of a private key on Prime256v1, 138 bytes, as OpenSSL writes it:
//
//   0  30 81 87               PrivateKeyInfo
//   3  02 01 00               version
//   6  30 13 ...              algorithm, 21 bytes
//  27  04 6D                  OCTET STRING
//  29  30 6B                  ECPrivateKey
//  31  02 01 01               version
//  34  04 20 ...              the scalar, 34 bytes
//  68  A1 44 03 42 00 04 ...  the public key, 70 bytes
//
// The device expects the key without the public key. removePublicKey reduces the three lengths that include the public
// key. The two header bytes of the public key stay at the end; the second one is the number of removed bytes.

namespace {

constexpr qsizetype publicKeyOffset = 68;

struct Landmark {
    qsizetype offset;
    std::uint8_t expected;
    qsizetype lowered;  // offset of the length byte to reduce, or -1
    const char* message;
};

constexpr std::array landmarks = {
    Landmark{publicKeyOffset, 0xA1, -1, "Error: offset_PUB value Private Key \n"},
    Landmark{29, 0x30, 30, "Error: offset_SEQ value Private Key \n"},
    Landmark{27, 0x04, 28, "Error: offset_OCT_STR value Private Key \n"},
    Landmark{0, 0x30, -1, "Error: Start value Private Key \n"},
    Landmark{1, 0x81, 2, "Error: Start value Private Key \n"},
};

}  // namespace

bool removePublicKey(QByteArray& der) {
    const auto byteAt = [&der](qsizetype offset) {
        return offset < der.size() ? static_cast<std::uint8_t>(der.at(offset)) : std::uint8_t{0};
    };
    const std::uint8_t removed = byteAt(publicKeyOffset + 1);
    for (const Landmark& landmark : landmarks) {
        if (byteAt(landmark.offset) != landmark.expected) {
            return reportError("%s", landmark.message);
        }
        if (landmark.lowered >= 0) {
            der.data()[landmark.lowered] = static_cast<char>(byteAt(landmark.lowered) - removed);
        }
    }
    // The check of the first landmark ensures that there are more than 68 bytes.
    der.truncate(der.size() - publicKeyOffset);
    return true;
}
