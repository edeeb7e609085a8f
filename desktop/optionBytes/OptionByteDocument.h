#pragma once

#include "devices/Device.h"
#include "devices/OptionBytes.h"

#include <QHash>
#include <QObject>
#include <QUndoStack>

/// A table of option bytes that is edited: the words, the device that they are for, and every change as a step that can
/// be taken back. It has no window; whoever shows it listens to its signals.
class OptionByteDocument : public QObject {
    Q_OBJECT

  public:
    /// `part` of `setWord`: the word as a whole, not one field of it. Parts below it are single bits.
    static constexpr int wholeWord = -1;

    explicit OptionByteDocument(QObject* parent = nullptr);
    ~OptionByteDocument() override;

    [[nodiscard]] QUndoStack& undoStack() { return undo_; }
    [[nodiscard]] bool holdsTable() const { return hasTable_; }
    [[nodiscard]] bool isModified() const { return hasTable_ && !undo_.isClean(); }
    /// Where it was opened or last saved; empty for a new one.
    [[nodiscard]] const QString& path() const { return path_; }
    /// Null as long as none is chosen.
    [[nodiscard]] const Device* device() const { return hasDevice_ ? &device_ : nullptr; }

    [[nodiscard]] qsizetype wordCount() const { return table_.words.size(); }
    /// For people: of bounded length, without control characters. It may be empty.
    [[nodiscard]] QString label(qsizetype word) const;
    /// Null for a word that the description doesn't know.
    [[nodiscard]] const DeviceRegister* registerOf(qsizetype word) const;
    [[nodiscard]] std::uint32_t value(qsizetype word) const { return table_.words.at(word).value; }
    /// The value in the file; of a new table that which it began with.
    [[nodiscard]] std::uint32_t savedValue(qsizetype word) const { return saved_.at(word); }
    /// 8, 16 or 32; more than the register has if the value doesn't fit it.
    [[nodiscard]] int bitCount(qsizetype word) const;
    /// What needs a look at this word; empty if nothing does.
    [[nodiscard]] QString remark(qsizetype word) const { return wordRemarks_.value(word); }
    [[nodiscard]] const QList<OptionBytesRemark>& remarks() const { return match_.remarks; }
    [[nodiscard]] QString remarkText(qsizetype index) const;

    /// False with a sentence in `fault`; the table is then as it was. Changes of the old one are gone after success.
    [[nodiscard]] bool open(const QString& path, QString& fault);
    [[nodiscard]] bool save(const QString& path, QString& fault);
    /// The reset values of a device in place of the table.
    void startNew(const Device& device);
    /// Describes the table's words by another device. They keep their values.
    void setDevice(const Device& device);
    /// How many labels of the table are registers of `device`.
    [[nodiscard]] qsizetype knownLabels(const Device& device) const;
    /// Whether the file holds something else than what was opened or saved last, or is gone.
    [[nodiscard]] bool differsFromFile() const;

    /// Changes a word as a step to take back. Steps of the same `part` of a word are one until `endEdit`.
    void setWord(qsizetype word, std::uint32_t value, int part);
    void endEdit() { ++edit_; }

  signals:
    void tableReset();                 ///< other words, or another device
    void wordChanged(qsizetype word);  ///< its value or its remark
    void wordWound(qsizetype word);    ///< was changed by undo or redo
    void remarksChanged();
    void stateChanged();  ///< path or modified

  private:
    class SetWord;

    void put(qsizetype word, std::uint32_t value);
    void take(const OptionBytes& table, const QString& path, const QByteArray& content);
    void match();

    QUndoStack undo_;
    OptionBytes table_;
    QList<std::uint32_t> saved_;
    QByteArray savedContent_;
    QString path_;
    Device device_;
    OptionBytesMatch match_;
    QHash<qsizetype, QString> wordRemarks_;
    bool hasTable_ = false;
    bool hasDevice_ = false;
    bool isPushing_ = false;
    int edit_ = 0;
};
