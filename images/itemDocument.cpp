#include "images/itemDocument.h"

#include "files/readWhole.h"

#include <QFile>
#include <QJsonDocument>

#include <algorithm>

namespace {

/// A parsed document needs many times the memory of its text, and a device file may have no end.
constexpr qint64 maxDocumentSize = qint64{8} << 20;

struct FieldRow {
    QLatin1String key;
    const char* label;
    ProtectionIndex index;
    /// The key whose value appears in the message about an invalid `BitOffset`.
    QLatin1String offsetKeyShown = QLatin1String("BitOffset");
};

constexpr FieldRow fieldRows[] = {
    {QLatin1String("Lock"), "[Lock]", lockField},
    {QLatin1String("CID"), "[CID]", cidField},
    {QLatin1String("EncWrap"), "[EncWrap]", encWrapField, QLatin1String("Wrapping")},
    {QLatin1String("KeySel"), "[KeySel]", keySelField},
    {QLatin1String("KeySize"), "[KeySize]", keySizeField},
    {QLatin1String("Algorithm"), "[Algorithm]", algorithmField},
};
constexpr FieldRow hdplRow = {QLatin1String("HDPL"), "[HDPL]", hdplField};

bool readPossibleValues(const QJsonObject& object, QMap<std::uint16_t, QString>& labels) {
    for (auto entry = object.constBegin(); entry != object.constEnd(); ++entry) {
        std::uint16_t value = 0;
        if (!readHex(QJsonValue(entry.key()), value)) {
            return false;
        }
        labels.insert(value, entry.value().toString());
    }
    return true;
}

bool readField(const QJsonObject& protection, const FieldRow& row, ProtectionField& field) {
    const QJsonObject object = protection.value(row.key).toObject();
    return readHex(object.value(QLatin1String("BitOffset")), field.BitOffset, object.value(row.offsetKeyShown)) &&
           readHex(object.value(QLatin1String("BitWidth")), field.BitWidth) &&
           readHex(object.value(QLatin1String("BitValue")), field.BitValue) &&
           readPossibleValues(object.value(QLatin1String("PossibleValues")).toObject(), field.PossibleValues);
}

void listField(const FieldRow& row, const ProtectedItem& item) {
    displayMessage(MessageKind::normal, "     %-11s : 0x%02X", row.label, unsigned{item.value(row.index)});
}

}  // namespace

bool readItemDocument(const QString& jsonPath, QJsonArray& files) {
    QFile file(jsonPath);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
        return reportError("Failed to open JSON file");
    }
    displayMessage(MessageKind::normal, "Start parsing json file...");
    QByteArray text;
    const WholeStatus status = readWhole(file, maxDocumentSize, text);
    if (status == WholeStatus::tooLong) {
        return reportError("The document %s is larger than 8 MiB", qUtf8Printable(jsonPath));
    }
    const QJsonDocument document = status == WholeStatus::done ? QJsonDocument::fromJson(text) : QJsonDocument();
    if (document.isNull()) {
        return reportError("Failed to parse JSON data, Invalid format !");
    }
    files = document.object().value(QLatin1String("Files")).toArray();
    return true;
}

bool hasKeys(const QJsonObject& object, std::initializer_list<QLatin1String> keys) {
    return std::all_of(keys.begin(), keys.end(), [&object](QLatin1String key) { return object.contains(key); });
}

bool readProtection(const QJsonObject& protection, const ProtectionFields<ProtectionField>& fields, QString& nonce) {
    for (const FieldRow& row : fieldRows) {
        if (!readField(protection, row, *fields[row.index])) {
            return false;
        }
    }
    nonce = protection.value(QLatin1String("Algorithm")).toObject().value(QLatin1String("Nonce")).toString();
    return !protection.contains(hdplRow.key) || readField(protection, hdplRow, *fields[hdplField]);
}

void listItem(int number, const ProtectedItem& item, const QString& path, const QString& nonce) {
    displayMessage(MessageKind::normal, "[File %d] :", number);
    displayMessage(MessageKind::normal, " Name       : %s", qUtf8Printable(item.Name));
    displayMessage(MessageKind::normal, " Path       : %s", qUtf8Printable(path));
    displayMessage(MessageKind::normal, " Offset     : 0x%08X", item.Offset);
    displayMessage(MessageKind::normal, " Protection : ");
    for (const FieldRow& row : fieldRows) {
        listField(row, item);
    }
    if (!nonce.isEmpty()) {
        displayMessage(MessageKind::normal, "     [Nonce]     : %s", qUtf8Printable(nonce));
    }
    if (!item.fields[hdplField]->PossibleValues.isEmpty()) {
        listField(hdplRow, item);
    }
    displayMessage(MessageKind::normal, "%s", "");
}
