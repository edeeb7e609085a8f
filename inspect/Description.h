#pragma once

#include <QByteArray>
#include <QString>

#include <array>
#include <cstdint>
#include <vector>

#include "inspect/codes.h"

/// What the opener knows about a file: a plain tree that every format fills and that only the printers put into words.
///
/// It is the second opinion on what the packaging tool makes. Everything in this room is written from docs/formats.md
/// alone: it includes nothing of the rooms that assemble or read those files for the tool, so that one mistake can't
/// hide in both.
///
/// To add a format:
/// 1. Write inspect/XyzFormat.cpp with up to three functions and declare them in inspect/formats.h:
///    - `Match matchXyz(QByteArrayView)`: does the content look like one? Leave it out for a format without a magic.
///    - `void describeXyz(const Source&, Description&)`: fields, parts, ranges and findings. It can't fail: what it
///      read stays, what is missing becomes a finding, and what it can't place becomes one `unread` range. The ranges
///      tile the file: each byte stands in exactly one, in file order (`isTiled`, which the tests assert).
///    - `void proveXyz(const Source&, const Evidence&, Description&, Contents*)`: checks, and, if contents are wanted,
///      the plain content of every part. Leave it out if nothing in the format can be proven.
/// 2. Add one row to inspect/formatTable.cpp. Detection, `--as`, help, printers, extraction and comparison follow it.
/// 3. New findings, checks and reasons are codes with named arguments: one row each in inspect/codes.cpp.
/// 4. Tests: rows in tests/inspect/; a seed in fuzz/makeSeeds.cpp and the format's name in fuzz/CMakeLists.txt.
namespace inspect {

enum class FieldKind { number, address, bytes, text };
enum class FieldState { read, cut, derived };

/// A named value. Names are stable, in camel case, and the words of both printers.
struct Field {
    const char* name = "";
    FieldKind kind = FieldKind::number;
    std::uint64_t number = 0;
    QByteArray bytes;               ///< of kinds bytes and text; text is UTF-8 as far as its writer kept to it
    const char* meaning = nullptr;  ///< the stable name of the value, where it has one
    qint64 offset = -1;             ///< in the file; -1 for what stands nowhere
    qint64 size = 0;
    FieldState state = FieldState::read;
    bool secret = false;  ///< only its size may be told
};

/// An area, record, entry or segment.
struct Part {
    const char* name = "area";
    int index = 0;                     ///< from 1, in file order
    char letter = 0;                   ///< 0 if the format has none
    const char* letterName = nullptr;  ///< null if the letter is unknown
    bool hasAddress = false;
    std::uint64_t address = 0;
    std::uint64_t memorySize = 0;  ///< bytes that lie in memory from `address` on
    qint64 offset = 0;             ///< -1 if it has no place of its own in the file, as a segment of HEX records
    qint64 size = 0;
    qint64 payloadOffset = 0;  ///< -1 likewise
    qint64 payloadSize = 0;    ///< of bytes that are there
    bool isPlain = false;      ///< its payload is readable in the file, though no content of its own
    std::vector<Field> fields;
};

enum class Role { header, tag, payload, unused, unread };

/// What notices a change of the bytes.
enum class Cover { none, structure, digest, signature, tag, comparison };

struct Range {
    qint64 offset = 0;
    qint64 size = 0;
    Role role = Role::header;
    Cover cover = Cover::none;
    int part = 0;  ///< 0: of the file as a whole
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
    Reason reason = Reason::none;  ///< why it is unchecked
    int part = 0;
    bool needed = true;  ///< without it nothing is proven
    std::vector<Field> arguments;
};

/// How two files, or a content and its sources, differ. Places are addresses, or offsets where there are none.
struct Difference {
    DifferenceCode code = DifferenceCode::bytesChanged;
    int part = 0;
    std::vector<Field> arguments;
};

/// An initialisation vector that a part was encrypted with, and the tag that tells whether two parts are the same.
struct UsedIv {
    QByteArray iv;
    QByteArray tag;
    int part = 0;
};

struct FormatRow;
enum class FoundBy { content, suffix, option };

struct Description {
    QString file;
    const FormatRow* format = nullptr;  ///< null: unknown
    FoundBy by = FoundBy::content;
    qint64 offset = 0;  ///< of an inner file, in the file around it
    qint64 size = 0;
    std::vector<Field> fields;
    std::vector<Part> parts;
    std::vector<Range> ranges;
    std::vector<Finding> findings;
    std::vector<Check> checks;
    std::vector<UsedIv> ivs;
    std::vector<Difference> differences;  ///< from what the content should be
    std::vector<Description> inner;       ///< a format in this format, or the second file of a pair

    void addNumber(const char* name, std::uint64_t value, qint64 offset, qint64 size);
    void addBytes(const char* name, QByteArrayView value, qint64 offset);
    /// Adds a range directly behind the last one; nothing if `size` is 0.
    void addRange(qint64 size, Role role, Cover cover, int part = 0);
    void addFinding(FindingCode code, int part, qint64 offset, std::vector<Field> arguments = {});
    void addCheck(CheckCode code, bool good, int part = 0, std::vector<Field> arguments = {});
    /// The same for what OpenSSL may not offer: `unchecked` is a check that it refused to make.
    void addResult(CheckCode code, CheckResult result, int part = 0);
    void addUnchecked(CheckCode code, Reason reason, int part = 0, bool needed = true);
    /// The offset behind the last range.
    [[nodiscard]] qint64 rangesEnd() const;
};

[[nodiscard]] Field numberField(const char* name, std::uint64_t value);
[[nodiscard]] Field addressField(const char* name, std::uint64_t value);
[[nodiscard]] Field textField(const char* name, QByteArrayView value);
[[nodiscard]] Field bytesField(const char* name, QByteArrayView value);

/// The parts of one letter, or of all if it is 0, by address; equal addresses keep their order.
[[nodiscard]] std::vector<const Part*> partsByAddress(const Description& description, char letter = 0);

/// Adds a finding for each part, of one letter or of all, whose bytes in memory overlap those of another or go beyond
/// 32-bit addresses.
void findOverlaps(Description& description, char letter = 0);

/// Adds a finding if the bytes of `part` in memory end after the last 32-bit address.
void findWrap(const Part& part, Description& description);
/// The same for each part of one letter.
void findWraps(Description& description, char letter);

/// Whether the ranges of `description` and of what is in it cover every byte once.
[[nodiscard]] bool isTiled(const Description& description);

}  // namespace inspect
