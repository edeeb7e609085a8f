#include "desktop/optionBytes/OptionWordEditor.h"

#include "desktop/look/ElidedLabel.h"
#include "desktop/look/ToneLabel.h"
#include "desktop/optionBytes/BitView.h"
#include "desktop/optionBytes/OptionByteDocument.h"
#include "desktop/optionBytes/OptionFieldEditor.h"
#include "desktop/optionBytes/optionByteText.h"

#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLineEdit>
#include <QPushButton>
#include <QScrollArea>
#include <QVBoxLayout>

#include <algorithm>
#include <utility>

namespace desktop {

namespace {

/// A quiet sentence in place of the fields.
QLabel* emptyText(const QString& text) {
    auto* label = new ToneLabel(ThemeColor::quiet);
    label->setText(text);
    label->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    label->setContentsMargins(Theme::labelGap(), Theme::groupGap(), Theme::labelGap(), 0);
    return label;
}

/// A remark as a sentence of its own.
QString sentence(const QString& remark) {
    return remark.first(1).toUpper() + remark.sliced(1) + u'.';
}

/// The read-only bits of a register; the register may be null.
std::uint32_t fixedBits(const devices::DeviceRegister* reg) {
    std::uint32_t bits = 0;
    for (const devices::DeviceField& field : reg == nullptr ? QList<devices::DeviceField>() : reg->fields) {
        bits |= field.access == devices::FieldAccess::readOnly ? field.mask() : 0;
    }
    return bits;
}

}  // namespace

OptionWordEditor::OptionWordEditor(OptionByteDocument& document, QWidget* parent)
    : QWidget(parent),
      document_(document),
      name_(new ElidedLabel),
      place_(new ToneLabel(ThemeColor::quiet)),
      description_(new ToneLabel(ThemeColor::quiet)),
      remark_(new ToneLabel(ThemeColor::warning)),
      bits_(new BitView),
      number_(new QLineEdit),
      reason_(new ElidedLabel),
      reset_(new QLabel),
      setReset_(new QPushButton(tr("Set &to Reset"))),
      area_(new QScrollArea) {
    name_->setFont(Theme::headlineFont());
    reason_->setTone(ThemeColor::fault);
    place_->setWordWrap(false);
    place_->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    area_->setWidgetResizable(true);
    area_->setFrameShape(QFrame::NoFrame);
    area_->setFocusPolicy(Qt::NoFocus);
    bits_->setObjectName(QStringLiteral("bits"));

    auto* head = new QHBoxLayout;
    head->addWidget(name_, 1);
    head->addWidget(place_, 0, Qt::AlignBottom);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(Theme::groupGap(), 0, 0, 0);
    layout->addLayout(head);
    layout->addWidget(description_);
    layout->addWidget(remark_);
    layout->addSpacing(Theme::rowGap());
    layout->addWidget(bits_);
    layout->addSpacing(Theme::rowGap());
    layout->addWidget(makeWordRow());
    layout->addSpacing(Theme::rowGap());
    layout->addWidget(area_, 1);

    connect(bits_, &BitView::bitToggled, this, [this](int bit) {
        // Each bit outside the fields is an undo step of its own.
        const int part = part_ >= 0 ? part_ : OptionByteDocument::wholeWord - 1 - bit;
        document_.setWord(word_, document_.value(word_) ^ (std::uint32_t{1} << bit), part);
    });
    connect(bits_, &BitView::fieldChosen, this, &OptionWordEditor::enter);
    connect(bits_, &BitView::fieldPointed, this, &OptionWordEditor::point);
    connect(&document_, &OptionByteDocument::wordChanged, this, [this](qsizetype word) {
        if (word == word_) {
            refresh();
        }
    });
}

QWidget* OptionWordEditor::makeWordRow() {
    auto* row = new QWidget;
    auto* label = new QLabel(tr("&Word"));
    label->setBuddy(number_);
    number_->setObjectName(QStringLiteral("word"));
    number_->setFont(Theme::fixedFont());
    number_->setFixedWidth(QFontMetrics(number_->font()).horizontalAdvance(QStringLiteral("0x00000000")) +
                           2 * Theme::groupGap());
    reset_->setTextFormat(Qt::PlainText);
    reset_->setFont(Theme::fixedFont());
    setReset_->setObjectName(QStringLiteral("setReset"));

    auto* layout = new QHBoxLayout(row);
    layout->setContentsMargins({});
    layout->setSpacing(Theme::labelGap());
    layout->addWidget(label);
    layout->addWidget(number_);
    layout->addWidget(reason_, 1);
    layout->addWidget(reset_);
    layout->addWidget(setReset_);

    number_->installEventFilter(this);
    connect(number_, &QLineEdit::textEdited, this, [this] {
        reason_->clear();
        emit typed();
    });
    connect(number_, &QLineEdit::editingFinished, this, [this] { (void)commitWord(); });
    connect(setReset_, &QPushButton::clicked, this, [this] {
        document_.endEdit();
        document_.setWord(word_, document_.registerOf(word_)->reset, OptionByteDocument::wholeWord);
        document_.endEdit();
    });
    return row;
}

void OptionWordEditor::setWord(qsizetype word) {
    document_.endEdit();
    word_ = word;
    part_ = OptionByteDocument::wholeWord;
    setEnabled(word >= 0);
    if (word < 0) {
        return;
    }
    const devices::DeviceRegister* reg = document_.registerOf(word);
    name_->setText(document_.label(word).isEmpty() ? tr("(no label)") : document_.label(word));
    QStringList places = {tr("Word %L1 of %L2").arg(word + 1).arg(document_.wordCount())};
    if (reg != nullptr) {
        places += reg->size == 4 ? tr("32 bits") : tr("%1 of 32 bits").arg(8 * reg->size);
        if (reg->address) {
            places += hexText(*reg->address, 32);
        }
    }
    place_->setText(places.join(QStringLiteral(" · ")));
    description_->setText(reg != nullptr ? reg->description : QString());
    description_->setVisible(!description_->text().isEmpty());
    makeFields();
    refresh();
}

void OptionWordEditor::makeFields() {
    fields_.clear();
    const devices::DeviceRegister* reg = document_.registerOf(word_);
    bits_->setFields(reg != nullptr ? reg->fields : QList<devices::DeviceField>());
    auto* inside = new QWidget;
    auto* layout = new QVBoxLayout(inside);
    layout->setContentsMargins({});
    layout->setSpacing(0);
    if (reg == nullptr) {
        layout->addWidget(emptyText(
            document_.device() == nullptr
                ? tr("Choose a device to see the fields of this word. Without one it is edited as a whole.")
                : tr("The description of the device has no register of this name. The word is edited as a whole.")));
    } else if (reg->fields.isEmpty()) {
        layout->addWidget(emptyText(tr("The description lists no fields of this register. It is edited as a whole.")));
    } else {
        const int nameWidth = OptionFieldEditor::nameWidthOf(reg->fields, font());
        int choiceWidth = 0;
        for (const devices::DeviceField& field : reg->fields) {
            const int part = static_cast<int>(fields_.size());
            auto* editor = new OptionFieldEditor(field, part, nameWidth);
            layout->addWidget(editor);
            fields_ += editor;
            connect(editor, &OptionFieldEditor::edited, this, [this, field, part](std::uint32_t value) {
                document_.setWord(word_, field.set(document_.value(word_), value), part);
            });
            connect(editor, &OptionFieldEditor::entered, this, [this, part] { enter(part); });
            connect(editor, &OptionFieldEditor::pointedAt, this, [this, part](bool is) { point(is ? part : -1); });
            connect(editor, &OptionFieldEditor::typed, this, &OptionWordEditor::typed);
            choiceWidth = std::max(choiceWidth, editor->choiceWidth());
        }
        for (OptionFieldEditor* editor : std::as_const(fields_)) {
            editor->setChoiceWidth(choiceWidth);
        }
    }
    layout->addStretch(1);
    area_->setWidget(inside);
    // Without this, widgets that are made later would come last in the Tab order.
    QWidget* before = setReset_;
    for (OptionFieldEditor* editor : std::as_const(fields_)) {
        before = editor->tabAfter(before);
    }
}

void OptionWordEditor::refresh() {
    const devices::DeviceRegister* reg = document_.registerOf(word_);
    const std::uint32_t value = document_.value(word_);
    const std::uint32_t saved = document_.savedValue(word_);
    BitView::Word shown = {value, saved, {}, document_.bitCount(word_)};
    if (reg != nullptr) {
        shown.reset = reg->reset;
        reset_->setText(tr("Reset %1").arg(hexText(reg->reset, static_cast<int>(8 * reg->size))));
        for (OptionFieldEditor* field : std::as_const(fields_)) {
            field->setWords(value, saved, reg->reset);
        }
    }
    bits_->setWord(shown);
    reset_->setVisible(reg != nullptr);
    setReset_->setVisible(reg != nullptr);
    setReset_->setEnabled(reg != nullptr && value != reg->reset);
    number_->setText(wordText());
    reason_->clear();
    number_->setAccessibleDescription({});
    QStringList remarks;
    if (!document_.remark(word_).isEmpty()) {
        remarks += sentence(document_.remark(word_));
    }
    if (((value ^ saved) & fixedBits(reg)) != 0) {
        remarks += tr("Read-only bits are changed; a device ignores them.");
    }
    remark_->setText(remarks.join(u'\n'));
    remark_->setVisible(!remark_->text().isEmpty());
    emit typed();
}

void OptionWordEditor::enter(int part) {
    if (part != part_) {
        document_.endEdit();
        part_ = part;
    }
    bits_->setChosen(part);
    for (int i = 0; i < fields_.size(); ++i) {
        fields_.at(i)->setMarks(i == part, false);
    }
    if (part >= 0 && part < fields_.size()) {
        area_->ensureWidgetVisible(fields_.at(part), 0, 0);
    }
}

void OptionWordEditor::point(int field) {
    bits_->setPointed(field);
    for (int i = 0; i < fields_.size(); ++i) {
        fields_.at(i)->setMarks(i == part_, i == field);
    }
}

bool OptionWordEditor::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::FocusIn) {
        enter(OptionByteDocument::wholeWord);
    } else if (event->type() == QEvent::KeyPress && static_cast<QKeyEvent*>(event)->key() == Qt::Key_Escape &&
               number_->text() != wordText()) {
        refresh();
        return true;
    }
    return QWidget::eventFilter(watched, event);
}

