#include "desktop/inspector/inspectFields.h"

#include "files/parseNumber.h"
#include "inspect/PublicKey.h"
#include "inspect/commandLine.h"
#include "inspect/dump.h"
#include "inspect/formats.h"
#include "inspect/input.h"

#include <QCoreApplication>
#include <QFileInfo>

#include <algorithm>
#include <array>

namespace desktop {

namespace {

constexpr const char* context = "InspectFields";

/// The check of a field's value: none, a kind of key in its file, a folder, a hexadecimal address, or ranges of
/// addresses.
enum class Checked { nothing, key, publicKey, privateKey, folder, hexadecimal, spans };

struct Row {
    const char* id;
    const char* group;
    const char* label;
    jobs::FieldKind kind;
    jobs::PathRole role;
    Checked checked;
    const char* tip;
};

constexpr const char* fileGroup = QT_TRANSLATE_NOOP("InspectFields", "The file");
constexpr const char* keyGroup = QT_TRANSLATE_NOOP("InspectFields", "Keys");
constexpr const char* sourceGroup = QT_TRANSLATE_NOOP("InspectFields", "What it should contain");
constexpr const char* deviceGroup = QT_TRANSLATE_NOOP("InspectFields", "Memory of a device");
constexpr const char* policyGroup = QT_TRANSLATE_NOOP("InspectFields", "Policy");
constexpr const char* cipherGroup = QT_TRANSLATE_NOOP("InspectFields", "Memory cipher image");
constexpr const char* secondGroup = QT_TRANSLATE_NOOP("InspectFields", "Comparison");

constexpr std::array rows = {
    Row{"key", keyGroup, QT_TRANSLATE_NOOP("InspectFields", "&Image key"), jobs::FieldKind::inFile, jobs::PathRole::key,
        Checked::key, QT_TRANSLATE_NOOP("InspectFields", "The key that the image was encrypted with: 16 bytes.")},
    Row{"keys", keyGroup, QT_TRANSLATE_NOOP("InspectFields", "Folder of keys"), jobs::FieldKind::folder,
        jobs::PathRole::key, Checked::folder,
        QT_TRANSLATE_NOOP("InspectFields",
                          "Instead of an image key and a public key: the keys that fit are found among its files.")},
    Row{"nonce", keyGroup, QT_TRANSLATE_NOOP("InspectFields", "&Nonce"), jobs::FieldKind::inFile, jobs::PathRole::key,
        Checked::nothing,
        QT_TRANSLATE_NOOP("InspectFields", "The nonce that the image was made with, if it is to be checked too.")},
    Row{"public", keyGroup, QT_TRANSLATE_NOOP("InspectFields", "P&ublic key"), jobs::FieldKind::inFile,
        jobs::PathRole::key, Checked::publicKey,
        QT_TRANSLATE_NOOP("InspectFields",
                          "Signatures are checked with it: PEM, X and Y of a point (64 bytes), or the "
                          "hash of a root key table.")},
    Row{"private", keyGroup, QT_TRANSLATE_NOOP("InspectFields", "Priv&ate key"), jobs::FieldKind::inFile,
        jobs::PathRole::key, Checked::privateKey,
        QT_TRANSLATE_NOOP(
            "InspectFields",
            "Personalization data and encrypted MCUboot images are opened with it: PEM without a passphrase.")},
    Row{"as", fileGroup, QT_TRANSLATE_NOOP("InspectFields", "For&mat"), jobs::FieldKind::choice,
        jobs::PathRole::document, Checked::nothing,
        QT_TRANSLATE_NOOP("InspectFields",
                          "Needed for files whose content doesn't show their format, such as backup images.")},
    Row{"payload", fileGroup, QT_TRANSLATE_NOOP("InspectFields", "Second fi&le"), jobs::FieldKind::inFile,
        jobs::PathRole::document, Checked::nothing,
        QT_TRANSLATE_NOOP(
            "InspectFields",
            "The other file of a pair. Without it the file next to the first one is used, such as .tbu for .tbuh.")},
    Row{"devices", fileGroup, QT_TRANSLATE_NOOP("InspectFields", "Device descriptions"), jobs::FieldKind::folder,
        jobs::PathRole::document, Checked::folder,
        QT_TRANSLATE_NOOP("InspectFields", "Option bytes are named by the descriptions in this folder.")},
    Row{"device", fileGroup, QT_TRANSLATE_NOOP("InspectFields", "Device"), jobs::FieldKind::fixed,
        jobs::PathRole::document, Checked::hexadecimal,
        QT_TRANSLATE_NOOP("InspectFields",
                          "Its ID, hexadecimal. Needed if several devices have as many words of option bytes.")},
    Row{"firmware", sourceGroup, QT_TRANSLATE_NOOP("InspectFields", "Firmware"), jobs::FieldKind::inFiles,
        jobs::PathRole::firmware, Checked::hexadecimal,
        QT_TRANSLATE_NOOP("InspectFields",
                          "The contents are compared with it: ELF, HEX, S-Record, or raw bytes with "
                          "their hexadecimal address.")},
    Row{"option-bytes", sourceGroup, QT_TRANSLATE_NOOP("InspectFields", "Option bytes"), jobs::FieldKind::inFile,
        jobs::PathRole::document, Checked::nothing,
        QT_TRANSLATE_NOOP("InspectFields", "The table of option bytes that the image was made from.")},
    Row{"module", sourceGroup, QT_TRANSLATE_NOOP("InspectFields", "Modules"), jobs::FieldKind::inFiles,
        jobs::PathRole::firmware, Checked::nothing,
        QT_TRANSLATE_NOOP("InspectFields", "Modules in the order of the image.")},
    Row{"blob", sourceGroup, QT_TRANSLATE_NOOP("InspectFields", "Secrets"), jobs::FieldKind::inFiles,
        jobs::PathRole::document, Checked::nothing,
        QT_TRANSLATE_NOOP("InspectFields", "The secrets that the image was made from.")},
    Row{"backup", sourceGroup, QT_TRANSLATE_NOOP("InspectFields", "Backup images"), jobs::FieldKind::inFiles,
        jobs::PathRole::document, Checked::hexadecimal,
        QT_TRANSLATE_NOOP(
            "InspectFields",
            "The backup images that a provisioning image was made from, in its order, with the hexadecimal "
            "addresses of their memories.")},
    Row{"dump", deviceGroup, QT_TRANSLATE_NOOP("InspectFields", "Dump"), jobs::FieldKind::inFiles,
        jobs::PathRole::firmware, Checked::hexadecimal,
        QT_TRANSLATE_NOOP("InspectFields",
                          "Firmware and modules are compared with this memory, which a programmer read back: ELF, HEX, "
                          "S-Record, or raw bytes with their hexadecimal address.")},
    Row{"erased", deviceGroup, QT_TRANSLATE_NOOP("InspectFields", "Erased memory"), jobs::FieldKind::choice,
        jobs::PathRole::document, Checked::nothing,
        QT_TRANSLATE_NOOP("InspectFields", "The value of erased bytes, which a dump may leave out.")},
    Row{"protected", deviceGroup, QT_TRANSLATE_NOOP("InspectFields", "Protected ranges"), jobs::FieldKind::fixed,
        jobs::PathRole::document, Checked::spans,
        QT_TRANSLATE_NOOP("InspectFields",
                          "Memory that the device doesn't let a programmer read: hexadecimal addresses FROM-TO, "
                          "several with blanks between them.")},
    Row{"policy", policyGroup, QT_TRANSLATE_NOOP("InspectFields", "Policy"), jobs::FieldKind::inFile,
        jobs::PathRole::document, Checked::nothing,
        QT_TRANSLATE_NOOP("InspectFields", "What a file must be like to be shipped: a JSON document.")},
    Row{"site-secret", policyGroup, QT_TRANSLATE_NOOP("InspectFields", "Site secret"), jobs::FieldKind::inFile,
        jobs::PathRole::key, Checked::nothing,
        QT_TRANSLATE_NOOP(
            "InspectFields",
            "Image keys are shown by their fingerprints under this secret of a production line, as in its "
            "ledger.")},
    Row{"allow-irreversible", policyGroup, QT_TRANSLATE_NOOP("InspectFields", "Allow what a device can't undo"),
        jobs::FieldKind::check, jobs::PathRole::document, Checked::nothing,
        QT_TRANSLATE_NOOP("InspectFields", "Lifts the rules of the policy about values that a device can't undo.")},
    Row{"address", cipherGroup, QT_TRANSLATE_NOOP("InspectFields", "Address"), jobs::FieldKind::fixed,
        jobs::PathRole::document, Checked::hexadecimal,
        QT_TRANSLATE_NOOP("InspectFields", "Where the image starts in memory, hexadecimal.")},
    Row{"mode", cipherGroup, QT_TRANSLATE_NOOP("InspectFields", "Mode"), jobs::FieldKind::choice,
        jobs::PathRole::document, Checked::nothing, QT_TRANSLATE_NOOP("InspectFields", "How it was encrypted.")},
    Row{"app", cipherGroup, QT_TRANSLATE_NOOP("InspectFields", "Application"), jobs::FieldKind::inFile,
        jobs::PathRole::firmware, Checked::nothing,
        QT_TRANSLATE_NOOP("InspectFields", "What the image should decrypt to.")},
    Row{"key-b", secondGroup, QT_TRANSLATE_NOOP("InspectFields", "Key of the second file"), jobs::FieldKind::inFile,
        jobs::PathRole::key, Checked::key,
        QT_TRANSLATE_NOOP("InspectFields", "Only if it has another key than the first one.")},
    Row{"payload-b", secondGroup, QT_TRANSLATE_NOOP("InspectFields", "Its second file"), jobs::FieldKind::inFile,
        jobs::PathRole::document, Checked::nothing,
        QT_TRANSLATE_NOOP("InspectFields", "The other file of the second pair, if the files to compare are pairs.")},
    Row{"except-signature", secondGroup, QT_TRANSLATE_NOOP("InspectFields", "Compare all but the signatures"),
        jobs::FieldKind::check, jobs::PathRole::document, Checked::nothing,
        QT_TRANSLATE_NOOP("InspectFields",
                          "Signatures of one image differ each time; the rest of two signed images should not.")},
};

QString text(const char* source) {
    return QCoreApplication::translate(context, source);
}

QString publicKeyText(QByteArrayView file) {
    const inspect::PublicKey key(file);
    switch (key.kind()) {
        case inspect::PublicKey::Kind::rsa:
            return text(QT_TRANSLATE_NOOP("InspectFields", "RSA, %1 bits")).arg(key.bits());
        case inspect::PublicKey::Kind::p256:
            return text(QT_TRANSLATE_NOOP("InspectFields", "Elliptic curve P-256"));
        case inspect::PublicKey::Kind::p384:
            return text(QT_TRANSLATE_NOOP("InspectFields", "Elliptic curve P-384"));
        case inspect::PublicKey::Kind::ed25519:
            return text(QT_TRANSLATE_NOOP("InspectFields", "Ed25519"));
        default:
            return {};
    }
}

/// Checks a key file; nothing of it stays in memory.
jobs::Verdict keyVerdict(Checked checked, const QString& path) {
    QByteArray key;
    const WipeOnExit wiped(key);
    QString why;
    QString warning;
    const bool isRead = checked == Checked::key ? inspect::readKey(path, key, why, warning)
                                                : inspect::readKeyFile(path, key, why, warning);
    if (!isRead) {
        why.front() = why.front().toUpper();
        return jobs::fault(why + u'.');
    }
    if (checked == Checked::publicKey) {
        return {jobs::Verdict::Kind::good, publicKeyText(key)};
    }
    return {};
}

bool isHexadecimal(const QString& value) {
    std::uint32_t number = 0;
    return parseNumber(value, 16, number);
}

QStringList wordsIn(const QString& text) {
    return text.split(u' ', Qt::SkipEmptyParts);
}

bool areSpans(const QString& value) {
    const QStringList words = wordsIn(value);
    return std::all_of(words.begin(), words.end(), [](const QString& word) {
        inspect::Span span;
        return inspect::parseSpan(word, span);
    });
}

jobs::Verdict verdictOf(const Row& row, const QStringList& values) {
    if (row.checked == Checked::spans) {
        return areSpans(values.value(0))
                   ? jobs::Verdict()
                   : jobs::fault(text(QT_TRANSLATE_NOOP("InspectFields", "A range has the form 08000000-08003FFF.")));
    }
    if (row.checked == Checked::folder) {
        return QFileInfo(values.value(0)).isDir()
                   ? jobs::Verdict()
                   : jobs::fault(text(QT_TRANSLATE_NOOP("InspectFields", "This is no folder.")));
    }
    const bool isPath = row.kind == jobs::FieldKind::inFile || row.kind == jobs::FieldKind::inFiles;
    if (!isPath) {
        return row.checked != Checked::hexadecimal || isHexadecimal(values.value(0))
                   ? jobs::Verdict()
                   : jobs::fault(text(QT_TRANSLATE_NOOP("InspectFields", "This is no hexadecimal number of 32 bits.")));
    }
    for (qsizetype i = 0; i < values.size(); i += row.kind == jobs::FieldKind::inFiles ? 2 : 1) {
        // Reading a pipe or a terminal could block forever.
        if (!QFileInfo(values.at(i)).isFile()) {
            return jobs::fault(text(QT_TRANSLATE_NOOP("InspectFields", "This is no plain file.")));
        }
        if (isTooLarge(QFileInfo(values.at(i)))) {
            return jobs::fault(text(QT_TRANSLATE_NOOP("InspectFields", "This file is larger than 4 GiB.")));
        }
        const QString beside = values.value(i + 1);
        if (row.kind == jobs::FieldKind::inFiles && !beside.isEmpty() && !isHexadecimal(beside)) {
            return jobs::fault(text(QT_TRANSLATE_NOOP("InspectFields", "This is no hexadecimal address of 32 bits.")));
        }
    }
    return row.checked == Checked::nothing || row.kind != jobs::FieldKind::inFile
               ? jobs::Verdict()
               : keyVerdict(row.checked, values.value(0));
}

QList<FieldChoice> formatChoices() {
    QList<FieldChoice> choices;
    for (const inspect::FormatRow& row : inspect::formatTable()) {
        choices.append({QString::fromLatin1(row.name), QString::fromLatin1(row.title)});
    }
    std::sort(choices.begin(), choices.end(), [](const FieldChoice& a, const FieldChoice& b) {
        return a.label.compare(b.label, Qt::CaseInsensitive) < 0;
    });
    choices.prepend({QString(), text(QT_TRANSLATE_NOOP("InspectFields", "found automatically"))});
    return choices;
}

QList<FieldChoice> choicesOf(const char* id) {
    if (qstrcmp(id, "as") == 0) {
        return formatChoices();
    }
    if (qstrcmp(id, "erased") == 0) {
        return {{QString(), QStringLiteral("FF")}, {QStringLiteral("00"), QStringLiteral("00")}};
    }
    return {{QString(), text(QT_TRANSLATE_NOOP("InspectFields", "not given"))},
            {QStringLiteral("0"), QStringLiteral("0")},
            {QStringLiteral("1"), QStringLiteral("1")},
            {QStringLiteral("2"), QStringLiteral("2")}};
}

/// The values of an option as separate words.
QStringList wordsOf(const Row& row, const QStringList& values) {
    if (row.checked == Checked::spans) {
        return wordsIn(values.value(0));
    }
    if (row.kind != jobs::FieldKind::inFiles) {
        return values.value(0).isEmpty() ? QStringList() : values.first(1);
    }
    QStringList words;
    for (qsizetype i = 0; i < values.size(); i += 2) {
        const QString beside = values.value(i + 1);
        if (!values.at(i).isEmpty()) {
            words.append(beside.isEmpty() ? values.at(i) : values.at(i) + u'@' + beside);
        }
    }
    return words;
}

}  // namespace

QList<FormField> inspectFields() {
    QList<FormField> fields;
    for (const Row& row : rows) {
        FormField field;
        field.id = QString::fromLatin1(row.id);
        field.group = text(row.group);
        field.label = text(row.label);
        field.tip = text(row.tip);
        field.kind = row.kind;
        field.role = row.role;
        field.secret = row.checked == Checked::key || row.checked == Checked::privateKey;
        if (row.kind == jobs::FieldKind::choice) {
            field.choices = choicesOf(row.id);
            field.initial = QStringList{QString()};
        }
        if (row.kind == jobs::FieldKind::inFiles && row.checked == Checked::hexadecimal) {
            field.besideLabel = text(QT_TRANSLATE_NOOP("InspectFields", "Address"));
        }
        if (row.kind == jobs::FieldKind::fixed) {
            field.placeholder = row.checked == Checked::spans    ? QStringLiteral("08000000-08003FFF")
                                : qstrcmp(row.id, "device") == 0 ? QStringLiteral("0x455")
                                                                 : QStringLiteral("0xB0000000");
        }
        field.check = [&row](const QStringList& values) { return verdictOf(row, values); };
        fields.append(field);
    }
    return fields;
}

bool isTooLarge(const QFileInfo& file) {
    constexpr qint64 most = qint64{1} << 32;
    return file.size() > most;
}

QStringList inspectArguments(const QString& command, const QHash<QString, QStringList>& values,
                             const QStringList& files) {
    QStringList arguments{command};
    bool hasSources = false;
    for (const Row& row : rows) {
        const QString id = QString::fromLatin1(row.id);
        const QString option = QStringLiteral("--") + id;
        if (!inspect::takesOption(command, id)) {
            continue;
        }
        const QStringList words = wordsOf(row, values.value(id));
        if (!words.isEmpty() && row.group == sourceGroup && !hasSources) {
            arguments.append(QStringLiteral("--against"));
            hasSources = true;
        }
        for (const QString& word : words) {
            arguments.append(option);
            if (row.kind != jobs::FieldKind::check) {
                arguments.append(word);
            }
        }
    }
    return arguments + files;
}

}  // namespace desktop
