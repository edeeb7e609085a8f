#include "images/itemDocument.h"

#include "files/readExactly.h"

#include <QFile>
#include <QJsonDocument>

#include <algorithm>

namespace {

/// A parsed document takes many times the memory of its text, and a device perhaps never ends.
constexpr qint64 maxDocumentSize = qint64{8} << 20;

struct FieldRow {
    QLatin1String key;
    const char* label;
    ProtectionField ProtectedItem::*field;
    /// The key whose value the message about a bad `BitOffset` shows.
    QLatin1String offsetKeyShown = QLatin1String("BitOffset");
};

constexpr FieldRow fieldRows[] = {
    {QLatin1String("Lock"), "[Lock]", &ProtectedItem::Lock},
    {QLatin1String("CID"), "[CID]", &ProtectedItem::CID},
    {QLatin1String("EncWrap"), "[EncWrap]", &ProtectedItem::EncWrap, QLatin1String("Wrapping")},
    {QLatin1String("KeySel"), "[KeySel]", &ProtectedItem::KeySel},
    {QLatin1String("KeySize"), "[KeySize]", &ProtectedItem::KeySize},
    {QLatin1String("Algorithm"), "[Algorithm]", &ProtectedItem::Algorithm},
};
constexpr FieldRow hdplRow = {QLatin1String("HDPL"), "[HDPL]", &ProtectedItem::HDPL};

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

bool readField(const QJsonObject& protection, const FieldRow& row, ProtectedItem& item) {
    const QJsonObject object = protection.value(row.key).toObject();
    ProtectionField& field = item.*row.field;
    return readHex(object.value(QLatin1String("BitOffset")), field.BitOffset, object.value(row.offsetKeyShown)) &&
           readHex(object.value(QLatin1String("BitWidth")), field.BitWidth) &&
           readHex(object.value(QLatin1String("BitValue")), field.BitValue) &&
           readPossibleValues(object.value(QLatin1String("PossibleValues")).toObject(), field.PossibleValues);
}

void listField(const FieldRow& row, const ProtectedItem& item) {
    displayMessage(MessageKind::normal, "     %-11s : 0x%02X", row.label, unsigned{(item.*row.field).BitValue});
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

bool readProtection(const QJsonObject& protection, ProtectedItem& item) {
    for (const FieldRow& row : fieldRows) {
        if (!readField(protection, row, item)) {
            return false;
        }
    }
    item.Nonce = protection.value(QLatin1String("Algorithm")).toObject().value(QLatin1String("Nonce")).toString();
    return !protection.contains(hdplRow.key) || readField(protection, hdplRow, item);
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
    if (!item.HDPL.PossibleValues.isEmpty()) {
        listField(hdplRow, item);
    }
    displayMessage(MessageKind::normal, "%s", "");
}