QString OptionWordEditor::wordText() const {
    return hexText(document_.value(word_), document_.bitCount(word_));
}

bool OptionWordEditor::hasEntry() const {
    if (word_ < 0) {
        return false;
    }
    bool has = number_->text() != wordText();
    for (const OptionFieldEditor* field : fields_) {
        has = has || field->hasEntry();
    }
    return has;
}

bool OptionWordEditor::commit() {
    if (word_ < 0) {
        return true;
    }
    for (OptionFieldEditor* field : std::as_const(fields_)) {
        if (!field->commit()) {
            field->focusEntry();
            return false;
        }
    }
    if (!commitWord()) {
        number_->setFocus(Qt::OtherFocusReason);
        number_->selectAll();
        return false;
    }
    return true;
}

bool OptionWordEditor::commitWord() {
    if (word_ < 0 || number_->text() == wordText()) {
        return true;
    }
    // The value must fit the register's width, unless the table's value was wider.
    std::uint32_t value = 0;
    QString reason;
    if (!readEntry(number_->text(), document_.bitCount(word_), true, value, reason)) {
        reason_->setText(QStringLiteral("✗ ") + reason);
        number_->setAccessibleDescription(reason);
        return false;
    }
    document_.endEdit();
    if (value == document_.value(word_)) {
        refresh();
    } else {
        document_.setWord(word_, value, OptionByteDocument::wholeWord);
    }
    document_.endEdit();
    return true;
}

}  // namespace desktop
