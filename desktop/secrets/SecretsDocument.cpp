#include "desktop/secrets/SecretsDocument.h"

#include "desktop/secrets/jsonText.h"
#include "display/MessageCollector.h"

#include "files/outputFile.h"
#include "files/readWhole.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>

#include <algorithm>
#include <iterator>
#include <limits>
#include <utility>

namespace desktop {

namespace {

constexpr qint64 maxDocumentSize = qint64{8} << 20;  // the same limit as in the library
constexpr qsizetype maxItems = 4096;                 // no device has more words
constexpr std::uint32_t maxIndex = 0xFFFF;           // the largest index that fits the header word of a record

constexpr const char* byteOrderMark = "\xEF\xBB\xBF";
constexpr const char* emptyDocument = "{\n    \"Title\": \"Secrets\",\n    \"Files\": [\n    ]\n}\n";
constexpr const char* firstGap = "\n        ";

/// The position of each protection field; a field that the device lacks has width 0.
QList<devices::DeviceField> protectionPlaces(const devices::DeviceFuses& fuses) {
    QList<devices::DeviceField> places;
    for (const ProtectionRow& row : protectionRows) {
        const QString name = QLatin1String(row.name);
        const auto found = std::find_if(fuses.protection.begin(), fuses.protection.end(),
                                        [&name](const devices::DeviceField& field) { return field.name == name; });
        devices::DeviceField place;
        place.name = name;
        place.bit = row.bit;
        place.width = fuses.protection.isEmpty() ? row.width : 0;
        places += found == fuses.protection.end() ? place : *found;
    }
    return places;
}

/// The values of the fields in the word `protection`. The value of the lowest field also contains the bits that belong
/// to no field. These bits make the value too wide for its field, so they reach their own places in the word.
QList<std::uint32_t> protectionValues(const QList<devices::DeviceField>& places, std::uint32_t protection) {
    std::uint32_t described = 0;
    qsizetype lowest = -1;
    for (qsizetype i = 0; i < places.size(); ++i) {
        if (places.at(i).width > 0) {
            described |= places.at(i).mask();
            lowest = lowest < 0 || places.at(i).bit < places.at(lowest).bit ? i : lowest;
        }
    }
    QList<std::uint32_t> values;
    for (qsizetype i = 0; i < places.size(); ++i) {
        const devices::DeviceField& place = places.at(i);
        const std::uint32_t value = place.width > 0 ? place.valueIn(protection) : 0;
        values += value | (i == lowest ? (protection & ~described) >> place.bit : 0);
    }
    return values;
}

QByteArray member(const char* key, const QString& value) {
    return '"' + QByteArray(key) + "\": " + jsonString(value);
}

QByteArray protectionFieldText(const devices::DeviceField& place, std::uint32_t value) {
    QByteArrayList possible;
    for (const devices::NamedValue& named : place.values) {
        possible += jsonString(secretNumber(named.value)) + ": " + jsonString(named.name);
    }
    const QByteArray values = possible.isEmpty() ? QByteArray("{}") : "{ " + possible.join(", ") + " }";
    return jsonString(place.name) + ": { " + member("BitOffset", secretNumber(place.width > 0 ? place.bit : 0)) + ", " +
           member("BitWidth", secretNumber(place.width)) + ", " + member("BitValue", secretNumber(value)) +
           ", \"PossibleValues\": " + values + " }";
}

/// Reads the text of one item like the library.
bool readItem(const QByteArray& text, SecretItem& item, QString& fault) {
    const MessageCollector messages;
    if (!readSecretItem(QJsonDocument::fromJson(text).object(), item)) {
        fault = messages.faults();
        return false;
    }
    if (item.Offset > maxIndex) {
        fault = SecretsDocument::tr("The index %1 is beyond %2, the last that an image has room for.")
                    .arg(item.Offset)
                    .arg(maxIndex);
        return false;
    }
    return true;
}

bool readItems(SecretList& list, QString& fault) {
    for (qsizetype i = 0; i < list.texts.size(); ++i) {
        QString itemFault;
        if (!readItem(list.texts.at(i), list.items.emplaceBack(), itemFault)) {
            fault = SecretsDocument::tr("Item %1 of the document: %2").arg(i + 1).arg(itemFault);
            return false;
        }
    }
    return true;
}

/// A document's text, cut at its items.
struct Pieces {
    QByteArray head;
    QByteArrayList gaps;
    QByteArrayList items;
    QByteArray tail;
};

bool cut(const QByteArray& text, Pieces& pieces, QString& fault) {
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(text, &error);
    if (document.isNull()) {
        fault = SecretsDocument::tr("This is no JSON: %1, at byte %2.").arg(error.errorString()).arg(error.offset);
        return false;
    }
    const qsizetype mark = text.startsWith(byteOrderMark) ? 3 : 0;
    const QByteArray object = text.sliced(mark);
    TextSpan files;
    QList<TextSpan> elements;
    qsizetype end = 0;
    if (!document.isObject() || !document.object().value(QLatin1String("Files")).isArray() ||
        !findMember(object, "Files", files) || !findElements(object, files.start, elements, end)) {
        fault = SecretsDocument::tr("This is no secrets document: it has no list “Files”.");
        return false;
    }
    if (elements.size() > maxItems) {
        fault = SecretsDocument::tr("A document may have %1 items, this one has more.").arg(maxItems);
        return false;
    }
    qsizetype taken = files.start + 1;
    pieces.head = text.first(mark + taken);
    for (const TextSpan& element : std::as_const(elements)) {
        pieces.gaps += object.sliced(taken, element.start - taken);
        pieces.items += object.sliced(element.start, element.end - element.start);
        taken = element.end;
    }
    pieces.tail = object.sliced(taken);
    return true;
}

/// The list before and after an insertion, a removal or a move.
struct Replacement {
    SecretList before;
    SecretList after;
    qsizetype chosenBefore = -1;
    qsizetype chosenAfter = -1;
};

}  // namespace

class ChangeItem : public QUndoCommand {
  public:
    ChangeItem(SecretsDocument& document, qsizetype row, const QString& field, const QByteArray& after,
               const QString& text)
        : QUndoCommand(text),
          document_(document),
          row_(row),
          field_(field + QString::number(document.field_)),
          before_(document.itemText(row)),
          after_(after) {}

