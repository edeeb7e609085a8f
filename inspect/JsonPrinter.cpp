#include "inspect/Report.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStringDecoder>

#include <algorithm>
#include <array>

namespace inspect {

namespace {

constexpr int schemaVersion = 1;

QString latin(const char* text) {
    return QString::fromLatin1(text);
}

QJsonValue addressValue(std::uint64_t address) {
    return QStringLiteral("0x%1").arg(QString::number(address, 16).toUpper(), 8, u'0');
}

QJsonValue numberValue(std::uint64_t number) {
    return QJsonValue(static_cast<qint64>(number));
}

// Adds a text. If it isn't UTF-8, a second member contains its bytes in hexadecimal.
void addText(QJsonObject& object, const QString& name, QByteArrayView bytes) {
    QStringDecoder decoder(QStringDecoder::Utf8);
    const QString text = decoder(bytes);
    object[name] = text;
    if (decoder.hasError()) {
        object[name + QStringLiteral("Bytes")] = QString::fromLatin1(bytes.toByteArray().toHex());
    }
}

void addValue(QJsonObject& object, const QString& name, const Field& field) {
    switch (field.kind) {
        case FieldKind::number:
            object[name] = numberValue(field.number);
            break;
        case FieldKind::address:
            object[name] = addressValue(field.number);
            break;
        case FieldKind::bytes:
            object[name] = QString::fromLatin1(field.bytes.toHex());
            break;
        case FieldKind::text:
            addText(object, name, field.bytes);
            break;
    }
}

QJsonObject toJson(const Field& field) {
    constexpr std::array kinds = {"number", "address", "bytes", "text"};
    constexpr std::array states = {"read", "cut", "derived"};
    QJsonObject object{{QStringLiteral("name"), latin(field.name)},
                       {QStringLiteral("kind"), latin(kinds[static_cast<std::size_t>(field.kind)])}};
    if (!field.secret) {
        addValue(object, QStringLiteral("value"), field);
    }
    if (field.meaning != nullptr) {
        object[QStringLiteral("meaning")] = latin(field.meaning);
    }
    if (field.offset >= 0) {
        object[QStringLiteral("offset")] = field.offset;
        object[QStringLiteral("size")] = field.size;
    }
    object[QStringLiteral("state")] = latin(states[static_cast<std::size_t>(field.state)]);
    return object;
}

QJsonObject toJson(const Part& part);
QJsonObject toJson(const Range& range);
QJsonObject toJson(const Finding& finding);
QJsonObject toJson(const Check& check);
QJsonObject toJson(const Failure& failure);
QJsonObject toJson(const Difference& difference);
QJsonObject toJson(const KeyUse& key);
QJsonObject toJson(const MemoryDifference& difference);
QJsonObject toJson(const WordDifference& difference);
QJsonObject toJson(const OptionField& field);
QJsonObject toJson(const OptionWord& word);
QJsonObject toJson(const FilledRange& range);
QJsonObject toJson(const FoundText& found);

template <typename Item>
QJsonArray toArray(const std::vector<Item>& items) {
    QJsonArray array;
    for (const Item& item : items) {
        array.append(toJson(item));
    }
    return array;
}

QJsonObject argumentsOf(const std::vector<Field>& arguments) {
    QJsonObject object;
    for (const Field& argument : arguments) {
        addValue(object, latin(argument.name), argument);
    }
    return object;
}

QJsonObject toJson(const Part& part) {
    QJsonObject payload{{QStringLiteral("size"), part.payloadSize}};
    QJsonObject object{{QStringLiteral("name"), latin(part.name)}, {QStringLiteral("index"), part.index}};
    if (part.offset >= 0) {
        payload[QStringLiteral("offset")] = part.payloadOffset;
        object[QStringLiteral("offset")] = part.offset;
        object[QStringLiteral("size")] = part.size;
    }
    object[QStringLiteral("payload")] = payload;
    if (part.letter != 0) {
        object[QStringLiteral("letter")] = QString(QLatin1Char(part.letter));
    }
    if (part.letterName != nullptr) {
        object[QStringLiteral("letterName")] = latin(part.letterName);
    }
    if (part.hasAddress) {
        object[QStringLiteral("address")] = addressValue(part.address);
        object[QStringLiteral("memorySize")] = numberValue(part.memorySize);
    }
    if (!part.fields.empty()) {
        object[QStringLiteral("fields")] = toArray(part.fields);
    }
    return object;
}

QJsonObject toJson(const Range& range) {
    constexpr std::array roles = {"header", "tag", "payload", "unused", "unread"};
    constexpr std::array covers = {"none", "structure", "digest", "signature", "tag", "comparison"};
    QJsonObject object{{QStringLiteral("offset"), range.offset},
                       {QStringLiteral("size"), range.size},
                       {QStringLiteral("role"), latin(roles[static_cast<std::size_t>(range.role)])},
                       {QStringLiteral("cover"), latin(covers[static_cast<std::size_t>(range.cover)])}};
    if (range.part != 0) {
        object[QStringLiteral("part")] = range.part;
    }
    return object;
}

QJsonObject toJson(const Finding& finding) {
    const FindingRow& row = rowOf(finding.code);
    QJsonObject object{{QStringLiteral("code"), latin(row.name)},
                       {QStringLiteral("severity"),
                        row.severity == Severity::error ? QStringLiteral("error") : QStringLiteral("note")},
                       {QStringLiteral("arguments"), argumentsOf(finding.arguments)}};
    if (finding.offset >= 0) {
        object[QStringLiteral("offset")] = finding.offset;
    }
    if (finding.part != 0) {
        object[QStringLiteral("part")] = finding.part;
    }
    return object;
}

QJsonObject toJson(const Check& check) {
    constexpr std::array results = {"good", "bad", "unchecked"};
    QJsonObject object{{QStringLiteral("code"), latin(rowOf(check.code).name)},
                       {QStringLiteral("result"), latin(results[static_cast<std::size_t>(check.result)])}};
    if (check.part != 0) {
        object[QStringLiteral("part")] = check.part;
    }
    if (check.result == CheckResult::unchecked) {
        object[QStringLiteral("reason")] = latin(rowOf(check.reason).name);
        object[QStringLiteral("needed")] = check.needed;
    }
    if (!check.arguments.empty()) {
        object[QStringLiteral("arguments")] = argumentsOf(check.arguments);
    }
    return object;
}

void addJudgement(QJsonObject& object, const Description& description) {
    const Judgement judgement = judge(description);
    QJsonArray proofs;
    for (const Proof proof : judgement.proofs) {
        proofs.append(latin(nameOf(proof)));
    }
    object[QStringLiteral("verdict")] = latin(nameOf(judgement.verdict));
    object[QStringLiteral("proof")] = proofs;
    if (judgement.verdict == Verdict::undecided) {
        object[QStringLiteral("reason")] = latin(rowOf(judgement.reason).name);
    }
}

QJsonObject toJson(const Failure& failure) {
    QJsonObject object{{QStringLiteral("code"), latin(failure.code)}, {QStringLiteral("text"), failure.text}};
    if (!failure.file.isEmpty()) {
        object[QStringLiteral("file")] = failure.file;
    }
    return object;
}

QJsonObject toJson(const Difference& difference) {
    QJsonObject object{{QStringLiteral("code"), latin(rowOf(difference.code).name)},
                       {QStringLiteral("counts"), rowOf(difference.code).counts},
                       {QStringLiteral("arguments"), argumentsOf(difference.arguments)}};
    if (difference.part != 0) {
        object[QStringLiteral("part")] = difference.part;
    }
    return object;
}

QJsonObject toJson(const KeyUse& key) {
    constexpr std::array uses = {"image", "signature", "binding"};
    QJsonObject object{{QStringLiteral("use"), latin(uses[static_cast<std::size_t>(key.use)])},
                       {QStringLiteral("file"), key.file}};
    if (!key.fingerprint.isEmpty()) {
        object[QStringLiteral("fingerprint")] = QString::fromLatin1(key.fingerprint.toHex());
    }
    return object;
}

// JSON contains non-ASCII characters only in strings, where an escape means the same. Escapes keep control characters
// and changes of the reading order away from a terminal.
void appendAscii(const QByteArray& json, QByteArray& result) {
    if (std::all_of(json.begin(), json.end(), [](char byte) { return byte >= 0 && byte < 0x7F; })) {
        result += json;
        return;
    }
    for (const QChar character : QString::fromUtf8(json)) {
        const char16_t code = character.unicode();
        if (code < 0x7F) {
            result.append(static_cast<char>(code));
        } else {
            result.append("\\u" + QByteArray::number(static_cast<uint>(code), 16).rightJustified(4, '0'));
        }
    }
}

/// Writes the document piece by piece, one line each. For a file with many thousand parts, a tree of the whole document
/// would need ten times the memory of its text.
class DocumentWriter {
  public:
    /// Begins an object with the members of `head`.
    void begin(const QJsonObject& head) {
        appendAscii(QJsonDocument(head).toJson(QJsonDocument::Compact), text_);
        text_.chop(1);
    }
    void end() { text_ += '}'; }

