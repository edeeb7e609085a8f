#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QList>
#include <QString>

#include <cstdint>

class QIODevice;

/// The modulus of a public key text.
struct PublicKeyText {
    QList<std::int32_t> modulusBytes;  ///< 0 to 255 each, most significant first, without the sign byte
    QByteArray modulusHex;             ///< the same as hexadecimal digits without separators
};

/// Writes the text file of a public key: its parts in OpenSSL's text form, then the PEM block of the file at
/// `publicPath`. False, with a message, if that file isn't an RSA key or the text can't be written.
[[nodiscard]] bool writePublicKeyText(const QString& publicPath, const QString& txtPath);

/// Reads the modulus from a public key text, beginning at the current position of `text`.
[[nodiscard]] PublicKeyText parsePublicKeyText(QIODevice& text);

/// Reads the public exponent from a public key text; 0 if no line contains one. False, with a message, if it isn't 3,
/// 17 or 65537.
[[nodiscard]] bool readExponent(QIODevice& text, std::uint32_t& exponent);

/// Computes the constant of Montgomery multiplication with 64-bit words: 2^(128 L) modulo n. L is the number of words
/// of the modulus n. `r2` has as many bytes as the modulus, most significant first. False if the modulus isn't a
/// positive number of at most 2048 bits.
[[nodiscard]] bool computeR2(const QByteArray& modulusHex, QByteArray& r2);