    [[nodiscard]] int id() const override { return 1; }
    void undo() override { document_.setItem(row_, before_); }
    void redo() override { document_.setItem(row_, after_); }

    bool mergeWith(const QUndoCommand* other) override {
        const auto* next = static_cast<const ChangeItem*>(other);
        if (next->row_ != row_ || next->field_ != field_) {
            return false;
        }
        after_ = next->after_;
        setObsolete(after_ == before_);
        return true;
    }

  private:
    SecretsDocument& document_;
    qsizetype row_;
    QString field_;
    QByteArray before_;
    QByteArray after_;
};

class ReplaceItems : public QUndoCommand {
  public:
    ReplaceItems(SecretsDocument& document, const Replacement& replacement, const QString& text)
        : QUndoCommand(text), document_(document), replacement_(replacement) {}

    void undo() override { document_.setList(replacement_.before, replacement_.chosenBefore); }
    void redo() override { document_.setList(replacement_.after, replacement_.chosenAfter); }

  private:
    SecretsDocument& document_;
    Replacement replacement_;
};

QString secretNumber(std::uint32_t number) {
    return QStringLiteral("0x") + QString::number(number, 16).toUpper();
}

QByteArray secretItemText(const devices::DeviceFuses& fuses, const NewSecret& secret) {
    const QByteArray line = "\n            ";
    QByteArrayList members = {
        member("Name", secret.name),
        member("PathOrWord", secret.pathOrWord),
        member("Offset", secretNumber(secret.index)),
        member("isFile", secret.isFile ? QStringLiteral("1") : QStringLiteral("0")),
        member("Format", QStringLiteral("2")),
        member("isMandatory", secret.isMandatory ? QStringLiteral("1") : QStringLiteral("0")),
    };
    if (secret.expectedSize >= 0) {
        members += member("expectedSize", QString::number(secret.expectedSize));
    }
    const QList<devices::DeviceField> places = protectionPlaces(fuses);
    const QList<std::uint32_t> values = protectionValues(places, secret.protection);
    QByteArrayList fields;
    for (qsizetype i = 0; i < places.size(); ++i) {
        fields += protectionFieldText(places.at(i), values.at(i));
    }
    members += "\"Protection\": {" + line + "    " + fields.join(',' + line + "    ") + line + '}';
    return '{' + line + members.join(',' + line) + "\n        }";
}

QList<SecretChange> protectionChanges(const SecretItem& item, std::uint32_t protection) {
    QList<SecretChange> changes;
    for (const ProtectionRow& row : protectionRows) {
        const ProtectionField& field = item.*row.field;
        if (field.BitWidth > 0) {
            const std::uint32_t mask = field.BitWidth >= 16 ? 0xFFFF : (1U << field.BitWidth) - 1;
            const std::uint32_t value = (protection >> (field.BitOffset % 32)) & mask;
            if (value != field.BitValue) {
                changes += {{"Protection", row.name, "BitValue"}, secretNumber(value)};
            }
        }
    }
    return changes;
}

SecretsDocument::SecretsDocument(QObject* parent) : QObject(parent) {
    connect(&undo_, &QUndoStack::cleanChanged, this, &SecretsDocument::modifiedChanged);
    clear();
}

void SecretsDocument::begin(const QString& path, bool isMadeElsewhere) {
    undo_.clear();
    path_ = path;
    isMadeElsewhere_ = isMadeElsewhere;
    emit modifiedChanged();
}

void SecretsDocument::clear() {
    clear({});
}

void SecretsDocument::clear(const QByteArrayList& items) {
    Pieces pieces;
    QString fault;
    (void)cut(emptyDocument, pieces, fault);
    head_ = pieces.head;
    gaps_.clear();
    tail_ = pieces.tail;
    path_.clear();
    SecretList list = {items, {}};
    (void)readItems(list, fault);  // can't fail: secretItemText made the items
    setList(list, items.isEmpty() ? -1 : 0);
    begin(QString(), !items.isEmpty());
}

bool SecretsDocument::load(const QString& path, QString& fault) {
    QFile file(path);
    QByteArray text;
    if (!QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        fault = tr("“%1” can't be read.").arg(path);
        return false;
    }
    const WholeStatus status = readWhole(file, maxDocumentSize, text);
    if (status != WholeStatus::done) {
        fault = status == WholeStatus::tooLong ? tr("A secrets document has at most 8 MiB; “%1” is larger.").arg(path)
                                               : tr("“%1” can't be read.").arg(path);
        return false;
    }
    Pieces pieces;
    if (!cut(text, pieces, fault)) {
        return false;
    }
    SecretList list = {pieces.items, {}};
    if (!readItems(list, fault)) {
        return false;
    }
    head_ = pieces.head;
    gaps_ = pieces.gaps;
    tail_ = pieces.tail;
    path_ = path;
    setList(list, list.items.isEmpty() ? -1 : 0);
    begin(path, false);
    return true;
}

bool SecretsDocument::save(const QString& path, QString& fault) {
    if (replaceFile(path, text(), FileAccess::ownerOnly) != ReplaceResult::done) {
        fault = tr("“%1” can't be written. An existing file is unchanged.").arg(path);
        return false;
    }
    path_ = path;
    isMadeElsewhere_ = false;
    undo_.setClean();
    emit modifiedChanged();
    return true;
}

QByteArray SecretsDocument::text() const {
    QByteArray text = head_;
    const QByteArray first = gaps_.isEmpty() ? QByteArray(firstGap) : gaps_.constFirst();
    for (qsizetype i = 0; i < list_.texts.size(); ++i) {
        // An item without an original separator gets the document's last one.
        text += i == 0 ? first : i < gaps_.size() ? gaps_.at(i) : gaps_.size() > 1 ? gaps_.constLast() : ',' + first;
        text += list_.texts.at(i);
    }
    return text + tail_;
}

QString SecretsDocument::folder() const {
    return path_.isEmpty() ? QDir::currentPath() : QFileInfo(path_).absolutePath();
}

QString SecretsDocument::fullFault() const {
    return list_.items.size() < maxItems ? QString() : tr("A document may have %1 items.").arg(maxItems);
}

void SecretsDocument::change(qsizetype row, const QString& field, const QList<SecretChange>& changes,
                             const QString& undoText) {
    QByteArray text = list_.texts.at(row);
    for (const SecretChange& change : changes) {
        text = withValue(text, change.path, jsonString(change.value));
    }
    SecretItem item;
    QString fault;
    if (text != list_.texts.at(row) && readItem(text, item, fault)) {
        undo_.push(new ChangeItem(*this, row, field, text, undoText));
    }
}

void SecretsDocument::insert(qsizetype row, const QByteArray& text, const QString& undoText) {
    SecretList list = list_;
    SecretItem item;
    QString fault;
    if (readItem(text, item, fault)) {
        list.texts.insert(row, text);
        list.items.insert(row, item);
        undo_.push(new ReplaceItems(*this, {list_, list, std::min(row, list_.items.size() - 1), row}, undoText));
    }
}

void SecretsDocument::remove(qsizetype row, const QString& undoText) {
    SecretList list = list_;
    list.texts.removeAt(row);
    list.items.removeAt(row);
    undo_.push(new ReplaceItems(*this, {list_, list, row, std::min(row, list.items.size() - 1)}, undoText));
}

void SecretsDocument::move(qsizetype from, qsizetype to, const QString& undoText) {
    SecretList list = list_;
    list.texts.move(from, to);
    list.items.move(from, to);
    undo_.push(new ReplaceItems(*this, {list_, list, from, to}, undoText));
}

void SecretsDocument::setItem(qsizetype row, const QByteArray& text) {
    QString fault;
    list_.texts[row] = text;
    list_.items[row] = {};
    (void)readItem(text, list_.items[row], fault);  // can't fail: the text was read before
    emit itemChanged(row);
}

void SecretsDocument::setList(const SecretList& list, qsizetype chosen) {
    list_ = list;
    emit wasReset(chosen);
}

}  // namespace desktop
