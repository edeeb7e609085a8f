#pragma once

#include "inspect/KeyFolder.h"
#include "inspect/Report.h"
#include "inspect/decode.h"
#include "inspect/dump.h"
#include "inspect/policy.h"
#include "inspect/sources.h"

#include <QCommandLineParser>

#include <optional>

namespace inspect {

/// A file that was read, and its description.
struct Opened {
    QByteArray bytes;
    QByteArray secondBytes;
    Source source;
    Description description;
    bool isSecret = false;  ///< the bytes are plain secrets, which the last owner wipes

    ~Opened() {
        if (isSecret && bytes.isDetached()) {
            wipe(bytes);
        }
    }
};

/// What a program that shows the report itself wants in addition, and the bytes that the call read.
struct Kept {
    std::vector<Opened> files;  ///< in the order in which they were read; their descriptions are in the report
    bool wantsMeaning = false;  ///< whether `verify` decodes contents, as `show` does
    std::size_t texts = 0;      ///< the most texts to find in each part of firmware
    bool wantsContents = false;
    Contents
        contents;  ///< contents of the last verified file, if nothing in it is wrong and every part could be opened
};

/// One call: its options and its report. A function that fails adds its fault to the report and returns false; its
/// caller adds nothing and returns.
class Call {
  public:
    /// `kept` may be null.
    Call(const QCommandLineParser& parser, Report& report, Kept* kept = nullptr)
        : parser_(parser), report_(report), kept_(kept) {}
    ~Call() { wipe(siteSecret_); }
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

    bool fail(const char* code, const QString& file, const QString& text);

    /// Reads keys and nonce.
    [[nodiscard]] bool readEvidence();
    /// Reads the files that contents are compared with.
    [[nodiscard]] bool readSources();
    /// Reads the dump of a device that contents are compared with.
    [[nodiscard]] bool readDump();
    /// Reads the policy document and the rules of the options.
    [[nodiscard]] bool readPolicies();
    /// Reads the device descriptions, and the options that are about contents.
    [[nodiscard]] bool readDecoding();
    /// Reads and describes a file, which must have a known format. `payload` is the option that names the second file
    /// of a pair. The second file may also be one of `others`; it is then removed from the list. `others` may be null.
    [[nodiscard]] bool open(const QString& path, Opened& opened, const char* payload = "payload",
                            QStringList* others = nullptr);

    [[nodiscard]] bool has(const char* option) const { return parser_.isSet(QLatin1String(option)); }
    [[nodiscard]] QString value(const char* option) const { return parser_.value(QLatin1String(option)); }
    /// The evidence for a file; with a folder of keys, those that fit it. `isSecond`: the second file of a comparison.
    [[nodiscard]] const Evidence& evidenceFor(const Opened& opened, bool isSecond = false);
    /// What the user wants to see of contents.
    [[nodiscard]] const Decoding& decoding() const { return decoding_; }
    /// Empty if none was given.
    [[nodiscard]] const QByteArray& siteSecret() const { return siteSecret_; }
    [[nodiscard]] const Sources& sources() const { return sources_; }
    [[nodiscard]] const Dump& dump() const { return dump_; }
    /// The rules of the document, and those of the options.
    [[nodiscard]] const std::vector<Policy>& policies() const { return policies_; }
    [[nodiscard]] Report& report() { return report_; }
    [[nodiscard]] Kept* kept() { return kept_; }

  private:
    using SecretReader = bool (*)(const QString& path, QByteArray& key, QString& fault, QString& warning);

    bool claimStandardInput(const QString& path);
    bool readSecret(const char* option, SecretReader read, QByteArray& secret);
    bool readWhole(const char* option, std::optional<QByteArray>& bytes);
    bool readKeys();
    bool readRules(Policy& policy);
    bool resolve(Policy& policy);
    template <typename Value>
    bool readEach(const char* option, bool (*parse)(const QString& text, Value& value), const char* expected,
                  std::vector<Value>& values);
    bool readMemoryUse();
    using FileReader = bool (*)(const QString& path, QByteArray& bytes, QString& fault);

    bool readAll(const char* option, FileReader read, std::vector<QByteArray>& files);
    bool openSecond(const FormatRow* as, const char* payload, QStringList* others, Opened& opened);

    const QCommandLineParser& parser_;
    Report& report_;
    Kept* kept_;
    Evidence evidence_;
    Evidence evidenceB_;
    KeyFolder keys_;
    QByteArray siteSecret_;
    Sources sources_;
    Dump dump_;
    std::vector<Policy> policies_;
    Decoding decoding_;
    bool isStandardInputTaken_ = false;
};

}  // namespace inspect
