// The public key of a wireless chip as C or Python source or as text. The modulus determines the whole file. The opener
// makes the expected file from the modulus and compares the two. The comparison finds every changed character.

#include "inspect/PublicKey.h"
#include "inspect/cipher.h"
#include "inspect/formats.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <optional>

namespace inspect {

namespace {

constexpr qsizetype modulusSize = 256;
constexpr std::uint32_t keyExponent = 65537;

struct Form {
    const char* name;
    const char* start;         ///< the start of the file
    const char* modulusStart;  ///< the text before the modulus
    char modulusEnd;           ///< the character after the modulus
    bool isHex;
    QByteArray (*write)(const PublicKey& key);
};

QByteArray decimalList(const QByteArray& bytes) {
    QByteArray text;
    for (const char byte : bytes) {
        text += (text.isEmpty() ? "" : ",") + QByteArray::number(static_cast<std::uint8_t>(byte));
    }
    return text;
}

QByteArray writeC(const PublicKey& key) {
    return "#include \"tarnwave_x_device.h\"\n\nconst uint8_t modulus[] = {" + decimalList(key.modulus()) +
           "};\n\nconst uint8_t r2[] = {" + decimalList(key.montgomerySquare()) +
           "};\n\nconst uint8_t exponent[] = {0x00, 0x01, 0x00, 0x01};\n";
}

QByteArray writePython(const PublicKey& key) {
    return "modulus = [" + decimalList(key.modulus()) + "]\n\nr2 = [" + decimalList(key.montgomerySquare()) +
           "]\n\nexponent = [0x00, 0x01, 0x00, 0x01]\n";
}

QByteArray writeText(const PublicKey& key) {
    constexpr qsizetype lineSize = 15;
    const QByteArray number = QByteArray(1, '\0') + key.modulus();
    QByteArray text = "Public-Key: (2048 bit)\nModulus:\n";
    for (qsizetype at = 0; at < number.size(); at += lineSize) {
        const bool isLast = at + lineSize >= number.size();
        text += "    " + number.mid(at, lineSize).toHex(':') + (isLast ? "\n" : ":\n");
    }
    return text + "Exponent: 65537 (0x10001)\n" + key.pem();
}

constexpr std::array forms = {
    Form{"c", "#include \"tarnwave_x_device.h\"", "modulus[] = {", '}', false, writeC},
    Form{"python", "modulus = [", "modulus = [", ']', false, writePython},
    Form{"text", "Public-Key: (", "Modulus:\n", 'E', true, writeText},
};

const Form* formOf(QByteArrayView bytes) {
    const auto form = std::find_if(forms.begin(), forms.end(),
                                   [bytes](const Form& candidate) { return bytes.startsWith(candidate.start); });
    return form == forms.end() ? nullptr : &*form;
}

// Reads the numbers and ignores all text between them; the comparison of the whole file finds faults in that text.
QByteArray parseBytes(QByteArrayView list, bool isHex) {
    QByteArray bytes;
    QByteArray number;
    for (const char character : list.toByteArray() + ',') {
        if (std::isxdigit(static_cast<unsigned char>(character)) != 0) {
            number += character;
        } else if (!number.isEmpty()) {
            bool isNumber = false;
            bytes += static_cast<char>(number.toUInt(&isNumber, isHex ? 16 : 10) & 0xFF);
            number.clear();
            if (!isNumber) {
                return {};
            }
        }
    }
    return bytes;
}

/// The key with the file's modulus; of kind none if there is no modulus of the right size.
PublicKey keyOf(QByteArrayView bytes, const Form& form) {
    constexpr qsizetype longestList = 8 * modulusSize;
    const qsizetype found = bytes.indexOf(QByteArrayView(form.modulusStart));
    if (found < 0) {
        return PublicKey({});
    }
    const QByteArrayView rest = bytes.sliced(found + static_cast<qsizetype>(qstrlen(form.modulusStart)));
    const qsizetype end = rest.first(std::min(rest.size(), longestList)).indexOf(form.modulusEnd);
    if (end < 0) {
        return PublicKey({});
    }
    QByteArray modulus = parseBytes(rest.first(end), form.isHex);
    if (form.isHex && modulus.startsWith('\0')) {
        modulus.remove(0, 1);
    }
    return modulus.size() == modulusSize ? PublicKey::fromModulus(modulus, keyExponent) : PublicKey({});
}

}  // namespace

Match matchWirelessKeyFile(QByteArrayView bytes) {
    return formOf(bytes) != nullptr ? Match::magic : Match::no;
}

void describeWirelessKeyFile(const Source& source, Description& description) {
    const QByteArrayView bytes = source.bytes;
    const Form* const form = formOf(bytes);
    const PublicKey key = form != nullptr ? keyOf(bytes, *form) : PublicKey({});
    if (form == nullptr || key.kind() == PublicKey::Kind::none) {
        if (form == nullptr || unusableReason() == Reason::unusableKey) {
            description.addFinding(FindingCode::noModulus, 0, -1);
        }
        description.addRange(bytes.size(), Role::unread, Cover::none);
        return;
    }
    Field name = textField("form", form->name);
    name.state = FieldState::derived;
    Field digest = bytesField("publicKeyDigest", sha256(key.der()));
    digest.state = FieldState::derived;
    Field bits = numberField("modulusBits", static_cast<std::uint64_t>(key.bits()));
    bits.state = FieldState::derived;
    Field exponent = numberField("exponent", keyExponent);
    exponent.state = FieldState::derived;
    description.fields = {name, bits, exponent, digest};

    const QByteArray expected = form->write(key);
    const auto difference = std::mismatch(bytes.begin(), bytes.end(), expected.begin(), expected.end());
    if (difference.first != bytes.end() || difference.second != expected.end()) {
        description.addFinding(FindingCode::wrongText, 0, difference.first - bytes.begin());
    }
    description.addRange(bytes.size(), Role::payload, Cover::structure);
}

void proveWirelessKeyFile(const Source& source, const Evidence& evidence, Description& description,
                          Contents* /*contents*/) {
    const Form* const form = formOf(source.bytes);
    const PublicKey key = form != nullptr ? keyOf(source.bytes, *form) : PublicKey({});
    if (evidence.publicKey.isEmpty()) {
        description.addUnchecked(CheckCode::sameKey, Reason::noPublicKey);
        return;
    }
    const PublicKey given(evidence.publicKey);
    if (given.kind() != PublicKey::Kind::rsa || unusableReason() == Reason::notOffered) {
        description.addUnchecked(CheckCode::sameKey, unusableReason());
        return;
    }
    description.addCheck(CheckCode::sameKey, key.kind() == PublicKey::Kind::rsa && key.der() == given.der());
}

}  // namespace inspect
