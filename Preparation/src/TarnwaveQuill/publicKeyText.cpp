#include "Preparation/src/TarnwaveQuill/publicKeyText.h"

#include "Preparation/primitives/keyFiles.h"
#include "Preparation/primitives/keyPem.h"
#include "Preparation/primitives/opensslObjects.h"
#include "display/Display.h"
#include "files/outputFile.h"

#include <QIODevice>

#include <openssl/bn.h>
#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <cctype>

namespace {

constexpr qint64 lineSize = 1024;  // with its terminator
constexpr qsizetype maxModulusDigits = 512;
constexpr std::array<std::uint32_t, 3> knownExponents = {3, 17, 65537};

QByteArray nextLine(QIODevice& text) {
    return text.readLine(lineSize - 1);
}

// Changes the first words of earlier OpenSSL releases to those of later ones.
void unifyFirstLine(QByteArray& text) {
    constexpr QByteArrayView former = "RSA Public-Key";
    constexpr QByteArrayView current = "Public-Key";
    const qsizetype at = text.indexOf(former);
    if (at >= 0) {
        text.replace(at, former.size(), current.data(), current.size());
    }
}

QByteArray digitsOf(QByteArray line, bool first) {
    constexpr QByteArrayView signByte = "00:";
    const qsizetype at = first ? line.indexOf(signByte) : -1;
    if (at >= 0) {
        line.remove(0, at + signByte.size());
    }
    return line.replace(':', QByteArrayView()).trimmed();
}

}  // namespace

bool writePublicKeyText(const QString& publicPath, const QString& txtPath) {
    QByteArray pem;
    if (!readKeyFile(publicPath, pem)) {
        return reportError("Error: Failed to open public key file\n");
    }
    const KeyPointer key = publicKeyFromPem(pem);
    const BioPointer bio = makeMemoryBio();
    if (!key || EVP_PKEY_get_base_id(key.get()) != EVP_PKEY_RSA || !bio ||
        EVP_PKEY_print_public(bio.get(), key.get(), 0, nullptr) != 1) {
        return reportError("Error: Failed to load RSA key from file\n");
    }
    QByteArray text = contentOf(bio.get()).toByteArray() + pem;
    unifyFirstLine(text);
    constexpr char notWritten[] = "Error: Failed to open public key text file\n";
    return reportReplacement(replaceFile(txtPath, text), txtPath, {notWritten, notWritten});
}

PublicKeyText parsePublicKeyText(QIODevice& text) {
    PublicKeyText result;
    QByteArray line = nextLine(text);
    while (!line.isEmpty() && !line.contains("Modulus:")) {
        if (line.contains("Exponent:")) {
            return result;
        }
        line = nextLine(text);
    }
    bool first = true;
    for (;;) {
        line = nextLine(text);
        if (line.isEmpty() || line.startsWith('\n') || line.contains("Exponent:")) {
            return result;
        }
        const QByteArray digits = digitsOf(line, first);
        first = false;
        for (qsizetype at = 0; at + 2 <= digits.size(); at += 2) {
            bool ok = false;
            const std::uint32_t byte = digits.mid(at, 2).toUInt(&ok, 16);
            if (ok) {
                result.modulusBytes.append(static_cast<std::int32_t>(byte));
            }
        }
        result.modulusHex += digits;
    }
}

bool readExponent(QIODevice& text, std::uint32_t& exponent) {
    exponent = 0;
    for (QByteArray line = nextLine(text); !line.isEmpty(); line = nextLine(text)) {
        const qsizetype word = line.indexOf("Exponent");
        const qsizetype open = word < 0 ? -1 : line.indexOf('(', word);
        const qsizetype close = open < 0 ? -1 : line.indexOf(')', open);
        if (close < 0) {
            continue;
        }
        bool ok = false;
        const std::uint32_t value = line.mid(open + 1, close - open - 1).trimmed().toUInt(&ok, 16);
        if (!ok || std::find(knownExponents.begin(), knownExponents.end(), value) == knownExponents.end()) {
            return reportError("Error wrong exponent!!!\n");
        }
        exponent = value;
        return true;
    }
    return true;
}

bool computeR2(const QByteArray& modulusHex, QByteArray& r2) {
    const bool allDigits = std::all_of(modulusHex.begin(), modulusHex.end(), [](char digit) {
        return std::isxdigit(static_cast<unsigned char>(digit)) != 0;
    });
    if (modulusHex.isEmpty() || modulusHex.size() > maxModulusDigits || !allDigits) {
        return false;
    }
    constexpr qsizetype digitsPerWord = 16;
    const auto words = static_cast<int>((modulusHex.size() + digitsPerWord - 1) / digitsPerWord);
    BIGNUM* number = nullptr;
    const bool read = BN_hex2bn(&number, modulusHex.constData()) == modulusHex.size();
    const NumberPointer modulus(number);
    const NumberPointer power(BN_new());
    const NumberContext context(BN_CTX_new());
    if (!read || !power || !context || BN_set_bit(power.get(), 128 * words) != 1 ||
        BN_mod(power.get(), power.get(), modulus.get(), context.get()) != 1) {
        return false;
    }
    const auto size = static_cast<int>((modulusHex.size() + 1) / 2);
    QByteArray bytes(size, '\0');
    if (BN_bn2binpad(power.get(), reinterpret_cast<unsigned char*>(bytes.data()), size) != size) {
        return false;
    }
    r2 = bytes;
    return true;
}
