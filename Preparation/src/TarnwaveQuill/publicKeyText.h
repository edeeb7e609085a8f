#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QList>
#include <QString>

#include <cstdint>

class QIODevice;

/// The modulus as a public key text shows it.
struct PublicKeyText {
    QList<std::int32_t> modulusBytes;  ///< 0 to 255 each, most significant first, without the sign byte
    QByteArray modulusHex;             ///< the same as hexadecimal digits without separators
};

/// Writes the text file of a public key: its parts as OpenSSL prints them, then the PEM block of the file at
/// `publicPath`. False, with a message, if that holds no RSA key or the text can't be written.
[[nodiscard]] bool writePublicKeyText(const QString& publicPath, const QString& txtPath);

/// Takes the modulus out of such a text, read from where `text` stands.
[[nodiscard]] PublicKeyText parsePublicKeyText(QIODevice& text);

/// Takes the public exponent out of such a text; 0 if no line tells one. False, with a message, for any other than 3,
/// 17 and 65537.
[[nodiscard]] bool readExponent(QIODevice& text, std::uint32_t& exponent);

/// The constant of Montgomery multiplication with 64-bit words, 2^(128 L) modulo n for the L words of the modulus n:
/// `r2` has as many bytes as the modulus, most significant first. False for what is no positive number of at most 2048
/// bits.
[[nodiscard]] bool computeR2(const QByteArray& modulusHex, QByteArray& r2);
