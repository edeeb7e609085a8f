#pragma once

#include "inspect/Report.h"
#include "inspect/Span.h"

#include <array>
#include <optional>

namespace inspect {

/// Versions are major, minor, revision and build. A version that is one number is the major one.
using Version = std::array<std::uint32_t, 4>;

/// A rule about one word of the option bytes: its masked value must be `value` or, if `isForbidden`, must not be.
struct OptionRule {
    QString name;            ///< for messages; may be empty
    std::uint32_t word = 0;  ///< from 1, in the order of the table
    std::uint32_t mask = 0xFFFFFFFF;
    std::uint32_t value = 0;
    bool isForbidden = false;
    bool isIrreversible = false;  ///< a device can't undo the value; `--allow-irreversible` lifts the rule
    /// "REGISTER" or "REGISTER.FIELD" of a device, from which `applyDevice` makes word and mask; then it is empty.
    QString place;
    QString valueName;  ///< with `place`: a hexadecimal number, or the name of a field's value
};

/// What a file must be like to be shipped. A missing member allows everything.
struct Policy {
    std::optional<QStringList> formats;
    std::vector<Proof> proofs;
    std::optional<std::vector<QByteArray>> imageKeys;   ///< fingerprints of 32 bytes
    std::optional<std::vector<QByteArray>> publicKeys;  ///< likewise
    std::optional<Version> leastVersion;
    std::optional<std::uint64_t> largestSize;  ///< in bytes, of both files of a pair
    std::optional<std::vector<Span>> memory;
    std::optional<std::uint32_t> device;  ///< the device that the file is for
    bool isForDeviceMemory = false;       ///< areas may only fill the memories of the device
    bool forbidsOverlap = false;
    std::vector<OptionRule> options;
};

/// Reads a policy document; docs/policy.schema.json describes it. On failure `fault` says why.
[[nodiscard]] bool readPolicy(QByteArrayView json, Policy& policy, QString& fault);

/// Reads "3" or "1.2.3+4"; missing numbers are 0.
[[nodiscard]] bool parseVersion(QStringView text, Version& version);

/// Reads 64 hexadecimal digits.
[[nodiscard]] bool parseFingerprint(const QString& text, QByteArray& fingerprint);

/// Reads the name of a proof that a policy can demand: digest, signature, tag or comparison.
[[nodiscard]] bool parseProof(const QString& text, Proof& proof);

/// Reads "WORD=VALUE", "WORD/MASK=VALUE", "REGISTER=VALUE" or "REGISTER.FIELD=VALUE", or any with "!=". The word is
/// decimal, the other numbers hexadecimal.
[[nodiscard]] bool parseOptionRule(const QString& text, OptionRule& rule);

/// Adds a finding for each rule that the file breaks, and the check of the policy. All other checks must have been
/// made, and `applyDevice` must have succeeded. `contents` has the contents of the file if it could be opened.
void provePolicy(const Policy& policy, bool allowsIrreversible, const Contents& contents, Description& description);

}  // namespace inspect
