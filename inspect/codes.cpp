#include "inspect/codes.h"

#include <array>
#include <cstddef>

namespace inspect {

namespace {

constexpr std::array findingRows = {
    FindingRow{FindingCode::cutOff, "cutOff", Severity::error, "cut off, {missing} of {wanted} bytes are missing"},
    FindingRow{FindingCode::badMagic, "badMagic", Severity::error, "the magic should be \"{expected}\""},
    FindingRow{FindingCode::unknownProtocol, "unknownProtocol", Severity::error, "unknown protocol version {value}"},
    FindingRow{FindingCode::unknownLetter, "unknownLetter", Severity::error, "unknown letter '{value}'"},
    FindingRow{FindingCode::wrongIndex, "wrongIndex", Severity::error, "number {value}, expected {expected}"},
    FindingRow{FindingCode::wrongVersion, "wrongVersion", Severity::error,
               "image version {value}, but {expected} in the first area"},
    FindingRow{FindingCode::wrongCount, "wrongCount", Severity::error, "area count {value}, expected {expected}"},
    FindingRow{FindingCode::notZero, "notZero", Severity::error, "bytes that should be zero aren't"},
    FindingRow{FindingCode::noEndArea, "noEndArea", Severity::error, "the image doesn't end with an option bytes area"},
    FindingRow{FindingCode::bytesBehindEnd, "bytesBehindEnd", Severity::error, "{size} bytes after the end"},
    FindingRow{FindingCode::overlap, "overlap", Severity::error, "overlaps part {other} from {address} on"},
    FindingRow{FindingCode::moduleTail, "moduleTail", Severity::error,
               "area {other} starts at {address}, in the last Flash word of this module"},
    FindingRow{FindingCode::addressWraps, "addressWraps", Severity::error, "ends after the last 32-bit address"},
    FindingRow{FindingCode::wrongOrder, "wrongOrder", Severity::error, "breaks the order of the letters"},
    FindingRow{FindingCode::wrongDescriptor, "wrongDescriptor", Severity::error, "invalid region {field} {value}"},
    FindingRow{FindingCode::wrongValue, "wrongValue", Severity::error, "{field} {value}, expected {expected}"},
    FindingRow{FindingCode::beyondEnd, "beyondEnd", Severity::error,
               "{field} {value} is more than the {limit} bytes of the image"},
    FindingRow{FindingCode::unknownAlgorithm, "unknownAlgorithm", Severity::error, "unknown algorithm {value}"},
    FindingRow{FindingCode::secondFileMissing, "secondFileMissing", Severity::note,
               "the second file of the pair is missing; give it with --payload (--payload-b)"},
    FindingRow{FindingCode::otherFormatFits, "otherFormatFits", Severity::note,
               "the content also fits {other}; the suffix decided"},
    FindingRow{FindingCode::severalFormatsFit, "severalFormatsFit", Severity::note,
               "the content fits several formats: {formats}"},
    FindingRow{FindingCode::assumedFormat, "assumedFormat", Severity::note,
               "nothing in the content shows the format; the suffix decided"},
    FindingRow{FindingCode::tooManyParts, "tooManyParts", Severity::error,
               "more than {limit} records; the rest wasn't read"},
    FindingRow{FindingCode::unaligned, "unaligned", Severity::error, "{field} {value} isn't a multiple of {expected}"},
    FindingRow{FindingCode::noRoomForNonce, "noRoomForNonce", Severity::error,
               "its protection needs a nonce, which doesn't fit into {size} bytes"},
    FindingRow{FindingCode::unknownIndex, "unknownIndex", Severity::error, "no record may start at OTP {value}"},
    FindingRow{FindingCode::beyondLastIndex, "beyondLastIndex", Severity::error,
               "ends after OTP {limit}, the last one"},
    FindingRow{FindingCode::sharedOtp, "sharedOtp", Severity::error,
               "starts at OTP {value}, which record {other} already fills"},
    FindingRow{FindingCode::wrongSize, "wrongSize", Severity::error, "has {value} bytes, not {expected}"},
    FindingRow{FindingCode::noDigest, "noDigest", Severity::note, "it contains no digest of its content"},
    FindingRow{FindingCode::noRoomForSize, "noRoomForSize", Severity::error, "too short to contain its size"},
    FindingRow{FindingCode::wrongText, "wrongText", Severity::error, "differs from the file that its modulus makes"},
    FindingRow{FindingCode::noModulus, "noModulus", Severity::error, "it contains no modulus of 2048 bits"},
    FindingRow{FindingCode::badTlvBlock, "badTlvBlock", Severity::error,
               "no TLV block: its magic is {value}, not {expected}"},
    FindingRow{FindingCode::padding, "padding", Severity::note, "{size} bytes after the image"},
    FindingRow{FindingCode::notSigned, "notSigned", Severity::note, "it isn't signed"},
    FindingRow{FindingCode::noHash, "noHash", Severity::error, "its TLVs contain no hash of the image"},
    FindingRow{FindingCode::badRecord, "badRecord", Severity::error, "line {line}: {text}"},
    FindingRow{FindingCode::noContent, "noContent", Severity::error, "it contains no data to load"},
    FindingRow{FindingCode::wideElf, "wideElf", Severity::error, "it isn't a 32-bit ELF file"},
    FindingRow{FindingCode::noHashArea, "noHashArea", Severity::error, "no hash area comes before the option bytes"},
    FindingRow{FindingCode::empty, "empty", Severity::error, "it is empty"},
    FindingRow{FindingCode::tooSmall, "tooSmall", Severity::error, "has {value} bytes, fewer than {expected}"},
    FindingRow{FindingCode::descending, "descending", Severity::error,
               "its address is below that of the previous area {other}"},
    FindingRow{FindingCode::outOfRange, "outOfRange", Severity::error, "{field} is out of its range"},
    FindingRow{FindingCode::notUtf8, "notUtf8", Severity::error, "it isn't in UTF-8"},
    FindingRow{FindingCode::moduleOverFirmware, "moduleOverFirmware", Severity::note,
               "module and firmware overlap: area {other} also has bytes from {address} on"},
    FindingRow{FindingCode::badBootRecord, "badBootRecord", Severity::note, "its boot record can't be read"},
    FindingRow{
        FindingCode::sharedBytes, "sharedBytes", Severity::error,
        "segments share bytes; together they have more than {limit} times those of the file; the rest wasn't read"},
    FindingRow{FindingCode::policyFormat, "policyFormat", Severity::error, "policy: the format {value} isn't allowed"},
    FindingRow{FindingCode::policyProof, "policyProof", Severity::error, "policy: a proof by {expected} is required",
               true},
    FindingRow{FindingCode::policyKey, "policyKey", Severity::error,
               "policy: the key {file} with fingerprint {fingerprint} isn't allowed", true},
    FindingRow{FindingCode::policyNoVersion, "policyNoVersion", Severity::error,
               "policy: it has no version, and at least {expected} is required"},
    FindingRow{FindingCode::policyVersion, "policyVersion", Severity::error,
               "policy: version {value} is below {expected}"},
    FindingRow{FindingCode::policySize, "policySize", Severity::error,
               "policy: it has {size} bytes, more than {limit}"},
    FindingRow{FindingCode::policyMemory, "policyMemory", Severity::error,
               "policy: {from} to {to} isn't in an allowed range"},
    FindingRow{FindingCode::policyOverlap, "policyOverlap", Severity::error,
               "policy: area {other} overlaps it from {address} on"},
    FindingRow{FindingCode::policyNoOption, "policyNoOption", Severity::error,
               "policy: the file has no option word {word}{name}", true},
    FindingRow{FindingCode::policyOption, "policyOption", Severity::error,
               "policy: option word {word}{name} has {value} in mask {mask}, not {expected}", true},
    FindingRow{FindingCode::policyForbiddenOption, "policyForbiddenOption", Severity::error,
               "policy: option word {word}{name} must not have {value} in mask {mask}", true},
    FindingRow{FindingCode::policyIrreversible, "policyIrreversible", Severity::error,
               "policy: option word {word}{name} has {value} in mask {mask}, which the device can't undo; "
               "--allow-irreversible permits it",
               true},
};

constexpr std::array differenceRows = {
    DifferenceRow{DifferenceCode::formatDiffers, "formatDiffers", "format {a} -> {b}", true},
    DifferenceRow{DifferenceCode::fieldDiffers, "fieldDiffers", "{name} {a} -> {b}", true},
    DifferenceRow{DifferenceCode::sealDiffers, "sealDiffers", "{name} changed", false},
    DifferenceRow{DifferenceCode::partOnlyInA, "partOnlyInA", "{name} {address} {size} bytes: only in A", true},
    DifferenceRow{DifferenceCode::partOnlyInB, "partOnlyInB", "{name} {address} {size} bytes: only in B", true},
    DifferenceRow{DifferenceCode::partMoved, "partMoved", "{name}: moved {a} -> {b}", true},
    DifferenceRow{DifferenceCode::partResized, "partResized", "{name} {address}: {a} -> {b} bytes", true},
    DifferenceRow{DifferenceCode::bytesChanged, "bytesChanged", "{name}: changed {from}-{to}", true},
    DifferenceRow{DifferenceCode::bytesOnlyInA, "bytesOnlyInA", "{name}: only in {where} {from}-{to}", true},
    DifferenceRow{DifferenceCode::bytesOnlyInB, "bytesOnlyInB", "{name}: only in {where} {from}-{to}", true},
    DifferenceRow{DifferenceCode::notCompared, "notCompared", "{name} {address}: contents not compared", false},
    DifferenceRow{DifferenceCode::sourceMissing, "sourceMissing", "{name} {count}: without a source", true},
    DifferenceRow{DifferenceCode::sourceExtra, "sourceExtra", "{name} {count}: given, but not in the image", true},
    DifferenceRow{DifferenceCode::otherFormat, "otherFormat", "formats {a} and {b}, compared as memory", false},
};

constexpr std::array checkRows = {
    CheckRow{CheckCode::rules, "rules", "rules of the format", "broken", Proof::structure},
    CheckRow{CheckCode::tag, "tag", "tag", "wrong", Proof::tag},
    CheckRow{CheckCode::digest, "digest", "digest", "wrong", Proof::digest},
    CheckRow{CheckCode::regionKey, "regionKey", "region key", "wrong", Proof::structure},
    CheckRow{CheckCode::continuation, "continuation", "part and area count", "wrong", Proof::structure},
    CheckRow{CheckCode::payloadForm, "payloadForm", "form of the content", "wrong", Proof::structure},
    CheckRow{CheckCode::ivs, "ivs", "IVs all different", "no: area {other} of {file} has the same IV",
             Proof::structure},
    CheckRow{CheckCode::nonce, "nonce", "base IV from the nonce", "no", Proof::structure},
    CheckRow{CheckCode::binding, "binding", "binding to the public key", "no", Proof::structure},
    CheckRow{CheckCode::against, "against", "contents against their sources", "different", Proof::comparison},
    CheckRow{CheckCode::signature, "signature", "signature", "wrong", Proof::signature},
    CheckRow{CheckCode::sameKey, "sameKey", "match with the given key", "wrong", Proof::comparison},
    CheckRow{CheckCode::signingKey, "signingKey", "reference to the given key", "wrong", Proof::structure},
    CheckRow{CheckCode::dump, "dump", "contents against the dump", "different", Proof::comparison},
    CheckRow{CheckCode::policy, "policy", "policy", "broken", Proof::structure},
    CheckRow{CheckCode::wrappedKey, "wrappedKey", "wrapped key", "wrong", Proof::structure},
    CheckRow{CheckCode::unpacked, "unpacked", "compression", "broken", Proof::structure},
};

constexpr std::array reasonRows = {
    ReasonRow{Reason::none, "none", ""},
    ReasonRow{Reason::noKey, "noKey", "no key given"},
    ReasonRow{Reason::noSecondFile, "noSecondFile", "the second file of the pair is missing"},
    ReasonRow{Reason::cutOff, "cutOff", "cut off"},
    ReasonRow{Reason::notAuthentic, "notAuthentic", "its content isn't authentic"},
    ReasonRow{Reason::notAsked, "notAsked", "not asked for"},
    ReasonRow{Reason::noProtection, "noProtection", "nothing in the format protects it"},
    ReasonRow{Reason::unknownCipher, "unknownCipher", "only its maker can open it"},
    ReasonRow{Reason::noMemory, "noMemory", "not enough memory"},
    ReasonRow{Reason::noPublicKey, "noPublicKey", "no public key given"},
    ReasonRow{Reason::unusableKey, "unusableKey", "the given key isn't of the right kind"},
    ReasonRow{Reason::noKeyPair, "noKeyPair", "no private and public key given"},
    ReasonRow{Reason::noAddress, "noAddress", "no address and mode given"},
    ReasonRow{Reason::unsupported, "unsupported", "its kind isn't supported"},
    ReasonRow{Reason::encrypted, "encrypted", "its content is encrypted"},
    ReasonRow{Reason::notOffered, "notOffered", "OpenSSL, as it is configured, doesn't offer the algorithm"},
    ReasonRow{Reason::notSigned, "notSigned", "it isn't signed, and anyone can make its digest"},
    ReasonRow{Reason::notInDump, "notInDump", "the dump doesn't contain it, or it has no address"},
    ReasonRow{Reason::noFittingKey, "noFittingKey", "no key of the folder fits"},
    ReasonRow{Reason::noSiteSecret, "noSiteSecret", "no site secret given"},
};

/// Whether each row is at the index of its code. The assertions below reject a code without a row.
template <typename Table, typename Member>
constexpr bool isInOrder(const Table& table, Member member) {
    for (std::size_t i = 0; i < table.size(); ++i) {
        if (static_cast<std::size_t>(table[i].*member) != i) {
            return false;
        }
    }
    return true;
}
static_assert(isInOrder(findingRows, &FindingRow::code));
static_assert(isInOrder(differenceRows, &DifferenceRow::code));
static_assert(differenceRows.size() == static_cast<std::size_t>(DifferenceCode::otherFormat) + 1);
static_assert(isInOrder(checkRows, &CheckRow::code));
static_assert(isInOrder(reasonRows, &ReasonRow::reason));
static_assert(findingRows.size() == static_cast<std::size_t>(FindingCode::policyIrreversible) + 1);
static_assert(checkRows.size() == static_cast<std::size_t>(CheckCode::unpacked) + 1);
static_assert(reasonRows.size() == static_cast<std::size_t>(Reason::noSiteSecret) + 1);

}  // namespace

const FindingRow& rowOf(FindingCode code) {
    return findingRows[static_cast<std::size_t>(code)];
}

const DifferenceRow& rowOf(DifferenceCode code) {
    return differenceRows[static_cast<std::size_t>(code)];
}

const CheckRow& rowOf(CheckCode code) {
    return checkRows[static_cast<std::size_t>(code)];
}

const ReasonRow& rowOf(Reason reason) {
    return reasonRows[static_cast<std::size_t>(reason)];
}

}  // namespace inspect
