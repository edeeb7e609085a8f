#pragma once

#include "devices/Device.h"
#include "images/secretsGenerator.h"

#include <QByteArrayList>
#include <QObject>
#include <QUndoStack>

namespace desktop {

/// The values of a new item.
struct NewSecret {
    QString name = {};
    std::uint32_t index = 0;
    std::uint32_t protection = 0;
    QString pathOrWord = {};
    bool isFile = false;
    bool isMandatory = false;
    std::int32_t expectedSize = -1;  ///< bytes; -1: none
};

/// A change to one value of an item: the path of keys from the item to the value, and the new text.
struct SecretChange {
    QByteArrayList path;
    QString value;
};

/// A number as documents write it: hexadecimal with 0x.
[[nodiscard]] QString secretNumber(std::uint32_t number);

/// The text of a new item. Its protection has the fields that `fuses` describes. If `fuses` describes none, it has the
/// fields of the example documents.
[[nodiscard]] QByteArray secretItemText(const devices::DeviceFuses& fuses, const NewSecret& secret);

/// A field of the protection word with its name in documents.
struct ProtectionRow {
    const char* name;
    ProtectionField SecretItem::*field;
    std::uint32_t bit;  ///< offset in the example documents; a description or document may give another one
    std::uint32_t width;
};

inline constexpr ProtectionRow protectionRows[] = {
    {"Lock", &SecretItem::Lock, 28, 1},       {"CID", &SecretItem::CID, 29, 3},
    {"EncWrap", &SecretItem::EncWrap, 26, 2}, {"KeySel", &SecretItem::KeySel, 16, 2},
    {"KeySize", &SecretItem::KeySize, 24, 1}, {"Algorithm", &SecretItem::Algorithm, 19, 3},
    {"HDPL", &SecretItem::HDPL, 22, 2},
};

/// The changes that set the protection fields of `item` to the values in the word `protection`.
[[nodiscard]] QList<SecretChange> protectionChanges(const SecretItem& item, std::uint32_t protection);

/// Items as text, and the same items parsed.
struct SecretList {
    QByteArrayList texts;
    QList<SecretItem> items;
};

/// A secrets document as a list of items. It keeps the original text, cut at its items. A change replaces only the text
/// of one value, so saving preserves everything else. All changes go through its undo stack.
class SecretsDocument : public QObject {
    Q_OBJECT

  public:
    explicit SecretsDocument(QObject* parent = nullptr);

    /// Starts an empty document without a name.
    void clear();
    /// Starts a document with `items` from another source; they count as an unsaved change.
    void clear(const QByteArrayList& items);
    /// Opens the file at `path`. On failure returns false with one sentence in `fault` and leaves the document
    /// unchanged.
    [[nodiscard]] bool load(const QString& path, QString& fault);
    /// Writes the document. A new file is readable by its owner only. On failure returns false with `fault` and leaves
    /// an existing file unchanged.
    [[nodiscard]] bool save(const QString& path, QString& fault);
    [[nodiscard]] QByteArray text() const;

    [[nodiscard]] QString path() const { return path_; }  ///< empty for a document that was never saved
    /// The folder that relative paths start from: the document's folder, or the current one for a document without a
    /// file.
    [[nodiscard]] QString folder() const;
    [[nodiscard]] QUndoStack& undoStack() { return undo_; }
    [[nodiscard]] bool isModified() const { return isMadeElsewhere_ || !undo_.isClean(); }

    [[nodiscard]] const QList<SecretItem>& items() const { return list_.items; }
    [[nodiscard]] QByteArray itemText(qsizetype row) const { return list_.texts.at(row); }
    /// The reason why the document can't have another item; empty if it can.
    [[nodiscard]] QString fullFault() const;

    /// Changes one item. Successive changes with the same `field` form one undo step until `endField`.
    void change(qsizetype row, const QString& field, const QList<SecretChange>& changes, const QString& undoText);
    void endField() { ++field_; }
    void insert(qsizetype row, const QByteArray& text, const QString& undoText);
    void remove(qsizetype row, const QString& undoText);
    void move(qsizetype from, qsizetype to, const QString& undoText);

  signals:
    void wasReset(qsizetype chosen);  ///< the list changed; `chosen` is the item to show, -1 for none
    void itemChanged(qsizetype row);
    void modifiedChanged();

  private:
    friend class ChangeItem;
    friend class ReplaceItems;

    void setItem(qsizetype row, const QByteArray& text);
    void setList(const SecretList& list, qsizetype chosen);
    void begin(const QString& path, bool isMadeElsewhere);

    QString path_;
    QByteArray head_;      ///< the text up to the first item and the blanks before it
    QByteArrayList gaps_;  ///< the text before each item: blanks and a comma
    QByteArray tail_;      ///< the text after the last item
    SecretList list_;
    QUndoStack undo_;
    int field_ = 0;
    bool isMadeElsewhere_ = false;
};

}  // namespace desktop
