// MCUboot image, such as a module update `.kdu`: header, code and TLVs. Everything except the unprotected TLVs is
// hashed and signed.

#include "files/isZero.h"
#include "files/readExactly.h"
#include "inspect/McubootNumbers.h"
#include "inspect/PublicKey.h"
#include "inspect/cipher.h"
#include "inspect/formats.h"
#include "inspect/lzma2.h"
#include "inspect/mcubootCipher.h"
#include "inspect/mcubootEntries.h"

#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <map>
#include <optional>

namespace inspect {

namespace {

constexpr std::uint32_t imageMagic = 0x96F3B83D;
constexpr std::uint16_t protectedMagic = 0x6908;
constexpr std::uint16_t plainMagic = 0x6907;
constexpr qsizetype headerSize = 32;  // the size of the fields; the whole header may be longer
constexpr qsizetype entrySize = 4;
constexpr int signatureLimit = 16;  // a bootloader has fewer keys, and each check hashes the whole image

constexpr std::uint32_t lzma2Flag = 0x400;
constexpr std::uint32_t thumbFlag = 0x800;
constexpr std::uint32_t packedFlags = lzma2Flag | thumbFlag;
constexpr std::uint32_t aes256Flag = 0x08;
constexpr std::uint32_t encryptedFlags = 0x04 | aes256Flag;
constexpr qsizetype cipherBlock = 16;                // encrypted code is padded with zeros to a multiple of this size
constexpr std::uint32_t placedFlags = 0x20 | 0x100;  // either flag makes the load address valid

enum class TlvRole {
    other,
    keyHash,
    publicKey,
    digest,
    rsa,
    ecdsa,
    ed25519,
    unprovenSignature,
    pureSignature,
    wrappedKey,
    plainSize,
    plainDigest,
    plainSignature,
    packedSize,
};

struct TlvType {
    std::uint16_t number;
    const char* name;
    TlvRole role = TlvRole::other;
};

constexpr std::array tlvTypes = {
    TlvType{0x01, "keyHash", TlvRole::keyHash},
    TlvType{0x02, "publicKey", TlvRole::publicKey},
    TlvType{0x10, "sha256", TlvRole::digest},
    TlvType{0x11, "sha384", TlvRole::digest},
    TlvType{0x12, "sha512", TlvRole::digest},
    TlvType{0x20, "rsa2048Pss", TlvRole::rsa},
    TlvType{0x21, "ecdsa224", TlvRole::unprovenSignature},
    TlvType{0x22, "ecdsa", TlvRole::ecdsa},
    TlvType{0x23, "rsa3072Pss", TlvRole::rsa},
    TlvType{0x24, "ed25519", TlvRole::ed25519},
    TlvType{0x25, "pureSignature", TlvRole::pureSignature},
    TlvType{0x30, "encryptedByRsa2048", TlvRole::wrappedKey},
    TlvType{0x31, "encryptedByAesKw"},
    TlvType{0x32, "encryptedByEcP256", TlvRole::wrappedKey},
    TlvType{0x33, "encryptedByX25519", TlvRole::wrappedKey},
    TlvType{0x34, "encryptedByX25519Sha512", TlvRole::wrappedKey},
    TlvType{0x40, "dependency"},
    TlvType{0x50, "securityCounter"},
    TlvType{0x60, "bootRecord"},
    TlvType{0x70, "decompressedSize", TlvRole::plainSize},
    TlvType{0x71, "decompressedDigest", TlvRole::plainDigest},
    TlvType{0x72, "decompressedSignature", TlvRole::plainSignature},
    TlvType{0x73, "compressedSize", TlvRole::packedSize},
    TlvType{0x74, "vendorId"},
    TlvType{0x75, "classId"},
};

struct Tlv {
    std::uint16_t type = 0;
    qint64 offset = 0;
    QByteArrayView value;
    bool isProtected = false;
    [[nodiscard]] TlvRole role() const;
};

const TlvType* typeOf(std::uint16_t number) {
    const auto* const type = std::find_if(tlvTypes.begin(), tlvTypes.end(),
                                          [number](const TlvType& candidate) { return candidate.number == number; });
    return type == tlvTypes.end() ? nullptr : type;
}

TlvRole Tlv::role() const {
    const TlvType* const known = typeOf(type);
    return known != nullptr ? known->role : TlvRole::other;
}

bool isSignature(TlvRole role) {
    return role == TlvRole::rsa || role == TlvRole::ecdsa || role == TlvRole::ed25519 ||
           role == TlvRole::unprovenSignature;
}

/// The place of a block of TLVs.
struct TlvBlock {
    qint64 offset = 0;
    qint64 size = 0;  ///< with its head; smaller than the block's size field if the file is cut off
    bool isThere = false;
};

struct McubootImage {
    std::uint32_t magic = 0;
    std::uint32_t loadAddress = 0;
    std::uint16_t headerSize = 0;
    std::uint16_t protectedSize = 0;
    std::uint32_t imageSize = 0;
    std::uint32_t flags = 0;
    std::array<std::uint32_t, 4> version{};  ///< major, minor, revision, build
    QByteArrayView code;
    QByteArrayView covered;  ///< the bytes that are hashed and signed
    TlvBlock protectedBlock;
    TlvBlock plainBlock;
    std::vector<Tlv> tlvs;
    qint64 end = 0;
    bool isWhole = false;
    bool isBigEndian = false;
    bool isOpen = true;  ///< `code` and `covered` are plain
    std::vector<Finding> findings;
    std::map<std::uint16_t, QByteArray>
        digests;         ///< digests of `covered` by type, kept because entries may repeat a type
    int signatures = 0;  ///< number of signatures checked so far

