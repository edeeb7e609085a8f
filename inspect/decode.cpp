#include "inspect/decode.h"

#include "files/ByteReader.h"
#include "inspect/Report.h"
#include "inspect/cipher.h"
#include "inspect/describeCode.h"
#include "inspect/words.h"

#include <algorithm>
#include <array>

namespace inspect {

namespace {

constexpr int deepest = 4;  // files within files

/// Decodes the contents of one file.
class Decoder {
  public:
    Decoder(const Evidence& evidence, const Decoding& decoding, const QString& file, int depth, qint64& budget)
        : evidence_(evidence), decoding_(decoding), file_(file), depth_(depth), budget_(budget) {}

    void decodeAll(const Contents& contents, Description& description);

  private:
    using Decode = void (Decoder::*)(const Content& content, Decoded& decoded) const;

    /// What the contents of the areas with one letter are: a file of a format, or something else. Other contents are
    /// decoded by their kind.
    struct LetterRow {
        const char* name;
        Decode decode = nullptr;
        const char* format = nullptr;
    };

    void decodeOptionBytes(const Content& content, Decoded& decoded) const;
    void decodeModuleRecord(const Content& content, Decoded& decoded) const;
    void decodePartEnd(const Content& content, Decoded& decoded) const;
    void decodeDigest(const Content& content, Decoded& decoded) const;
    void decodeCode(const Content& content, Decoded& decoded) const;
    void decodeSecret(const Content& content, Decoded& decoded) const;
    bool addFile(const Content& content, const FormatRow* format, Decoded& decoded) const;

