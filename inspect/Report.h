#pragma once

#include "inspect/formats.h"

namespace inspect {

constexpr int statusGood = 0;
constexpr int statusWrong = 1;
constexpr int statusUndecided = 2;

enum class Verdict { proven, wrong, undecided };

/// The summary of the checks of a file and its inner files. One bad check or broken rule makes the file wrong; a needed
/// check that wasn't made leaves it undecided.
struct Judgement {
    Verdict verdict = Verdict::undecided;
    std::vector<Proof> proofs;     ///< the kinds of good checks, each once, without `structure`
    Reason reason = Reason::none;  ///< reason of the first needed check that wasn't made
    int bad = 0;                   ///< number of bad checks
    int made = 0;                  ///< number of good and bad checks
    bool isKeyDoubtful = false;    ///< every tag is wrong
    std::vector<Range> uncovered;  ///< bytes that no check covers
};

[[nodiscard]] Judgement judge(const Description& description);
[[nodiscard]] bool hasErrors(const Description& description);
/// Whether every encrypted part could be opened, so that the contents are complete.
[[nodiscard]] bool isOpen(const Description& description);
[[nodiscard]] const char* nameOf(Verdict verdict);
[[nodiscard]] const char* nameOf(Proof proof);

/// Checks that no two messages in the images of one call use the same IV. Two messages with the same key and IV break
/// AES-GCM. The check needs no key. The same part in two files is one message.
void proveIvs(std::vector<Description>& files);

/// The reason why a command or one of its files couldn't be processed.
struct Failure {
    /// One of usage, unreadable, unknownFormat, badKey, noSignature and unwritable; a warning has openKey. Codes don't
    /// change between releases.
    const char* code;
    QString file;
    QString text;
};

struct ByteDifference {
    DifferenceCode code;     ///< bytesChanged, bytesOnlyInA or bytesOnlyInB
    std::uint64_t from = 0;  ///< the first address
    std::uint64_t to = 0;    ///< the last one
};

/// A range of memory that differs between two files.
struct MemoryDifference {
    ByteDifference range;
    QByteArray name;  ///< the symbol and section of an ELF file at its first address
    QByteArray a;     ///< its first bytes, as many as the user asked for
    QByteArray b;
};

struct FieldDifference {
    OptionField a;
    OptionField b;
};

/// An option word that differs, counted from 1.
struct WordDifference {
    std::uint32_t word = 0;
    std::uint32_t a = 0;
    std::uint32_t b = 0;
    QString name;                         ///< the register's name; empty without a device description
    std::vector<FieldDifference> fields;  ///< empty if a bit outside all known fields differs
};

/// What changed between two files, in short.
struct Summary {
    enum class Memory : std::uint8_t { absent, closed, equal, different };
    /// `absent`: a file has no memory, or the files have the same bytes, which can't be opened. `closed`: the contents
    /// of a file can't be read.
    Memory memory = Memory::absent;
    std::vector<MemoryDifference> ranges;
    std::vector<Field> versions;  ///< those of both files if they differ
    std::vector<WordDifference> words;
};

/// The whole result of one call. Only the printers turn it into text.
struct Report {
    QString command;
    int status = 0;
    std::vector<Description> files;
    std::vector<Failure> failures;
    std::vector<Failure> warnings;        ///< the messages that don't stop the call
    std::vector<Difference> differences;  ///< between the two files of `diff`
    Summary summary;                      ///< of `diff`
    QString folder;                       ///< the folder that the contents were written to
};

[[nodiscard]] QByteArray printText(const Report& report);
[[nodiscard]] QByteArray printJson(const Report& report);

/// Returns `text`, but replaces each character that could control a terminal or change the reading order with its
/// number.
[[nodiscard]] QString printable(const QString& text);

}  // namespace inspect
