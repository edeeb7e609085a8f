#pragma once

#include "devices/Device.h"
#include "images/secretsGenerator.h"

#include <QByteArrayList>
#include <QObject>
#include <QUndoStack>

/// What a new item of a document is made from.
struct NewSecret {
    QString name = {};
    std::uint32_t index = 0;
    std::uint32_t protection = 0;
    QString pathOrWord = {};
    bool isFile = false;
    bool isMandatory = false;
    std::int32_t expectedSize = -1;  ///< bytes; -1: none
};

/// A change to one value of an item: its keys from the item inward, and its text.
struct SecretChange {
    QByteArrayList path;
    QString value;
};

/// How a document writes a number: hexadecimal behind 0x.
[[nodiscard]] QString secretNumber(std::uint32_t number);

/// The text of an item whose protection has the fields of a device; without a description of them, those of
/// the example documents.
[[nodiscard]] QByteArray secretItemText(const DeviceFuses& fuses, const NewSecret& secret);

/// A field of the protection word under the name that documents give it.
struct ProtectionRow {
    const char* name;
    ProtectionField SecretItem::*field;
    std::uint32_t bit;  ///< in the example documents; a description or document may place it elsewhere
    std::uint32_t width;
};

inline constexpr ProtectionRow protectionRows[] = {
    {"Lock", &SecretItem::Lock, 28, 1},       {"CID", &SecretItem::CID, 29, 3},
    {"EncWrap", &SecretItem::EncWrap, 26, 2}, {"KeySel", &SecretItem::KeySel, 16, 2},
    {"KeySize", &SecretItem::KeySize, 24, 1}, {"Algorithm", &SecretItem::Algorithm, 19, 3},
    {"HDPL", &SecretItem::HDPL, 22, 2},
};

/// The changes that bring the protection fields of `item` to those of a protection word.
[[nodiscard]] QList<SecretChange> protectionChanges(const SecretItem& item, std::uint32_t protection);

/// Items as they are written, and as they are read.
struct SecretList {
    QByteArrayList texts;
    QList<SecretItem> items;
};

/// A secrets document as a list of items. It is kept as the text that it was, cut at its items, and a change replaces
/// the text of one value, so that saving changes nothing else. All changes go through its undo stack.
class SecretsDocument : public QObject {
    Q_OBJECT

  public:
    explicit SecretsDocument(QObject* parent = nullptr);

    /// An empty document without a name.
    void clear();
    /// The same with items that were made elsewhere; they count as a change that isn't saved.
    void clear(const QByteArrayList& items);
    /// Opens the file at `path`. False with one sentence in `fault`; the document is then as it was.
    [[nodiscard]] bool load(const QString& path, QString& fault);
    /// Writes the document; a new file is for its owner alone. False with `fault`, and what stood there stays.
    [[nodiscard]] bool save(const QString& path, QString& fault);
    [[nodiscard]] QByteArray text() const;

    [[nodiscard]] QString path() const { return path_; }  ///< empty for one that was never saved
    /// What paths without a folder count from: the document's folder, else the current one.
    [[nodiscard]] QString folder() const;
    [[nodiscard]] QUndoStack& undoStack() { return undo_; }
    [[nodiscard]] bool isModified() const { return isMadeElsewhere_ || !undo_.isClean(); }

    [[nodiscard]] const QList<SecretItem>& items() const { return list_.items; }
    [[nodiscard]] QByteArray itemText(qsizetype row) const { return list_.texts.at(row); }
    /// Why no further item fits; empty if one does.
    [[nodiscard]] QString fullFault() const;

    /// Changes one item. Successive changes with one `field` are undone together, until `endField`.
    void change(qsizetype row, const QString& field, const QList<SecretChange>& changes, const QString& undoText);
    void endField() { ++field_; }
    void insert(qsizetype row, const QByteArray& text, const QString& undoText);
    void remove(qsizetype row, const QString& undoText);
    void move(qsizetype from, qsizetype to, const QString& undoText);

  signals:
    void wasReset(qsizetype chosen);  ///< it did; the item to look at, -1 for none
    void itemChanged(qsizetype row);
    void modifiedChanged();

  private:
    friend class ChangeItem;
    friend class ReplaceItems;

    void setItem(qsizetype row, const QByteArray& text);
    void setList(const SecretList& list, qsizetype chosen);
    void begin(const QString& path, bool isMadeElsewhere);

    QString path_;
    QByteArray head_;      ///< up to the first item and the blanks before it
    QByteArrayList gaps_;  ///< what stood before each item: blanks, and a comma
    QByteArray tail_;      ///< behind the last item
    SecretList list_;
    QUndoStack undo_;
    int field_ = 0;
    bool isMadeElsewhere_ = false;
};