    const Evidence& evidence_;
    const Decoding& decoding_;
    QString file_;
    int depth_;
    qint64& budget_;  ///< how many bytes of files within files may still be read
    std::vector<Span> memory_;
};

/// The format, if the bytes fit it; otherwise null.
const FormatRow* fittingFormat(const char* name, QByteArrayView bytes) {
    const FormatRow* const format = formatByName(QLatin1String(name));
    return format->match == nullptr || format->match(bytes) != Match::no ? format : nullptr;
}

/// Gives the contents of a file in memory, which have no addresses of their own, those of their places in the file. Not
/// those that the file has encrypted or compressed.
void placeContents(const Content& file, const Description& description, Contents& contents) {
    for (Content& content : contents.list) {
        const Part* const part = partOf(description, content.part);
        const bool isThere = part != nullptr && part->payloadOffset >= 0 &&
                             content.bytes.size() <= file.bytes.size() - part->payloadOffset;
        if (!content.hasAddress && isThere &&
            QByteArrayView(file.bytes).sliced(part->payloadOffset, content.bytes.size()) == content.bytes) {
            content.hasAddress = true;
            content.address = file.address + static_cast<std::uint64_t>(part->payloadOffset);
        }
    }
}

Field derivedBytes(const char* name, QByteArrayView bytes) {
    Field field = bytesField(name, bytes);
    field.state = FieldState::derived;
    return field;
}

void addNumber(const char* name, std::uint64_t value, Decoded& decoded) {
    decoded.fields.push_back(numberField(name, value));
}

bool isText(QByteArrayView bytes) {
    return std::all_of(bytes.begin(), bytes.end(), [](char byte) { return byte >= ' ' && byte <= '~'; });
}

void Decoder::decodeOptionBytes(const Content& content, Decoded& decoded) const {
    constexpr qsizetype wordSize = 4;
    const devices::Device* const device = decoding_.registers.deviceFor(content.bytes.size() / wordSize);
    decoded.words = readOptionWords(content.bytes, device);
    if (device != nullptr) {
        decoded.fields.push_back(addressField("deviceId", device->deviceId));
        decoded.fields.push_back(textField("device", device->name.toUtf8()));
        decoded.fields.back().state = decoded.fields.front().state = FieldState::derived;
    }
}

// An identity is a name. A licence is known by its digest, so that it can be found among the licence files.
void Decoder::decodeModuleRecord(const Content& content, Decoded& decoded) const {
    constexpr std::uint32_t licence = 1;
    constexpr std::uint32_t identity = 2;
    ByteReader reader(content.bytes);
    const std::uint32_t kind = reader.u32();
    const QByteArrayView value = reader.take(reader.remaining());
    addNumber("recordKind", kind, decoded);
    if (kind == identity) {
        decoded.fields.back().meaning = "identity";
        decoded.fields.push_back(isText(value) ? textField("identity", value) : bytesField("identity", value));
    } else if (kind == licence) {
        decoded.fields.back().meaning = "licence";
        decoded.fields.push_back(derivedBytes("sha256", sha256(value)));
    }
}

void Decoder::decodePartEnd(const Content& content, Decoded& decoded) const {
    ByteReader reader(content.bytes);
    addNumber("partNumber", reader.u32(), decoded);
    addNumber("areasLeft", reader.u32(), decoded);
}

void Decoder::decodeDigest(const Content& content, Decoded& decoded) const {
    decoded.fields.push_back(bytesField("sha256", content.bytes));
}

void Decoder::decodeCode(const Content& content, Decoded& decoded) const {
    const Source source = {{}, content.bytes, {}, {}};
    Description probe;
    if (!addFile(content, findInnerFormat(source, probe), decoded)) {
        describeCode(content, memory_, decoding_.texts, decoded);
    }
}

// Of a secret, only files whose own bytes are never shown are looked into.
void Decoder::decodeSecret(const Content& content, Decoded& decoded) const {
    const Source source = {{}, content.bytes, {}, {}};
    Description probe;
    const FormatRow* const format = findInnerFormat(source, probe);
    if (format != nullptr && format->isSecret && addFile(content, format, decoded)) {
        return;
    }
    Field secret = bytesField("secret", decoding_.revealsSecrets ? QByteArrayView(content.bytes) : QByteArrayView());
    secret.size = content.bytes.size();
    secret.secret = !decoding_.revealsSecrets;
    decoded.fields.push_back(std::move(secret));
    if (!decoding_.siteSecret.isEmpty()) {
        QByteArray digest = sha256(content.bytes);
        decoded.fields.push_back(derivedBytes("fingerprint", hmacSha256(decoding_.siteSecret, digest)));
        wipe(digest);
    }
}

/// Describes the content as a file of this format, and decodes its contents. Returns false if `format` is null, or if
/// the content is inside too many files. ELF files within ELF files could multiply the bytes; the budget ends that.
bool Decoder::addFile(const Content& content, const FormatRow* format, Decoded& decoded) const {
    budget_ -= format != nullptr ? content.bytes.size() : 0;
    if (format == nullptr || depth_ == deepest || budget_ < 0) {
        return false;
    }
    const Source source = {{}, content.bytes, {}, {}};
    Description& inner = decoded.inner.emplace_back();
    inner.file = file_;
    inner.size = content.bytes.size();
    inner.format = format;
    format->describe(source, inner);
    Contents contents;
    prove(source, evidence_, inner, &contents);
    std::erase_if(inner.checks, [](const Check& check) { return check.code == CheckCode::nonce; });  // it has its own
    if (judge(inner).isKeyDoubtful) {  // a file inside a file may have a key of its own
        inner.checks.clear();
    }
    if (content.hasAddress) {
        placeContents(content, inner, contents);
    }
    Decoder(evidence_, decoding_, file_, depth_ + 1, budget_).decodeAll(contents, inner);
    return true;
}

void Decoder::decodeAll(const Contents& contents, Description& description) {
    constexpr std::array rows = {
        LetterRow{"optionBytes", &Decoder::decodeOptionBytes},
        LetterRow{"moduleRecord", &Decoder::decodeModuleRecord},
        LetterRow{"partEnd", &Decoder::decodePartEnd},
        LetterRow{"hash", &Decoder::decodeDigest},
        LetterRow{"provisioningData", &Decoder::decodeSecret, "provisioningFile"},
        LetterRow{"backupSection", &Decoder::decodeSecret, "backupImage"},
        LetterRow{"packagedModule", &Decoder::decodeSecret, "packagedModule"},
    };
    for (const Content& content : contents.list) {
        if (isCode(content) && content.hasAddress) {
            memory_.push_back({content.address, content.address + static_cast<std::uint64_t>(content.bytes.size())});
        }
    }
    memory_ = merged(std::move(memory_));
    for (const Content& content : contents.list) {
        Decoded& decoded = description.decoded.emplace_back();
        decoded.part = content.part;
        decoded.name = content.name;
        decoded.letter = content.letter;
        decoded.size = content.bytes.size();
        decoded.kind = content.letterName != nullptr ? content.letterName : isCode(content) ? "firmware" : "secret";
        const auto row = std::find_if(rows.begin(), rows.end(), [&](const LetterRow& candidate) {
            return qstrcmp(candidate.name, decoded.kind) == 0;
        });
        const bool isKnown = row != rows.end();
        const bool isFile =
            isKnown && row->format != nullptr && addFile(content, fittingFormat(row->format, content.bytes), decoded);
        if (!isFile) {
            const Decode decode = isKnown           ? row->decode
                                  : isCode(content) ? &Decoder::decodeCode
                                                    : &Decoder::decodeSecret;
            (this->*decode)(content, decoded);
        }
    }
}

}  // namespace

void decode(const Contents& contents, const Evidence& evidence, const Decoding& decoding, Description& description) {
    qint64 budget = 0;
    for (const Content& content : contents.list) {
        budget += deepest * content.bytes.size();
    }
    Decoder(evidence, decoding, description.file, 0, budget).decodeAll(contents, description);
}

}  // namespace inspect
