#include "desktop/optionBytes/OptionByteDocument.h"

#include "devices/TextFault.h"
#include "files/outputFile.h"

#include <QFile>
#include <QFileInfo>
#include <QSet>
#include <QUndoCommand>

#include <algorithm>
#include <utility>

namespace desktop {

namespace {

constexpr qsizetype longestLabel = 64;

/// Reads a regular file, up to one byte more than a table may have. False if it can't be read.
bool readBounded(const QString& path, QByteArray& content, QString& fault) {
    const QFileInfo info(path);
    if (!info.exists()) {
        fault = OptionByteDocument::tr("There is no such file.");
        return false;
    }
    // A pipe would block the window.
    if (!info.isFile()) {
        fault = OptionByteDocument::tr("It is no regular file.");
        return false;
    }
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        fault = OptionByteDocument::tr("It can't be opened: %1.").arg(file.errorString());
        return false;
    }
    const QByteArray read = file.read(devices::maxOptionBytesSize + 1);
    if (file.error() != QFileDevice::NoError) {
        fault = OptionByteDocument::tr("It can't be read: %1.").arg(file.errorString());
        return false;
    }
    content = read;
    return true;
}

/// Makes a text from a file fit for one line: without control characters and limited in length.
QString shown(const QByteArray& text) {
    QString label = QString::fromUtf8(text.first(std::min(text.size(), longestLabel)));
    for (QChar& character : label) {
        if (!character.isPrint() && !character.isSurrogate()) {
            character = QChar::ReplacementCharacter;
        }
    }
    return text.size() > longestLabel ? label + u'…' : label;
}

}  // namespace

/// Sets one word. It merges with the next change of the same part and becomes obsolete when the word has its old value
/// again.
class OptionByteDocument::SetWord : public QUndoCommand {
  public:
    SetWord(OptionByteDocument& document, qsizetype word, std::uint32_t after, int part)
        : document_(document),
          word_(word),
          part_(part),
          edit_(document.edit_),
          before_(document.value(word)),
          after_(after) {
        setText(OptionByteDocument::tr("Change %1").arg(document.label(word).replace(u'&', QLatin1String("&&"))));
    }

    void undo() override { document_.put(word_, before_); }
    void redo() override { document_.put(word_, after_); }
    [[nodiscard]] int id() const override { return 1; }

    bool mergeWith(const QUndoCommand* other) override {
        const auto& next = static_cast<const SetWord&>(*other);
        if (next.word_ != word_ || next.part_ != part_ || next.edit_ != edit_) {
            return false;
        }
        after_ = next.after_;
        setObsolete(after_ == before_);
        return true;
    }

  private:
    OptionByteDocument& document_;
    qsizetype word_;
    int part_;
    int edit_;
    std::uint32_t before_;
    std::uint32_t after_;
};

OptionByteDocument::OptionByteDocument(QObject* parent) : QObject(parent) {
    connect(&undo_, &QUndoStack::cleanChanged, this, &OptionByteDocument::stateChanged);
}

OptionByteDocument::~OptionByteDocument() {
    // The stack becomes clean while it is destroyed; the document must not signal that.
    undo_.disconnect(this);
}

QString OptionByteDocument::label(qsizetype word) const {
    return shown(table_.words.at(word).label());
}

const devices::DeviceRegister* OptionByteDocument::registerOf(qsizetype word) const {
    const qsizetype place = match_.registers.value(word, -1);
    return place < 0 ? nullptr : &device_.registers.at(place);
}

int OptionByteDocument::bitCount(qsizetype word) const {
    const devices::DeviceRegister* reg = registerOf(word);
    return reg == nullptr || (value(word) & ~reg->mask()) != 0 ? 32 : static_cast<int>(8 * reg->size);
}

QString OptionByteDocument::remarkText(qsizetype index) const {
    const devices::OptionBytesRemark& remark = match_.remarks.at(index);
    return remark.word < 0
               ? remark.text
               : tr("Word %1, %2: %3").arg(QString::number(remark.word + 1), label(remark.word), remark.text);
}

