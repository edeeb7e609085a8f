#pragma once

#include "inspect/formats.h"

namespace inspect {

constexpr int statusGood = 0;
constexpr int statusWrong = 1;
constexpr int statusUndecided = 2;

enum class Verdict { proven, wrong, undecided };

/// What the checks of a file, and of the files in it, come to: one bad check or broken rule makes it wrong, a needed
/// check that wasn't made leaves it undecided.
struct Judgement {
    Verdict verdict = Verdict::undecided;
    std::vector<Proof> proofs;     ///< the kinds of good checks, each once, without `structure`
    Reason reason = Reason::none;  ///< of the first needed check that wasn't made
    int bad = 0;                   ///< bad checks
    int made = 0;                  ///< good and bad ones
    bool isKeyDoubtful = false;    ///< every tag is wrong
    std::vector<Range> uncovered;  ///< bytes that no check would miss
};

[[nodiscard]] Judgement judge(const Description& description);
[[nodiscard]] bool hasErrors(const Description& description);
/// Whether the contents are all that there is: no part stayed closed.
[[nodiscard]] bool isOpen(const Description& description);
[[nodiscard]] const char* nameOf(Verdict verdict);
[[nodiscard]] const char* nameOf(Proof proof);

/// Checks that no IV stands twice in the images of one call: two messages under one IV and key give AES-GCM away. It
/// needs no key. The same part in two files is one message.
void proveIvs(std::vector<Description>& files);

/// Why a command, or one of its files, couldn't be worked on.
struct Failure {
    const char* code;  ///< stable: usage, unreadable, unknownFormat, badKey, unwritable, noMemory; openKey of a warning
    QString file;
    QString text;
};

/// Everything that one call has to tell. The printers turn it into words, and nobody else does.
struct Report {
    QString command;
    int status = 0;
    std::vector<Description> files;
    std::vector<Failure> failures;
    std::vector<Failure> warnings;        ///< what should be told, but stops nothing
    std::vector<Difference> differences;  ///< of the two files
    QString folder;                       ///< that contents were written into
};

[[nodiscard]] QByteArray printText(const Report& report);
[[nodiscard]] QByteArray printJson(const Report& report);

/// `text` with every character that could drive a terminal or turn the reading order shown as its number.
[[nodiscard]] QString printable(const QString& text);

}  // namespace inspect
