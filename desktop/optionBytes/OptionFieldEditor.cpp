#include "desktop/optionBytes/OptionFieldEditor.h"

#include "desktop/look/ElidedLabel.h"
#include "desktop/look/ToneLabel.h"
#include "desktop/optionBytes/optionByteText.h"

#include <QCheckBox>
#include <QComboBox>
#include <QEvent>
#include <QGridLayout>
#include <QKeyEvent>
#include <QLineEdit>
#include <QPainter>

#include <algorithm>
#include <utility>

namespace desktop {

namespace {

/// The data of the list's last entry, which exists only while the field's value has no name.
constexpr int otherValue = -1;

bool isCheck(const devices::DeviceField& field) {
    return field.width == 1 && field.values.isEmpty();
}

bool hasNamelessValues(const devices::DeviceField& field) {
    return static_cast<std::uint64_t>(field.values.size()) < std::uint64_t{1} << field.width;
}

QFont boldOf(QFont font) {
    font.setWeight(QFont::DemiBold);
    return font;
}

/// Returns `name` if it can be broken into lines of `width`, otherwise elides it in the middle.
QString fitted(const QString& name, const QFontMetrics& metrics, int width) {
    const QStringList words = name.split(u' ');
    const bool fits = std::all_of(words.begin(), words.end(), [&metrics, width](const QString& word) {
        return metrics.horizontalAdvance(word) <= width;
    });
    return fits ? name : metrics.elidedText(name, Qt::ElideMiddle, width);
}

int chipWidth(const QFontMetrics& metrics) {
    return metrics.horizontalAdvance(QStringLiteral("00")) + Theme::labelGap();
}

}  // namespace

OptionFieldEditor::OptionFieldEditor(const devices::DeviceField& field, int index, int nameWidth, QWidget* parent)
    : QWidget(parent),
      field_(field),
      index_(index),
      bits_(new ToneLabel(ThemeColor::quiet)),
      hint_(new ElidedLabel),
      meaning_(new ToneLabel(ThemeColor::quiet)) {
    auto* name = new QLabel;
    name->setTextFormat(Qt::PlainText);
    name->setWordWrap(true);
    name->setFont(boldOf(font()));
    name->setFixedWidth(nameWidth);
    name->setText(fitted(field.name, QFontMetrics(name->font()), nameWidth));
    bits_->setFixedWidth(nameWidth);
    meaning_->setTextInteractionFlags(Qt::TextSelectableByMouse);

    auto* entry = new QHBoxLayout;
    entry->setSpacing(Theme::labelGap());
    entry->addWidget(makeEditor());
    if (choice_ != nullptr && number_ != nullptr) {
        entry->addWidget(number_);
    }
    entry->addWidget(hint_, 1);

    auto* layout = new QGridLayout(this);
    layout->setContentsMargins(Theme::labelGap() + chipWidth(fontMetrics()) + Theme::labelGap(), Theme::rowGap(),
                               Theme::labelGap(), Theme::rowGap());
    layout->setHorizontalSpacing(Theme::labelGap());
    layout->setVerticalSpacing(Theme::rowGap() / 3);
    layout->addWidget(name, 0, 0);
    layout->addLayout(entry, 0, 1);
    layout->addWidget(bits_, 1, 0, Qt::AlignTop);
    layout->addWidget(meaning_, 1, 1, Qt::AlignTop);
    layout->setColumnStretch(1, 1);
    layout->setRowMinimumHeight(0, QLineEdit().sizeHint().height());
}

QWidget* OptionFieldEditor::makeEditor() {
    const QString name = QStringLiteral("field.") + field_.name;
    if (field_.access == devices::FieldAccess::readOnly) {
        fixed_ = new QLabel;
        fixed_->setTextFormat(Qt::PlainText);
        fixed_->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
        watch(fixed_, name);
        return fixed_;
    }
    if (isCheck(field_)) {
        check_ = new QCheckBox;
        watch(check_, name);
        connect(check_, &QCheckBox::clicked, this, [this](bool isOn) { emit edited(isOn ? 1 : 0); });
        return check_;
    }
    if (!field_.values.isEmpty()) {
        makeChoice();
        watch(choice_, name);
        if (hasNamelessValues(field_)) {
            makeNumber();
            watch(number_, name + QStringLiteral(".number"));
            number_->setAccessibleName(tr("%1 as a number").arg(field_.name));
        }
        return choice_;
    }
    makeNumber();
    watch(number_, name);
    return number_;
}

void OptionFieldEditor::makeChoice() {
    choice_ = new QComboBox;
    for (const devices::NamedValue& named : std::as_const(field_.values)) {
        choice_->addItem(valueText(field_, named.value), static_cast<qlonglong>(named.value));
    }
    choice_->setMinimumContentsLength(static_cast<int>(9 + field_.width / 4));  // room for "Other: 0x12"
    choice_->setSizeAdjustPolicy(QComboBox::AdjustToContents);
    connect(choice_, &QComboBox::activated, this, [this](int row) {
        const qlonglong value = choice_->itemData(row).toLongLong();
        if (value != otherValue) {
            emit edited(static_cast<std::uint32_t>(value));
        }
    });
}

void OptionFieldEditor::makeNumber() {
    number_ = new QLineEdit;
    number_->setFont(Theme::fixedFont());
    number_->setFixedWidth(QFontMetrics(number_->font()).horizontalAdvance(QStringLiteral("0x00000000")) +
                           2 * Theme::groupGap());
    connect(number_, &QLineEdit::textEdited, this, [this] {
        showHint();
        emit typed();
    });
    connect(number_, &QLineEdit::editingFinished, this, [this] { (void)commit(); });
}

void OptionFieldEditor::watch(QWidget* editor, const QString& name) {
    editor->setObjectName(name);
    editor->setAccessibleName(field_.name);
    editor->installEventFilter(this);
}

void OptionFieldEditor::setWords(std::uint32_t value, std::uint32_t saved, std::uint32_t reset) {
    const bool keepsEntry = isShown_ && hasEntry() && field_.valueIn(value) == value_;
    isShown_ = true;
    value_ = field_.valueIn(value);
    isEdited_ = value_ != field_.valueIn(saved);
    if (fixed_ != nullptr) {
        fixed_->setText(valueText(field_, value_));
    }
    if (check_ != nullptr) {
        check_->setChecked(value_ != 0);
        check_->setText(value_ != 0 ? tr("Set (1)") : tr("Not set (0)"));
    }
    if (choice_ != nullptr) {
        setChoice(value_);
    }
    if (number_ != nullptr && !keepsEntry) {
        number_->setText(hexText(value_, static_cast<int>(field_.width)));
    }
    showState(field_.valueIn(reset), keepsEntry);
}

void OptionFieldEditor::setChoice(std::uint32_t value) {
    const int last = choice_->count() - 1;
    if (choice_->itemData(last).toLongLong() == otherValue) {
        choice_->removeItem(last);
    }
    if (namedValue(field_, value) == nullptr) {
        choice_->addItem(tr("Other: %1").arg(hexText(value, static_cast<int>(field_.width))), qlonglong{otherValue});
        choice_->setCurrentIndex(choice_->count() - 1);
    } else {
        choice_->setCurrentIndex(choice_->findData(static_cast<qlonglong>(value)));
    }
}

void OptionFieldEditor::showState(std::uint32_t reset, bool keepsHint) {
    QStringList states = {bitsText(field_)};
    if (isEdited_) {
        states += tr("changed");
    }
    bits_->setTone(isEdited_ ? ThemeColor::changed : ThemeColor::quiet);
    bits_->setText(states.join(QStringLiteral(" · ")));

    resetText_ = value_ == reset     ? QString()
                 : check_ == nullptr ? tr("Reset: %1").arg(valueText(field_, reset))
                 : reset != 0        ? tr("Reset: set (1)")
                                     : tr("Reset: not set (0)");
    if (number_ != nullptr && choice_ == nullptr && field_.width > 3) {
        const QString decimal = tr("decimal %1").arg(value_);
        resetText_ = resetText_.isEmpty() ? decimal : decimal + QStringLiteral(" · ") + resetText_;
    }
    if (!keepsHint) {
        showHint();
    }

    QStringList meaning;
    if (!field_.description.isEmpty()) {
        meaning += field_.description;
    }
    const devices::NamedValue* named = namedValue(field_, value_);
    if (named != nullptr && !named->description.isEmpty()) {
        meaning += tr("%1: %2").arg(named->name, named->description);
    }
    if (field_.access == devices::FieldAccess::readOnly) {
        meaning += tr("Read-only: the device sets it.");
    } else if (field_.access == devices::FieldAccess::writeOnce) {
        meaning += tr("Write-once: in the device it can't be taken back.");
    }
    meaning_->setText(meaning.join(u'\n'));
    meaning_->setVisible(!meaning.isEmpty());
    const QString spoken = states.join(QStringLiteral(", ")) + u'\n' + meaning_->text();
    for (QWidget* editor : editors()) {
        if (!(keepsHint && editor == number_)) {
            editor->setAccessibleDescription(spoken);
        }
    }
}

void OptionFieldEditor::showHint() {
    hint_->setTone(ThemeColor::quiet);
    hint_->setText(resetText_);
}

void OptionFieldEditor::setMarks(bool isChosen, bool isPointed) {
    isChosen_ = isChosen;
    isPointed_ = isPointed;
    update();
}

bool OptionFieldEditor::hasEntry() const {
    return number_ != nullptr && number_->text() != hexText(value_, static_cast<int>(field_.width));
}

bool OptionFieldEditor::commit() {
    if (!hasEntry()) {
        return true;
    }
    std::uint32_t value = 0;
    QString reason;
    if (!readEntry(number_->text(), static_cast<int>(field_.width), false, value, reason)) {
        hint_->setTone(ThemeColor::fault);
        hint_->setText(QStringLiteral("✗ ") + reason);
        number_->setAccessibleDescription(reason);
        return false;
    }
    // The same number in another spelling changes only the display.
    number_->setText(hexText(value, static_cast<int>(field_.width)));
    showHint();
    if (value != value_) {
        emit edited(value);
    }
    emit typed();
    return true;
}

void OptionFieldEditor::focusEntry() {
    if (number_ != nullptr) {
        number_->setFocus(Qt::OtherFocusReason);
        number_->selectAll();
    }
}

QWidget* OptionFieldEditor::tabAfter(QWidget* before) {
    for (QWidget* editor : editors()) {
        setTabOrder(before, editor);
        before = editor;
    }
    return before;
}

QList<QWidget*> OptionFieldEditor::editors() const {
    QList<QWidget*> editors = {check_, choice_, number_, fixed_};
    editors.removeAll(nullptr);
    return editors;
}

int OptionFieldEditor::choiceWidth() const {
    return choice_ == nullptr ? 0 : std::min(choice_->sizeHint().width(), fontMetrics().averageCharWidth() * 34);
}

void OptionFieldEditor::setChoiceWidth(int width) {
    if (choice_ != nullptr) {
        choice_->setFixedWidth(width);
    }
}

int OptionFieldEditor::nameWidthOf(const QList<devices::DeviceField>& fields, const QFont& font) {
    const QFontMetrics metrics(boldOf(font));
    int width = metrics.averageCharWidth() * 18;
    for (const devices::DeviceField& field : fields) {
        width = std::max(width, metrics.horizontalAdvance(field.name) + 2);
    }
    return std::min(width, metrics.averageCharWidth() * 30);
}

bool OptionFieldEditor::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::FocusIn) {
        emit entered();
    } else if (event->type() == QEvent::KeyPress && watched == number_ &&
               static_cast<QKeyEvent*>(event)->key() == Qt::Key_Escape && hasEntry()) {
        number_->setText(hexText(value_, static_cast<int>(field_.width)));
        showHint();
        emit typed();
        return true;
    }
    return QWidget::eventFilter(watched, event);
}

void OptionFieldEditor::enterEvent(QEnterEvent* event) {
    QWidget::enterEvent(event);
    emit pointedAt(true);
}

void OptionFieldEditor::leaveEvent(QEvent* event) {
    QWidget::leaveEvent(event);
    emit pointedAt(false);
}

void OptionFieldEditor::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    if (isChosen_ || isPointed_) {
        QColor ground = Theme::color(ThemeColor::accent);
        ground.setAlphaF(isChosen_ ? 0.10F : 0.06F);
        painter.fillRect(rect(), ground);
    }
    if (isEdited_) {
        painter.fillRect(QRect(0, 0, Theme::rowGap() / 2, height()), Theme::color(ThemeColor::changed));
    }
    const int line = fontMetrics().height() + 2;
    const QRect chip(Theme::labelGap(), Theme::rowGap() + 2, chipWidth(fontMetrics()), line);
    painter.setPen(Qt::NoPen);
    painter.setBrush(Theme::color(ThemeColor::mapUsed));
    painter.drawRoundedRect(chip, 3, 3);
    painter.setPen(palette().color(QPalette::WindowText));
    painter.drawText(chip, Qt::AlignCenter, QString::number(index_ + 1));
}

}  // namespace desktop
