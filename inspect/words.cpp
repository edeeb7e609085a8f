#include "inspect/words.h"

namespace inspect {

namespace {

QString fill(const char* words, const std::vector<Field>& arguments) {
    QString text = QString::fromLatin1(words);
    for (const Field& argument : arguments) {
        text.replace(QStringLiteral("{%1}").arg(QLatin1String(argument.name)), valueText(argument));
    }
    return text;
}

// Converts the stable names in a text to words. Such texts are "area F" and "externalFirmware".
QString wordsIn(const Field& field) {
    QStringList words;
    for (const QByteArray& word : field.bytes.split(' ')) {
        words << (word.size() > 1 ? wordsOf(word.constData()) : printable(QString::fromLatin1(word)));
    }
    return words.join(u' ');
}

}  // namespace

QString wordsOf(const char* name) {
    QString words;
    for (const char* at = name; *at != '\0'; ++at) {
        if (*at >= 'A' && *at <= 'Z') {
            words += u' ';
            words += QLatin1Char(static_cast<char>(*at - 'A' + 'a'));
        } else {
            words += QLatin1Char(*at);
        }
    }
    for (const QLatin1String shortForm : {QLatin1String("iv"), QLatin1String("tlv"), QLatin1String("id")}) {
        const qsizetype start = words.size() - shortForm.size();
        if (words.endsWith(shortForm) && (start == 0 || words.at(start - 1) == u' ')) {
            words.replace(start, shortForm.size(), QString(shortForm).toUpper());
        }
    }
    return words;
}

QString addressText(std::uint64_t address) {
    return QStringLiteral("0x%1").arg(QString::number(address, 16).toUpper(), 8, u'0');
}

QString bytesText(std::uint64_t count) {
    return QStringLiteral("%1 %2").arg(count).arg(count == 1 ? QStringLiteral("byte") : QStringLiteral("bytes"));
}

QString valueText(const Field& field) {
    if (field.secret) {
        return QStringLiteral("(%1)").arg(bytesText(static_cast<std::uint64_t>(field.size)));
    }
    if (field.meaning != nullptr) {
        return wordsOf(field.meaning);
    }
    switch (field.kind) {
        case FieldKind::number:
            return QString::number(field.number);
        case FieldKind::address:
            return addressText(field.number);
        case FieldKind::bytes:
            return QString::fromLatin1(field.bytes.toHex());
        case FieldKind::text:
            break;
    }
    return printable(QString::fromUtf8(field.bytes));
}

QString fieldText(const Field& field) {
    return wordsOf(field.name) + u' ' + valueText(field);
}

QString differenceText(const Difference& difference) {
    std::vector<Field> arguments = difference.arguments;
    for (Field& argument : arguments) {
        if (QByteArrayView(argument.name) == "name") {
            argument.bytes = wordsIn(argument).toUtf8();
        }
    }
    return fill(rowOf(difference.code).words, arguments);
}

const Part* partOf(const Description& description, int index) {
    const bool isThere = index > 0 && static_cast<std::size_t>(index) <= description.parts.size();
    return isThere ? &description.parts[static_cast<std::size_t>(index - 1)] : nullptr;
}

namespace {

QString partName(const char* kind, int index, char letter) {
    QString name = wordsOf(kind);
    if (index != 0) {
        name += QStringLiteral(" %1").arg(index);
    }
    return letter == 0 ? name : name + u' ' + printable(QString(QLatin1Char(letter)));
}

QString optionValueText(const OptionField& field) {
    const QString number = QString::number(field.value);
    return field.meaning.isEmpty() ? number : QStringLiteral("%1 (%2)").arg(number, printable(field.meaning));
}

DecodedRow optionWordRow(const OptionWord& word) {
    QStringList fields;
    for (const OptionField& field : word.fields) {
        fields << printable(field.name) + u' ' + optionValueText(field);
    }
    const QString name = word.name.isEmpty() ? QString() : u' ' + printable(word.name);
    return {QStringLiteral("word %1").arg(word.number) + name, addressText(word.value),
            fields.join(QStringLiteral(", "))};
}

}  // namespace

QString partName(const Part& part) {
    return partName(part.name, part.index, part.letter);
}

QString partName(const Decoded& decoded) {
    return partName(decoded.name, decoded.part, decoded.letter);
}

QString decodedText(const Decoded& decoded) {
    QStringList items = {wordsOf(decoded.kind), bytesText(static_cast<std::uint64_t>(decoded.size))};
    for (const Field& field : decoded.fields) {
        items << (field.secret ? QStringLiteral("not shown") : fieldText(field));
    }
    return items.join(QStringLiteral(", "));
}

std::size_t rowCount(const Decoded& decoded) {
    return decoded.words.size() + decoded.filled.size() + decoded.texts.size();
}

DecodedRow rowAt(const Decoded& decoded, std::size_t index) {
    if (index < decoded.words.size()) {
        return optionWordRow(decoded.words[index]);
    }
    index -= decoded.words.size();
    if (index < decoded.filled.size()) {
        const FilledRange& range = decoded.filled[index];
        const QString byte = QString::number(range.value, 16).toUpper().rightJustified(2, u'0');
        return {addressText(range.from) + u'-' + addressText(range.to), {}, QStringLiteral("filled with ") + byte};
    }
    const FoundText& found = decoded.texts[index - decoded.filled.size()];
    return {addressText(found.address), {}, u'"' + printable(QString::fromLatin1(found.text)) + u'"'};
}

QString rowText(const DecodedRow& row) {
    const QString name = row.value.isEmpty() ? row.name : row.name + u' ' + row.value;
    const QString separator = row.value.isEmpty() ? QStringLiteral(" ") : QStringLiteral(": ");
    return row.meaning.isEmpty() ? name : name + separator + row.meaning;
}

QString memoryText(const Part& part) {
    if (!part.hasAddress) {
        return {};
    }
    return part.memorySize == 0 ? addressText(part.address)
                                : addressText(part.address) + u'-' + addressText(part.address + part.memorySize - 1);
}

QString findingText(const Finding& finding) {
    return fill(rowOf(finding.code).words, finding.arguments);
}

QString checkName(const Check& check) {
    QString words = QString::fromLatin1(rowOf(check.code).words);
    for (const Field& argument : check.arguments) {
        if (QByteArrayView(argument.name) == "content") {
            words.prepend(wordsIn(argument) + u' ');
        }
    }
    return words;
}

QString outcomeText(const Check& check) {
    switch (check.result) {
        case CheckResult::good:
            return QStringLiteral("good");
        case CheckResult::bad:
            return fill(rowOf(check.code).badWords, check.arguments);
        case CheckResult::unchecked:
            break;
    }
    return QStringLiteral("unchecked (%1)").arg(QLatin1String(rowOf(check.reason).words));
}

QString resultText(const Check& check) {
    return checkName(check) + u' ' + outcomeText(check);
}

QString keyText(const KeyUse& key) {
    constexpr std::array uses = {"image key", "signed by", "public key"};
    const QString text = QLatin1String(uses[static_cast<std::size_t>(key.use)]) + u' ' + printable(key.file);
    const char* const kind = key.use == KeyUse::Use::image ? "fingerprint" : "SHA-256";
    return key.fingerprint.isEmpty()
               ? text
               : text + QStringLiteral(", %1 %2").arg(QLatin1String(kind), QLatin1String(key.fingerprint.toHex()));
}

namespace {

/// The fields that changed, or the whole words if a bit outside all known fields did.
QString wordDifferenceText(const WordDifference& word) {
    if (word.fields.empty()) {
        const QString name = word.name.isEmpty() ? QString() : u' ' + printable(word.name);
        return QStringLiteral("option word %1%2: %3 -> %4")
            .arg(QString::number(word.word), name, addressText(word.a), addressText(word.b));
    }
    QStringList items;
    for (const FieldDifference& field : word.fields) {
        items << QStringLiteral("option %1.%2: %3 -> %4")
                     .arg(printable(word.name), printable(field.a.name), optionValueText(field.a),
                          optionValueText(field.b));
    }
    return items.join(QStringLiteral("; "));
}

}  // namespace

QString summaryText(const Summary& summary) {
    constexpr std::size_t limit = 10;
    QStringList items;
    switch (summary.memory) {
        case Summary::Memory::absent:
            break;
        case Summary::Memory::closed:
            items << QStringLiteral("contents not compared");
            break;
        case Summary::Memory::equal:
            items << QStringLiteral("firmware equal");
            break;
        case Summary::Memory::different:
            items << QStringLiteral("firmware differs in %1 range%2")
                         .arg(summary.ranges.size())
                         .arg(summary.ranges.size() == 1 ? QString() : QStringLiteral("s"));
            break;
    }
    if (summary.versions.size() == 2) {
        items << QStringLiteral("version %1 -> %2").arg(valueText(summary.versions[0]), valueText(summary.versions[1]));
    }
    for (std::size_t i = 0; i < std::min(limit, summary.words.size()); ++i) {
        items << wordDifferenceText(summary.words[i]);
    }
    if (summary.words.size() > limit) {
        items << QStringLiteral("%1 more option words").arg(summary.words.size() - limit);
    }
    return items.join(QStringLiteral("; "));
}

QString memoryDifferenceText(const MemoryDifference& difference) {
    QString text = addressText(difference.range.from) + u'-' + addressText(difference.range.to);
    if (!difference.name.isEmpty()) {
        text += u' ' + printable(QString::fromUtf8(difference.name));
    }
    if (difference.a.isEmpty() && difference.b.isEmpty()) {
        return text;
    }
    const auto hex = [](const QByteArray& bytes) {
        return bytes.isEmpty() ? QStringLiteral("nothing") : QString::fromLatin1(bytes.toHex());
    };
    return text + QStringLiteral(": ") + hex(difference.a) + QStringLiteral(" -> ") + hex(difference.b);
}

}  // namespace inspect