    void find(FindingCode fault, qint64 at, std::vector<Field> arguments = {}) {
        findings.push_back({fault, 0, at, std::move(arguments)});
    }
};

bool isBigEndian(QByteArrayView bytes) {
    return ByteReader(bytes).u32() == qbswap(imageMagic);
}

/// Reads a block that starts at the reader's position. Returns false if reading can't continue after it.
bool readBlock(McubootNumbers& numbers, std::uint16_t magic, bool isProtected, McubootImage& image, TlvBlock& block) {
    constexpr qsizetype headSize = 4;
    ByteReader& reader = numbers.bytes();
    block.offset = reader.position();
    if (reader.remaining() < headSize) {
        addCut(image.findings, headSize, reader.remaining(), block.offset);
        return false;
    }
    const std::uint16_t found = numbers.u16();
    const std::uint16_t total = numbers.u16();
    if (found != magic || total < headSize) {
        image.find(FindingCode::badTlvBlock, block.offset,
                   {numberField("value", found), numberField("expected", magic)});
        reader.seek(block.offset);
        return false;
    }
    block.isThere = true;
    const qint64 end = block.offset + std::min<qint64>(total, headSize + reader.remaining());
    block.size = end - block.offset;
    addCut(image.findings, total, block.size, end);
    if (isProtected && total != image.protectedSize) {
        image.find(FindingCode::wrongSize, block.offset + 2,
                   {numberField("value", total), numberField("expected", image.protectedSize)});
    }
    while (end - reader.position() >= entrySize) {
        Tlv tlv;
        tlv.offset = reader.position();
        tlv.isProtected = isProtected;
        tlv.type = numbers.type();
        const std::uint16_t length = numbers.u16();
        const qint64 left = end - reader.position();
        tlv.value = reader.take(std::min<qint64>(length, left));
        addCut(image.findings, length, left, end);
        image.tlvs.push_back(tlv);
    }
    if (reader.position() != end) {
        addCut(image.findings, entrySize, end - reader.position(), end);
        reader.seek(end);
    }
    return block.size == total;
}

McubootImage readMcuboot(QByteArrayView bytes) {
    McubootImage image;
    image.isBigEndian = isBigEndian(bytes);
    McubootNumbers numbers(bytes, image.isBigEndian);
    ByteReader& reader = numbers.bytes();
    image.magic = numbers.u32();
    image.loadAddress = numbers.u32();
    image.headerSize = numbers.u16();
    image.protectedSize = numbers.u16();
    image.imageSize = numbers.u32();
    image.flags = numbers.u32();
    image.version = {reader.u8(), reader.u8(), numbers.u16(), numbers.u32()};
    reader.skip(4);
    if (!reader.ok()) {
        addCut(image.findings, headerSize, bytes.size(), bytes.size());
        return image;
    }
    if (image.magic != imageMagic) {
        image.find(FindingCode::badMagic, 0, {addressField("expected", imageMagic)});
    }
    if (image.headerSize < headerSize) {
        image.find(FindingCode::wrongSize, 8,
                   {numberField("value", image.headerSize), numberField("expected", headerSize)});
        image.end = headerSize;
        return image;
    }
    const qint64 codeEnd = qint64{image.headerSize} + image.imageSize;
    image.code = bytes.sliced(std::min<qint64>(image.headerSize, bytes.size()));
    image.end = bytes.size();
    if (codeEnd > bytes.size()) {
        addCut(image.findings, codeEnd, bytes.size(), bytes.size());
        return image;
    }
    image.code = image.code.first(image.imageSize);
    reader.seek(codeEnd);
    const bool goesOn =
        image.protectedSize == 0 || readBlock(numbers, protectedMagic, true, image, image.protectedBlock);
    image.covered = bytes.first(codeEnd + image.protectedBlock.size);
    image.isWhole = goesOn && readBlock(numbers, plainMagic, false, image, image.plainBlock);
    image.end = reader.position();
    return image;
}

bool has(const McubootImage& image, bool (*is)(TlvRole role)) {
    return std::any_of(image.tlvs.begin(), image.tlvs.end(),
                       [is](const Tlv& tlv) { return !tlv.isProtected && is(tlv.role()); });
}

bool isDigest(TlvRole role) {
    return role == TlvRole::digest;
}

Cover coverOf(const McubootImage& image) {
    if (has(image, isSignature)) {
        return Cover::signature;
    }
    const bool isEncrypted = (image.flags & encryptedFlags) != 0;
    return has(image, isDigest) && !isEncrypted ? Cover::digest : Cover::none;
}

void describeTlv(const Tlv& tlv, bool isBigEndian, Cover covered, Description& description) {
    const TlvType* const type = typeOf(tlv.type);
    Part part;
    part.name = tlv.isProtected ? "protectedTlv" : "tlv";
    part.index = static_cast<int>(description.parts.size()) + 1;
    part.offset = tlv.offset;
    part.size = entrySize + tlv.value.size();
    part.payloadOffset = tlv.offset + entrySize;
    part.payloadSize = tlv.value.size();
    part.isPlain = true;
    Field number = numberField("type", tlv.type);
    number.offset = tlv.offset;
    number.size = 2;
    number.meaning = type != nullptr ? type->name : nullptr;
    part.fields.push_back(std::move(number));
    describeEntry(tlv.type, tlv.value, isBigEndian, part, description);
    Cover cover = tlv.isProtected ? covered : Cover::none;
    Role role = Role::payload;
    if (!tlv.isProtected && (isDigest(tlv.role()) || isSignature(tlv.role()))) {
        cover = isDigest(tlv.role()) ? Cover::digest : Cover::signature;
        role = Role::tag;
    }
    description.addRange(entrySize, Role::header, cover, part.index);
    description.addRange(tlv.value.size(), role, cover, part.index);
    description.parts.push_back(std::move(part));
}

// Adds the block's entries, and an unread range for bytes between the last entry and the end of the block.
void describeBlock(const McubootImage& image, const TlvBlock& block, bool isProtected, Cover cover,
                   Description& description) {
    constexpr qint64 headSize = 4;
    if (!block.isThere) {
        return;
    }
    description.addRange(headSize, Role::header, isProtected ? cover : Cover::structure);
    for (const Tlv& tlv : image.tlvs) {
        if (tlv.isProtected == isProtected) {
            describeTlv(tlv, image.isBigEndian, cover, description);
        }
    }
    description.addRange(block.offset + block.size - description.rangesEnd(), Role::unread, Cover::none);
}

QByteArray digestOf(std::uint16_t type, QByteArrayView bytes) {
    const EVP_MD* const algorithm = type == 0x11 ? EVP_sha384() : type == 0x12 ? EVP_sha512() : EVP_sha256();
    QByteArray digest(EVP_MD_get_size(algorithm), '\0');
    const bool isDone = EVP_Digest(bytes.data(), static_cast<std::size_t>(bytes.size()),
                                   reinterpret_cast<unsigned char*>(digest.data()), nullptr, algorithm, nullptr) == 1;
    return isDone ? digest : QByteArray();
}

const QByteArray& coveredDigest(McubootImage& image, std::uint16_t type) {
    QByteArray& digest = image.digests[type];
    if (digest.isEmpty()) {
        digest = digestOf(type, image.covered);
    }
    return digest;
}

// Removes the zeros that older signers append to the DER of an ECDSA signature to give it a fixed length.
QByteArrayView withoutPadding(QByteArrayView signature) {
    if (signature.size() < 2 || static_cast<std::uint8_t>(signature.at(1)) > signature.size() - 2) {
        return signature;
    }
    const qsizetype size = 2 + static_cast<std::uint8_t>(signature.at(1));
    return isZero(signature.sliced(size)) ? signature.first(size) : signature;
}

/// Adds the result of verifying one signature with a key, or the reason why it can't be verified.
void proveSignature(const McubootImage& image, const Tlv& tlv, const PublicKey& key, int part,
                    Description& description) {
    switch (tlv.role()) {
        case TlvRole::rsa: {
            const int bits = tlv.type == 0x20 ? 2048 : 3072;
            description.addResult(CheckCode::signature,
                                  key.bits() != bits
                                      ? CheckResult::bad
                                      : key.verifyRsa(PublicKey::Padding::pss, {image.covered}, tlv.value),
                                  part);
            break;
        }
        case TlvRole::ecdsa:
        case TlvRole::unprovenSignature:  // P-224, which no key of ours can check
            if (key.kind() == PublicKey::Kind::other) {
                description.addUnchecked(CheckCode::signature, Reason::unsupported, part);
            } else {
                const bool isKnown = tlv.role() == TlvRole::ecdsa;
                description.addResult(
                    CheckCode::signature,
                    isKnown ? key.verifyEcdsa({image.covered}, withoutPadding(tlv.value)) : CheckResult::bad, part);
            }
            break;
        case TlvRole::ed25519: {
            const bool isPure = has(image, [](TlvRole role) { return role == TlvRole::pureSignature; });
            const auto digest = std::find_if(image.tlvs.begin(), image.tlvs.end(), [](const Tlv& other) {
                return !other.isProtected && other.role() == TlvRole::digest;
            });
            const std::uint16_t algorithm = digest == image.tlvs.end() ? 0x10 : digest->type;
            const QByteArray message = isPure ? QByteArray() : digestOf(algorithm, image.covered);
            description.addResult(CheckCode::signature,
                                  isPure              ? key.verifyEd25519(image.covered, tlv.value)
                                  : message.isEmpty() ? CheckResult::unchecked
                                                      : key.verifyEd25519(message, tlv.value),
                                  part);
            break;
        }
        default:
            break;
    }
}

// Checks the entry with the hash by which a bootloader selects its key.
void proveSigningKey(QByteArrayView expected, const Tlv& tlv, int part, Description& description) {
    const CheckResult result = compareDigest(expected, tlv.value);
    const bool isGood = result == CheckResult::good;
    description.addResult(CheckCode::signingKey, result, part);
    for (Range& range : description.ranges) {
        if (isGood && range.part == part && range.role == Role::payload) {
            range.cover = Cover::comparison;
        }
    }
}

/// The entry with the wrapped key of an encrypted image, and its part; null if there is none.
const Tlv* wrappedKeyOf(const McubootImage& image, int& part) {
    part = 1;
    for (const Tlv& tlv : image.tlvs) {
        ++part;
        if (!tlv.isProtected && tlv.role() == TlvRole::wrappedKey) {
            return &tlv;
        }
    }
    return nullptr;
}

/// Whether a hash of the image fits its bytes as they are. An image for the primary slot has the flags and the wrapped
/// key of an encrypted one, but its code is plain.
bool isPlainAnyway(McubootImage& image) {
    return std::any_of(image.tlvs.begin(), image.tlvs.end(), [&image](const Tlv& tlv) {
        return !tlv.isProtected && tlv.role() == TlvRole::digest &&
               compareDigest(coveredDigest(image, tlv.type), tlv.value) == CheckResult::good;
    });
}

/// Unwraps the key of an encrypted image and adds the result of its check. Returns an empty key if it can't be used.
QByteArray unwrap(const McubootImage& image, const Evidence& evidence, Description& description) {
    constexpr std::array wraps = {KeyWrap::rsa, KeyWrap::rsa, KeyWrap::p256, KeyWrap::x25519, KeyWrap::x25519Sha512};
    int part = 0;
    const Tlv* const tlv = wrappedKeyOf(image, part);
    QByteArray key;
    if (tlv == nullptr || evidence.privateKey.isEmpty()) {
        return key;
    }
    const qsizetype keySize = (image.flags & aes256Flag) != 0 ? 32 : 16;
    switch (unwrapKey(wraps[tlv->type - 0x30U], tlv->value, keySize, evidence.privateKey, key)) {
        case Unwrapped::good:
            description.addCheck(CheckCode::wrappedKey, true, part);
            for (Range& range : description.ranges) {
                const bool isValue = range.part == part && range.role == Role::payload;
                range.cover = isValue ? Cover::tag : range.cover;
            }
            break;
        case Unwrapped::bad:
            description.addCheck(CheckCode::wrappedKey, false, part);
            break;
        case Unwrapped::wrongKind:
            description.addUnchecked(CheckCode::wrappedKey, Reason::unusableKey, part);
            break;
        case Unwrapped::notOffered:
            description.addUnchecked(CheckCode::wrappedKey, Reason::notOffered, part);
            break;
    }
    return key;
}

/// Makes `code` and `covered` of an encrypted image plain, if the private key allows that. `plain` keeps their bytes.
void openEncrypted(McubootImage& image, const Evidence& evidence, Description& description, QByteArray& plain) {
    image.isOpen = isPlainAnyway(image);
    QByteArray key = unwrap(image, evidence, description);
    const WipeOnExit wiped(key);
    if (image.isOpen || key.isEmpty() || !canAllocate(2 * image.covered.size())) {
        return;
    }
    QByteArray code = decryptCode(key, image.code);
    const WipeOnExit wipedCode(code);
    if (code.size() != image.code.size()) {
        return;
    }
    const qsizetype codeEnd = image.headerSize + code.size();
    plain.reserve(image.covered.size());
    plain.append(image.covered.first(image.headerSize));
    plain.append(code);
    plain.append(image.covered.sliced(codeEnd));
    image.covered = plain;
    image.code = QByteArrayView(plain).sliced(image.headerSize, code.size());
    image.digests.clear();
    image.isOpen = true;
}

/// The number in a protected entry; none if the entry is missing or has another size.
std::optional<std::uint32_t> numberIn(const McubootImage& image, TlvRole role) {
    for (const Tlv& tlv : image.tlvs) {
        if (tlv.isProtected && tlv.role() == role && tlv.value.size() == 4) {
            return McubootNumbers(tlv.value, image.isBigEndian).u32();
        }
    }
    return std::nullopt;
}

/// Unpacks the code of a compressed image. Returns false if it is broken or its size isn't that of the entry.
bool unpackCode(const McubootImage& image, QByteArray& code) {
    constexpr qsizetype packerHead = 2;    // the size of the dictionary, and the properties that the stream repeats
    constexpr qsizetype bestRatio = 8192;  // no packer of this format reaches it
    const qsizetype size = numberIn(image, TlvRole::plainSize).value_or(0);
    const qsizetype wholeSize = image.code.size();
    const qsizetype packedSize = numberIn(image, TlvRole::packedSize).value_or(wholeSize);  // without padding
    if (packedSize < packerHead || packedSize > wholeSize || size > packedSize * bestRatio || !canAllocate(size) ||
        !unpackLzma2(image.code.first(packedSize).sliced(packerHead), size, code)) {
        return false;
    }
    if ((image.flags & thumbFlag) != 0) {
        restoreThumbBranches(code);
    }
    return !code.isEmpty() && code.size() == size;
}

bool isAboutPacking(TlvRole role) {
    return role == TlvRole::plainSize || role == TlvRole::plainDigest || role == TlvRole::plainSignature ||
           role == TlvRole::packedSize;
}

void writeNumber(std::uint32_t value, qsizetype size, bool isBigEndian, char* at) {
    for (qsizetype i = 0; i < size; ++i) {
        at[isBigEndian ? size - 1 - i : i] = static_cast<char>(value >> (8 * i) & 0xFF);
    }
}

/// The bytes that hash and signature covered before the image was compressed: its header, its code, and the protected
/// block without the entries about the compression.
QByteArray coveredBefore(const McubootImage& image, const QByteArray& code) {
    constexpr qsizetype blockHead = 4;
    QByteArray block = image.covered.sliced(image.protectedBlock.offset, blockHead).toByteArray();
    for (const Tlv& tlv : image.tlvs) {
        if (tlv.isProtected && !isAboutPacking(tlv.role())) {
            block += image.covered.sliced(tlv.offset, entrySize + tlv.value.size());
        }
    }
    if (block.size() == blockHead) {
        block.clear();
    } else {
        writeNumber(static_cast<std::uint32_t>(block.size()), 2, image.isBigEndian, block.data() + 2);
    }
    QByteArray before = image.covered.first(image.headerSize).toByteArray();
    writeNumber(static_cast<std::uint32_t>(block.size()), 2, image.isBigEndian, before.data() + 10);
    writeNumber(static_cast<std::uint32_t>(code.size()), 4, image.isBigEndian, before.data() + 12);
    writeNumber(image.flags & ~packedFlags, 4, image.isBigEndian, before.data() + 16);
    before.reserve(before.size() + code.size() + block.size());
    return before.append(code).append(block);
}

/// Unpacks a compressed image and checks its hash and signature from before the compression.
void proveUnpacked(const McubootImage& image, const PublicKey& key, bool hasKey, QByteArray& code,
                   Description& description) {
    const bool isUnpacked = image.protectedBlock.isThere && unpackCode(image, code);
    description.addCheck(CheckCode::unpacked, isUnpacked, 1);
    if (!isUnpacked) {
        wipe(code);
        return;
    }
    McubootImage before = image;
    QByteArray covered = coveredBefore(image, code);
    const WipeOnExit wiped(covered);
    before.covered = covered;
    before.digests.clear();
    const auto signature =
        std::find_if(image.tlvs.begin(), image.tlvs.end(), [](const Tlv& tlv) { return isSignature(tlv.role()); });
    int part = 1;
    for (const Tlv& tlv : image.tlvs) {
        ++part;
        if (tlv.isProtected && tlv.role() == TlvRole::plainDigest) {
            const std::uint16_t algorithm = tlv.value.size() == 48 ? 0x11 : tlv.value.size() == 64 ? 0x12 : 0x10;
            description.addResult(CheckCode::digest, compareDigest(coveredDigest(before, algorithm), tlv.value), part);
        } else if (tlv.isProtected && tlv.role() == TlvRole::plainSignature && signature != image.tlvs.end()) {
            if (hasKey && key.kind() != PublicKey::Kind::none) {
                Tlv own = *signature;
                own.value = tlv.value;
                proveSignature(before, own, key, part, description);
            } else {
                description.addUnchecked(CheckCode::signature, hasKey ? unusableReason() : Reason::noPublicKey, part,
                                         false);
            }
        }
    }
}

void proveTlv(McubootImage& image, const Tlv& tlv, const PublicKey& key, bool hasKey, int part,
              Description& description) {
    const bool isEncrypted = !image.isOpen;  // the hash and the signature cover the plain code
    const bool isUsable = key.kind() != PublicKey::Kind::none;
    const QByteArray encoded = key.kind() == PublicKey::Kind::rsa ? key.rsaDer() : key.der();
    if (isSignature(tlv.role())) {
        if (!hasKey) {
            description.addUnchecked(CheckCode::signature, Reason::noPublicKey, part);
        } else if (!isUsable || isEncrypted) {
            description.addUnchecked(CheckCode::signature, isUsable ? Reason::encrypted : unusableReason(), part);
        } else if (++image.signatures > signatureLimit) {
            description.addUnchecked(CheckCode::signature, Reason::unsupported, part);
        } else {
            proveSignature(image, tlv, key, part, description);
        }
    } else if (tlv.role() == TlvRole::digest && isEncrypted) {
        description.addUnchecked(CheckCode::digest, Reason::encrypted, part);
    } else if (tlv.role() == TlvRole::digest) {
        description.addResult(CheckCode::digest, compareDigest(coveredDigest(image, tlv.type), tlv.value), part);
    } else if (tlv.role() == TlvRole::keyHash && isUsable) {
        // The hash has the algorithm of the image's digest.
        const std::uint16_t algorithm = tlv.value.size() == 48 ? 0x11 : tlv.value.size() == 64 ? 0x12 : 0x10;
        proveSigningKey(digestOf(algorithm, encoded), tlv, part, description);
    } else if (tlv.role() == TlvRole::publicKey && isUsable) {
        proveSigningKey(encoded, tlv, part, description);
    }
}

}  // namespace

Match matchMcubootImage(QByteArrayView bytes) {
    const bool hasMagic = ByteReader(bytes).u32() == imageMagic || isBigEndian(bytes);
    return hasMagic ? Match::magic : Match::no;
}

void describeMcubootImage(const Source& source, Description& description) {
    const McubootImage image = readMcuboot(source.bytes);
    description.findings.insert(description.findings.end(), image.findings.begin(), image.findings.end());
    if (source.bytes.size() < headerSize) {
        description.addRange(source.bytes.size(), Role::unread, Cover::none);
        return;
    }
    description.addNumber("loadAddress", image.loadAddress, 4, 4);
    description.fields.back().kind = FieldKind::address;
    description.addNumber("headerSize", image.headerSize, 8, 2);
    description.addNumber("protectedTlvSize", image.protectedSize, 10, 2);
    description.addNumber("imageSize", image.imageSize, 12, 4);
    description.addNumber("flags", image.flags, 16, 4);
    description.fields.back().kind = FieldKind::address;
    QByteArray version;
    for (std::size_t i = 0; i < image.version.size(); ++i) {
        version += (i == 0 ? "" : i == 3 ? "+" : ".") + QByteArray::number(image.version[i]);
    }
    description.fields.push_back(textField("version", version));
    description.fields.back().offset = 20;
    description.fields.back().size = 8;
    if (image.isBigEndian) {
        description.fields.push_back(textField("byteOrder", "big-endian"));
        description.fields.back().state = FieldState::derived;
    }

    const Cover cover = coverOf(image);
    if (image.headerSize < headerSize) {
        description.addRange(headerSize, Role::header, Cover::none);
    } else {
        description.addRange(std::min<qint64>(image.headerSize, source.bytes.size()), Role::header, cover);
        Part part;
        part.name = "code";
        part.index = 1;
        part.offset = description.rangesEnd();
        part.payloadOffset = part.offset;
        part.payloadSize = image.code.size();
        part.size = part.payloadSize;
        part.hasAddress = (image.flags & placedFlags) != 0;
        part.address = part.hasAddress ? image.loadAddress : 0;
        const bool isPacked = (image.flags & lzma2Flag) != 0;
        const auto size = static_cast<std::uint32_t>(part.payloadSize);
        const std::uint32_t plainSize = isPacked ? numberIn(image, TlvRole::plainSize).value_or(size) : size;
        part.memorySize = part.hasAddress ? plainSize : 0;
        description.addRange(part.payloadSize, Role::payload, cover, part.index);
        description.parts.push_back(std::move(part));
        describeBlock(image, image.protectedBlock, true, cover, description);
        describeBlock(image, image.plainBlock, false, cover, description);
    }
    const qint64 rest = source.bytes.size() - description.rangesEnd();
    if (rest > 0 && image.isWhole) {
        description.addFinding(FindingCode::padding, 0, description.rangesEnd(),
                               {numberField("size", static_cast<std::uint64_t>(rest))});
    }
    description.addRange(rest, image.isWhole ? Role::unused : Role::unread, Cover::none);
    if (image.isWhole && !has(image, isDigest)) {
        description.addFinding(FindingCode::noHash, 0, -1);
    }
    if (image.isWhole && !has(image, isSignature)) {
        description.addFinding(FindingCode::notSigned, 0, -1);
    }
}

void proveMcubootImage(const Source& source, const Evidence& evidence, Description& description, Contents* contents) {
    McubootImage image = readMcuboot(source.bytes);
    if (!image.isWhole) {
        description.addUnchecked(CheckCode::digest, Reason::cutOff);
        return;
    }
    const bool isEncrypted = (image.flags & encryptedFlags) != 0;
    QByteArray plain;
    const WipeOnExit wiped(plain);
    if (isEncrypted) {
        openEncrypted(image, evidence, description, plain);
    }
    const PublicKey key(evidence.publicKey);
    const bool hasKey = !evidence.publicKey.isEmpty();
    int part = 1;
    for (const Tlv& tlv : image.tlvs) {
        ++part;
        if (!tlv.isProtected) {
            proveTlv(image, tlv, key, hasKey, part, description);
        }
    }
    if (hasKey && !has(image, isSignature)) {
        description.addCheck(CheckCode::signature, false);
    } else if (!has(image, isSignature)) {
        description.addUnchecked(CheckCode::signature, Reason::notSigned);
    }
    const bool isPacked = (image.flags & lzma2Flag) != 0;
    QByteArray unpacked;
    const WipeOnExit wipedCode(unpacked);
    if (isPacked && image.isOpen) {
        proveUnpacked(image, key, hasKey, unpacked, description);
    }
    if (contents != nullptr && image.isOpen && (!isPacked || !unpacked.isEmpty())) {
        Content content = contentOf(description.parts.front(), ContentKind::module);
        content.bytes = isPacked ? std::move(unpacked) : image.code.toByteArray();
        content.headerRoom = image.headerSize;
        content.tailRoom = isEncrypted && !isPacked ? cipherBlock - 1 : 0;
        contents->list.push_back(std::move(content));
    }
}

}  // namespace inspect
