#pragma once

#include <cstdint>

namespace inspect {

/// The findings about a file. Each has one row in codes.cpp with its stable name, its severity and its text.
enum class FindingCode : std::uint8_t {
    cutOff,
    badMagic,
    unknownProtocol,
    unknownLetter,
    wrongIndex,
    wrongVersion,
    wrongCount,
    notZero,
    noEndArea,
    bytesBehindEnd,
    overlap,
    moduleTail,
    addressWraps,
    wrongOrder,
    wrongDescriptor,
    wrongValue,
    beyondEnd,
    unknownAlgorithm,
    secondFileMissing,
    otherFormatFits,
    severalFormatsFit,
    assumedFormat,
    tooManyParts,
    unaligned,
    noRoomForNonce,
    unknownIndex,
    beyondLastIndex,
    sharedOtp,
    wrongSize,
    noDigest,
    noRoomForSize,
    wrongText,
    noModulus,
    badTlvBlock,
    padding,
    notSigned,
    noHash,
    badRecord,
    noContent,
    wideElf,
    noHashArea,
    empty,
    tooSmall,
    descending,
    outOfRange,
    notUtf8,
    moduleOverFirmware,
    badBootRecord,
    sharedBytes,
    policyFormat,
    policyProof,
    policyKey,
    policyNoVersion,
    policyVersion,
    policySize,
    policyMemory,
    policyOverlap,
    policyNoOption,
    policyOption,
    policyForbiddenOption,
    policyIrreversible,
};

enum class Severity : std::uint8_t { note, error };

struct FindingRow {
    FindingCode code;
    const char* name;
    Severity severity;
    const char* words;      ///< "{name}" is replaced by the argument of that name
    bool isListed = false;  ///< each finding of the kind is printed; of other kinds, the first one and a count
};

/// The differences between two files, or between contents and their sources.
enum class DifferenceCode : std::uint8_t {
    formatDiffers,
    fieldDiffers,
    sealDiffers,
    partOnlyInA,
    partOnlyInB,
    partMoved,
    partResized,
    bytesChanged,
    bytesOnlyInA,
    bytesOnlyInB,
    notCompared,
    sourceMissing,
    sourceExtra,
    otherFormat,
};

struct DifferenceRow {
    DifferenceCode code;
    const char* name;
    const char* words;
    bool counts;  ///< whether it makes two files different; false if a fresh nonce causes it, or if contents couldn't
                  ///< be compared
};

/// The checks that can be made.
enum class CheckCode : std::uint8_t {
    rules,
    tag,
    digest,
    regionKey,
    continuation,
    payloadForm,
    ivs,
    nonce,
    binding,
    against,
    signature,
    sameKey,
    signingKey,
    dump,
    policy,
    wrappedKey,
    unpacked,
};

/// The kind of proof that a good check gives.
enum class Proof : std::uint8_t { none, structure, digest, signature, tag, comparison };

struct CheckRow {
    CheckCode code;
    const char* name;
    const char* words;
    const char* badWords;
    Proof proof;
};

/// Why a check wasn't made.
enum class Reason : std::uint8_t {
    none,
    noKey,
    noSecondFile,
    cutOff,
    notAuthentic,
    notAsked,
    noProtection,
    unknownCipher,
    noMemory,
    noPublicKey,
    unusableKey,
    noKeyPair,
    noAddress,
    unsupported,
    encrypted,
    notOffered,
    notSigned,
    notInDump,
    noFittingKey,
    noSiteSecret,
};

struct ReasonRow {
    Reason reason;
    const char* name;
    const char* words;
};

[[nodiscard]] const FindingRow& rowOf(FindingCode code);
[[nodiscard]] const DifferenceRow& rowOf(DifferenceCode code);
[[nodiscard]] const CheckRow& rowOf(CheckCode code);
[[nodiscard]] const ReasonRow& rowOf(Reason reason);

}  // namespace inspect