    /// Adds a member to the object: an array, whose items `write` writes.
    template <typename Item, typename Write>
    void addArray(const char* name, const std::vector<Item>& items, Write write) {
        text_ += QByteArray(",\n\"") + name + "\":[";
        bool isFirst = true;
        for (const Item& item : items) {
            text_ += isFirst ? "\n" : ",\n";
            isFirst = false;
            write(item);
        }
        text_ += ']';
    }
    /// Adds a member to the object, whose value `write` writes.
    template <typename Write>
    void addMember(const char* name, Write write) {
        text_ += QByteArray(",\n\"") + name + "\":";
        write();
    }
    template <typename Item>
    void addArray(const char* name, const std::vector<Item>& items) {
        addArray(name, items, [this](const Item& item) {
            begin(toJson(item));
            end();
        });
    }

    QByteArray take() {
        text_ += '\n';
        return std::move(text_);
    }

  private:
    QByteArray text_;
};

QJsonObject toJson(const MemoryDifference& difference) {
    QJsonObject object{{QStringLiteral("code"), latin(rowOf(difference.range.code).name)},
                       {QStringLiteral("from"), addressValue(difference.range.from)},
                       {QStringLiteral("to"), addressValue(difference.range.to)}};
    if (!difference.name.isEmpty()) {
        addText(object, QStringLiteral("symbol"), difference.name);
    }
    if (!difference.a.isEmpty()) {
        object[QStringLiteral("a")] = QString::fromLatin1(difference.a.toHex());
    }
    if (!difference.b.isEmpty()) {
        object[QStringLiteral("b")] = QString::fromLatin1(difference.b.toHex());
    }
    return object;
}

QJsonObject toJson(const WordDifference& difference) {
    QJsonObject object{{QStringLiteral("word"), numberValue(difference.word)},
                       {QStringLiteral("a"), addressValue(difference.a)},
                       {QStringLiteral("b"), addressValue(difference.b)}};
    if (difference.name.isEmpty()) {
        return object;
    }
    QJsonArray fields;
    for (const FieldDifference& field : difference.fields) {
        fields.append(QJsonObject{{QStringLiteral("a"), toJson(field.a)}, {QStringLiteral("b"), toJson(field.b)}});
    }
    object[QStringLiteral("register")] = difference.name;
    object[QStringLiteral("fields")] = fields;
    return object;
}

QJsonObject toJson(const OptionField& field) {
    QJsonObject object{{QStringLiteral("name"), field.name}, {QStringLiteral("value"), numberValue(field.value)}};
    if (!field.meaning.isEmpty()) {
        object[QStringLiteral("meaning")] = field.meaning;
    }
    return object;
}

QJsonObject toJson(const OptionWord& word) {
    QJsonObject object{{QStringLiteral("word"), numberValue(word.number)},
                       {QStringLiteral("value"), addressValue(word.value)}};
    if (word.name.isEmpty()) {
        return object;
    }
    object[QStringLiteral("register")] = word.name;
    object[QStringLiteral("fields")] = toArray(word.fields);
    return object;
}

QJsonObject toJson(const FilledRange& range) {
    return {{QStringLiteral("from"), addressValue(range.from)},
            {QStringLiteral("to"), addressValue(range.to)},
            {QStringLiteral("value"), numberValue(range.value)}};
}

QJsonObject toJson(const FoundText& found) {
    return {{QStringLiteral("address"), addressValue(found.address)},
            {QStringLiteral("text"), QString::fromLatin1(found.text)}};
}

void writeDescription(const Description& description, bool isJudged, DocumentWriter& writer);

void writeDecoded(const Decoded& decoded, DocumentWriter& writer) {
    QJsonObject head{{QStringLiteral("name"), latin(decoded.name)},
                     {QStringLiteral("kind"), latin(decoded.kind)},
                     {QStringLiteral("size"), decoded.size}};
    if (decoded.part != 0) {
        head[QStringLiteral("part")] = decoded.part;
    }
    writer.begin(head);
    writer.addArray("fields", decoded.fields);
    if (!decoded.words.empty()) {
        writer.addArray("optionWords", decoded.words);
    }
    if (!decoded.filled.empty()) {
        writer.addArray("filled", decoded.filled);
    }
    if (!decoded.texts.empty()) {
        writer.addArray("texts", decoded.texts);
    }
    if (!decoded.inner.empty()) {
        writer.addArray("inner", decoded.inner,
                        [&writer](const Description& inner) { writeDescription(inner, false, writer); });
    }
    writer.end();
}

void writeSummary(const Summary& summary, DocumentWriter& writer) {
    constexpr std::array states = {"absent", "closed", "equal", "different"};
    QJsonObject head{{QStringLiteral("firmware"), latin(states[static_cast<std::size_t>(summary.memory)])}};
    if (summary.versions.size() == 2) {
        QJsonObject version;
        addValue(version, QStringLiteral("a"), summary.versions[0]);
        addValue(version, QStringLiteral("b"), summary.versions[1]);
        head[QStringLiteral("version")] = version;
    }
    writer.begin(head);
    writer.addArray("ranges", summary.ranges);
    writer.addArray("optionWords", summary.words);
    writer.end();
}

void writeDescription(const Description& description, bool isJudged, DocumentWriter& writer) {
    constexpr std::array grounds = {"content", "suffix", "option"};
    QJsonObject head{{QStringLiteral("file"), description.file}, {QStringLiteral("size"), description.size}};
    if (description.format != nullptr) {
        head[QStringLiteral("format")] = latin(description.format->name);
        head[QStringLiteral("by")] = latin(grounds[static_cast<std::size_t>(description.by)]);
    }
    if (description.offset > 0) {
        head[QStringLiteral("offset")] = description.offset;
    }
    if (isJudged) {
        addJudgement(head, description);
    }
    writer.begin(head);
    writer.addArray("fields", description.fields);
    writer.addArray("parts", description.parts);
    writer.addArray("ranges", description.ranges);
    writer.addArray("findings", description.findings);
    if (!description.checks.empty()) {
        writer.addArray("checks", description.checks);
    }
    if (!description.keys.empty()) {
        writer.addArray("keys", description.keys);
    }
    if (!description.differences.empty()) {
        writer.addArray("differences", description.differences);
    }
    if (!description.decoded.empty()) {
        writer.addArray("contents", description.decoded,
                        [&writer](const Decoded& decoded) { writeDecoded(decoded, writer); });
    }
    if (!description.inner.empty()) {
        writer.addArray("inner", description.inner,
                        [&writer](const Description& inner) { writeDescription(inner, false, writer); });
    }
    writer.end();
}

}  // namespace

QByteArray printJson(const Report& report) {
    QJsonObject head{{QStringLiteral("schema"), schemaVersion},
                     {QStringLiteral("command"), report.command},
                     {QStringLiteral("status"), report.status}};
    if (!report.folder.isEmpty()) {
        head[QStringLiteral("folder")] = report.folder;
    }
    const bool isJudged = report.command == QLatin1String("verify") || report.command == QLatin1String("extract");
    DocumentWriter writer;
    writer.begin(head);
    writer.addArray("files", report.files,
                    [&writer, isJudged](const Description& file) { writeDescription(file, isJudged, writer); });
    writer.addArray("failures", report.failures);
    if (report.command == QLatin1String("diff")) {
        writer.addArray("differences", report.differences);
        writer.addMember("summary", [&] { writeSummary(report.summary, writer); });
    }
    writer.end();
    return writer.take();
}

}  // namespace inspect