bool OptionByteDocument::open(const QString& path, QString& fault) {
    QByteArray content;
    if (!readBounded(path, content, fault)) {
        return false;
    }
    devices::OptionBytes table;
    devices::TextFault textFault;
    if (!devices::readOptionBytes(content, table, textFault)) {
        fault = devices::faultLine(textFault) + u'.';
        return false;
    }
    take(table, path);
    return true;
}

bool OptionByteDocument::save(const QString& path, QString& fault) {
    const QByteArray content = devices::writeOptionBytes(table_);
    switch (replaceFile(path, content)) {
        case ReplaceResult::cannotOpen:
            fault = tr("The file can't be made there. An existing file is unchanged.");
            return false;
        case ReplaceResult::cannotWrite:
            fault = tr("Not every byte could be written. An existing file is unchanged.");
            return false;
        case ReplaceResult::done:
            break;
    }
    path_ = path;
    QList<qsizetype> changed;
    for (qsizetype word = 0; word < wordCount(); ++word) {
        if (saved_.at(word) != value(word)) {
            saved_[word] = value(word);
            changed += word;
        }
    }
    endEdit();
    undo_.setClean();
    for (const qsizetype word : changed) {
        emit wordChanged(word);
    }
    emit stateChanged();
    return true;
}

void OptionByteDocument::startNew(const devices::Device& device) {
    device_ = device;
    hasDevice_ = true;
    take(devices::resetOptionBytes(device), QString());
}

void OptionByteDocument::setDevice(const devices::Device& device) {
    device_ = device;
    hasDevice_ = true;
    match();
    emit tableReset();
    emit remarksChanged();
}

qsizetype OptionByteDocument::knownLabels(const devices::Device& device) const {
    QSet<QByteArray> names;
    for (const devices::DeviceRegister& reg : device.registers) {
        names += reg.name.toUtf8();
    }
    return std::count_if(table_.words.begin(), table_.words.end(),
                         [&names](const devices::OptionByte& word) { return names.contains(word.label()); });
}

void OptionByteDocument::setWord(qsizetype word, std::uint32_t value, int part) {
    if (value == this->value(word)) {
        return;
    }
    isPushing_ = true;
    undo_.push(new SetWord(*this, word, value, part));
    isPushing_ = false;
}

void OptionByteDocument::put(qsizetype word, std::uint32_t value) {
    const devices::DeviceRegister* reg = registerOf(word);
    const auto fits = [reg](std::uint32_t v) { return reg == nullptr || (v & ~reg->mask()) == 0; };
    const std::uint32_t before = this->value(word);
    table_.words[word].value = value;
    if (fits(before) != fits(value)) {
        match();
        emit remarksChanged();
    }
    emit wordChanged(word);
    if (!isPushing_) {
        emit wordWound(word);
    }
}

void OptionByteDocument::take(const devices::OptionBytes& table, const QString& path) {
    table_ = table;
    path_ = path;
    hasTable_ = true;
    saved_.clear();
    saved_.reserve(table_.words.size());
    for (const devices::OptionByte& word : std::as_const(table_.words)) {
        saved_ += word.value;
    }
    match();
    endEdit();
    emit tableReset();
    // The steps refer to words that are gone. Clear them after `tableReset`, so that the receivers of the stack's
    // signals already show the new words.
    undo_.clear();
    emit remarksChanged();
    emit stateChanged();
}

void OptionByteDocument::match() {
    match_ = hasDevice_ ? devices::matchOptionBytes(table_, device_) : devices::OptionBytesMatch();
    wordRemarks_.clear();
    for (const devices::OptionBytesRemark& remark : std::as_const(match_.remarks)) {
        if (remark.word >= 0) {
            QString& text = wordRemarks_[remark.word];
            text += (text.isEmpty() ? QString() : QStringLiteral("; ")) + remark.text;
        }
    }
}

}  // namespace desktop
