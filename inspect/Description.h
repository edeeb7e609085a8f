#pragma once

#include <QByteArray>
#include <QString>

#include <array>
#include <cstdint>
#include <vector>

#include "inspect/codes.h"

/// The description of a file: a plain tree that every format fills and that only the printers turn into text.
///
/// The opener is a second opinion on the files that the packaging tool makes. All code in this room is written from
/// docs/formats.md alone. It includes no room that makes or reads those files for the tool, so that the tool and the
/// opener can't share a mistake.
///
/// To add a format:
/// 1. Write inspect/XyzFormat.cpp with up to three functions and declare them in inspect/formats.h:
///    - `Match matchXyz(QByteArrayView)` says whether the content looks like the format. Leave it out for a format
///      without a magic.
///    - `void describeXyz(const Source&, Description&)` adds fields, parts, ranges and findings. It can't
///      fail: it keeps what it read, adds a finding for missing bytes, and adds one `unread` range for bytes that it
///      can't assign. The ranges tile the file: each byte is in exactly one range, in file order (`isTiled`, which the
///      tests assert).
///    - `void proveXyz(const Source&, const Evidence&, Description&, Contents*)` adds the checks and, if contents are
///      wanted, the plain content of every part. Leave it out if nothing in the format can be proven.
/// 2. Add one row to inspect/formatTable.cpp. Detection, `--as`, help, printers, extraction and comparison use it.
/// 3. Add one row to inspect/codes.cpp for each new finding, check and reason. They are codes with named arguments.
/// 4. Add test rows in tests/inspect/, a seed in fuzz/makeSeeds.cpp and the format's name in fuzz/CMakeLists.txt.
namespace inspect {

enum class FieldKind { number, address, bytes, text };
enum class FieldState { read, cut, derived };

/// A named value. Names are stable and in camel case; both printers use them.
struct Field {
    const char* name = "";
    FieldKind kind = FieldKind::number;
    std::uint64_t number = 0;
    QByteArray bytes;               ///< for the kinds bytes and text; a text in a file may not be valid UTF-8
    const char* meaning = nullptr;  ///< the stable name of the value, or null
    qint64 offset = -1;             ///< offset in the file; -1 if the value isn't in the file
    qint64 size = 0;
    FieldState state = FieldState::read;
    bool secret = false;  ///< only its size may be printed
};

/// An area, record, entry or segment.
struct Part {
    const char* name = "area";
    int index = 0;                     ///< from 1, in file order
    char letter = 0;                   ///< 0 if the format has none
    const char* letterName = nullptr;  ///< null if the letter is unknown
    bool hasAddress = false;
    std::uint64_t address = 0;
    std::uint64_t memorySize = 0;  ///< number of bytes in memory from `address` on
    qint64 offset = 0;             ///< -1 if its bytes aren't contiguous in the file, as in HEX records
    qint64 size = 0;
    qint64 payloadOffset = 0;  ///< -1 in the same case
    qint64 payloadSize = 0;    ///< number of payload bytes that the file contains
    bool isPlain = false;      ///< its payload is readable in the file, but isn't extracted
    std::vector<Field> fields;
};

enum class Role { header, tag, payload, unused, unread };

/// The protection that detects a change of the bytes.
enum class Cover { none, structure, digest, signature, tag, comparison };

struct Range {
    qint64 offset = 0;
    qint64 size = 0;
    Role role = Role::header;
    Cover cover = Cover::none;
    int part = 0;  ///< 0 for the file as a whole
};

struct Finding {
    FindingCode code = FindingCode::cutOff;
    int part = 0;
    qint64 offset = -1;
    std::vector<Field> arguments;
};

enum class CheckResult { good, bad, unchecked };

struct Check {
    CheckCode code = CheckCode::rules;
    CheckResult result = CheckResult::unchecked;
    Reason reason = Reason::none;  ///< why the check wasn't made
    int part = 0;
    bool needed = true;  ///< false if the file can be proven without it
    std::vector<Field> arguments;
};

/// A difference between two files, or between contents and their sources. Places are addresses, or offsets for bytes
/// without an address.
struct Difference {
    DifferenceCode code = DifferenceCode::bytesChanged;
    int part = 0;
    std::vector<Field> arguments;
};

/// The initialisation vector of an encrypted part, and its tag. Two parts with the same IV and tag are one message.
struct UsedIv {
    QByteArray iv;
    QByteArray tag;
    int part = 0;
};

/// A key that a file was proven with.
struct KeyUse {
    enum class Use : std::uint8_t { image, signature, binding };
    Use use = Use::image;
    QString file;            ///< the file of the key
    QByteArray fingerprint;  ///< 32 bytes; empty if the key is symmetric and no site secret was given
};

/// A field of an option word, by a device description.
struct OptionField {
    QString name;
    std::uint32_t value = 0;
    QString meaning;  ///< the name of the value; empty if it has none
};

struct OptionWord {
    std::uint32_t number = 0;  ///< from 1
    std::uint32_t value = 0;
    QString name;  ///< the register's name; empty without a device description, as `fields` is
    std::vector<OptionField> fields;
};

/// A run of one byte in firmware, from its first to its last address.
struct FilledRange {
    std::uint64_t from = 0;
    std::uint64_t to = 0;
    std::uint8_t value = 0;
};

/// A text in firmware.
struct FoundText {
    std::uint64_t address = 0;
    QByteArray text;
};

struct Description;

/// The meaning of one part's plain bytes. Secret bytes are only in fields that are secret, unless the user asked for
/// them.
struct Decoded {
    int part = 0;
    const char* name = "";
    char letter = 0;
    const char* kind = "";  ///< stable
    qint64 size = 0;
    std::vector<Field> fields;
    std::vector<FilledRange> filled;
    std::vector<FoundText> texts;
    std::vector<OptionWord> words;
    std::vector<Description> inner;  ///< the file that the bytes are, if they are one
};

struct FormatRow;
enum class FoundBy { content, suffix, option };

struct Description {
    QString file;
    const FormatRow* format = nullptr;  ///< null: unknown
    FoundBy by = FoundBy::content;
    qint64 offset = 0;  ///< offset of an inner file in the file around it
    qint64 size = 0;
    std::vector<Field> fields;
    std::vector<Part> parts;
    std::vector<Range> ranges;
    std::vector<Finding> findings;
    std::vector<Check> checks;
    std::vector<UsedIv> ivs;
    std::vector<KeyUse> keys;
    std::vector<Difference> differences;  ///< between the contents and their sources
    std::vector<Description> inner;       ///< a file inside this file, or the second file of a pair
    std::vector<Decoded> decoded;         ///< in the order of the contents

