#pragma once

#include "devices/Device.h"
#include "devices/OptionBytes.h"

#include <QHash>
#include <QObject>
#include <QUndoStack>

namespace desktop {

/// A table of option bytes in an editor: the words, their device, and an undo step for every change. It has no widgets;
/// its views connect to its signals.
class OptionByteDocument : public QObject {
    Q_OBJECT

  public:
    /// The argument `part` of `setWord` for a whole word. The part of a field is its index; the part of a single bit is
    /// `wholeWord - 1 - bit`.
    static constexpr int wholeWord = -1;

    explicit OptionByteDocument(QObject* parent = nullptr);
    ~OptionByteDocument() override;

    [[nodiscard]] QUndoStack& undoStack() { return undo_; }
    [[nodiscard]] bool holdsTable() const { return hasTable_; }
    [[nodiscard]] bool isModified() const { return hasTable_ && !undo_.isClean(); }
    /// The file that was opened or last saved; empty for a new table.
    [[nodiscard]] const QString& path() const { return path_; }
    /// The chosen device; null if none.
    [[nodiscard]] const devices::Device* device() const { return hasDevice_ ? &device_ : nullptr; }

    [[nodiscard]] qsizetype wordCount() const { return table_.words.size(); }
    /// The word's label for display: limited in length, without control characters. May be empty.
    [[nodiscard]] QString label(qsizetype word) const;
    /// The word's register in the description of the device; null if none.
    [[nodiscard]] const devices::DeviceRegister* registerOf(qsizetype word) const;
    [[nodiscard]] std::uint32_t value(qsizetype word) const { return table_.words.at(word).value; }
    /// The word's value in the file, or the initial value in a new table.
    [[nodiscard]] std::uint32_t savedValue(qsizetype word) const { return saved_.at(word); }
    /// The width of the word's register: 8, 16 or 32. It is 32 if the word has no register or its value doesn't fit.
    [[nodiscard]] int bitCount(qsizetype word) const;
    /// What the user should check in this word; empty if nothing.
    [[nodiscard]] QString remark(qsizetype word) const { return wordRemarks_.value(word); }
    [[nodiscard]] const QList<devices::OptionBytesRemark>& remarks() const { return match_.remarks; }
    [[nodiscard]] QString remarkText(qsizetype index) const;

    /// On failure returns false with a sentence in `fault` and leaves the table unchanged. On success discards the
    /// changes of the old table.
    [[nodiscard]] bool open(const QString& path, QString& fault);
    [[nodiscard]] bool save(const QString& path, QString& fault);
    /// Replaces the table by the reset values of a device.
    void startNew(const devices::Device& device);
    /// Matches the table's words with the registers of another device. The words keep their values.
    void setDevice(const devices::Device& device);
    /// The number of labels in the table that name registers of `device`.
    [[nodiscard]] qsizetype knownLabels(const devices::Device& device) const;
    /// Changes a word in an undo step. Changes to the same `part` of a word form one step until `endEdit`.
    void setWord(qsizetype word, std::uint32_t value, int part);
    void endEdit() { ++edit_; }

  signals:
    void tableReset();                 ///< the words or the device changed
    void wordChanged(qsizetype word);  ///< its value or its remark changed
    void wordWound(qsizetype word);    ///< undo or redo changed it
    void remarksChanged();
    void stateChanged();  ///< the path or the modified state changed

  private:
    class SetWord;

    void put(qsizetype word, std::uint32_t value);
    void take(const devices::OptionBytes& table, const QString& path);
    void match();

    QUndoStack undo_;
    devices::OptionBytes table_;
    QList<std::uint32_t> saved_;
    QString path_;
    devices::Device device_;
    devices::OptionBytesMatch match_;
    QHash<qsizetype, QString> wordRemarks_;
    bool hasTable_ = false;
    bool hasDevice_ = false;
    bool isPushing_ = false;
    int edit_ = 0;
};

}  // namespace desktop