    void addNumber(const char* name, std::uint64_t value, qint64 offset, qint64 size);
    void addBytes(const char* name, QByteArrayView value, qint64 offset);
    /// Adds a range directly after the last one; adds nothing if `size` is 0.
    void addRange(qint64 size, Role role, Cover cover, int part = 0);
    void addFinding(FindingCode code, int part, qint64 offset, std::vector<Field> arguments = {});
    void addCheck(CheckCode code, bool good, int part = 0, std::vector<Field> arguments = {});
    /// Adds the result of a check that needs OpenSSL. `unchecked` means that OpenSSL doesn't offer the algorithm.
    void addResult(CheckCode code, CheckResult result, int part = 0);
    void addUnchecked(CheckCode code, Reason reason, int part = 0, bool needed = true);
    /// The offset after the last range.
    [[nodiscard]] qint64 rangesEnd() const;
};

[[nodiscard]] Field numberField(const char* name, std::uint64_t value);
[[nodiscard]] Field addressField(const char* name, std::uint64_t value);
[[nodiscard]] Field textField(const char* name, QByteArrayView value);
[[nodiscard]] Field bytesField(const char* name, QByteArrayView value);

/// Adds the finding that a file contains only `present` of `wanted` bytes; adds nothing if it contains them all.
void addCut(std::vector<Finding>& findings, qint64 wanted, qint64 present, qint64 offset, int part = 0);

/// Adds the finding and the only range of a file of `present` bytes that ends inside its header of `wanted` bytes.
void addCutHeader(qint64 present, qint64 wanted, Description& description);

/// The parts with this letter, or all parts if it is 0, sorted by address; equal addresses keep their order.
[[nodiscard]] std::vector<const Part*> partsByAddress(const Description& description, char letter = 0);

/// Adds a finding for each part with this letter, or for each part if it is 0, whose bytes in memory overlap those of
/// another such part or end after the last 32-bit address.
void findOverlaps(Description& description, char letter = 0);

/// Adds a finding if the bytes of `part` in memory end after the last 32-bit address.
void findWrap(const Part& part, Description& description);
/// Does the same for each part with this letter.
void findWraps(Description& description, char letter);

/// Whether the ranges of `description`, and those of each inner description, cover every byte exactly once.
[[nodiscard]] bool isTiled(const Description& description);

}  // namespace inspect
