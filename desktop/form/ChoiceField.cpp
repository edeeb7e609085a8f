#include "desktop/form/ChoiceField.h"

#include "desktop/look/fieldFrame.h"

#include <QComboBox>
#include <QHBoxLayout>

namespace desktop {

namespace {

constexpr int fewestCharacters = 10;
constexpr int mostCharacters = 60;

}  // namespace

/// A list that shows a fault by the colour of its frame.
class ChoiceBox : public QComboBox {
  public:
    using QComboBox::QComboBox;

    void setFault(bool isFault) {
        isFault_ = isFault;
        update();
    }

  protected:
    void paintEvent(QPaintEvent* event) override {
        QComboBox::paintEvent(event);
        if (isFault_) {
            paintFieldFrame(*this, ThemeColor::fault, faultFrame);
        }
    }

  private:
    bool isFault_ = false;
};

ChoiceField::ChoiceField(const FormField& field, QWidget* parent) : FieldEdit(parent), box_(new ChoiceBox(this)) {
    for (const FieldChoice& choice : field.choices) {
        box_->addItem(choice.label, choice.value);
    }
    box_->setObjectName(field.id);
    box_->setSizeAdjustPolicy(QComboBox::AdjustToContents);
    box_->setSizePolicy(QSizePolicy::Maximum, QSizePolicy::Fixed);
    box_->setMinimumWidth(fontMetrics().averageCharWidth() * fewestCharacters);
    box_->setMaximumWidth(fontMetrics().averageCharWidth() * mostCharacters);
    // By default the wheel focuses the list, and its next turn changes the value.
    box_->setFocusPolicy(Qt::StrongFocus);
    watch(box_, plainLabel(field.label));
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(box_);
    layout->addStretch();
    connect(box_, &QComboBox::activated, this, [this] {
        emit edited();
        emit settled();
    });
}

QStringList ChoiceField::values() const {
    const QString value = box_->currentData().toString();
    return value.isEmpty() ? QStringList() : QStringList(value);
}

void ChoiceField::setValues(const QStringList& values) {
    const QString value = values.value(0);
    int index = box_->findData(value);
    if (index < 0 && value.isEmpty()) {
        index = 0;
    } else if (index < 0) {
        box_->addItem(value, value);
        index = box_->count() - 1;
    }
    box_->setCurrentIndex(index);
}

void ChoiceField::setEditable(bool editable) {
    box_->setEnabled(editable);
}

void ChoiceField::describe(const QString& text, bool isFault) {
    box_->setAccessibleDescription(text);
    box_->setFault(isFault);
}

QWidget* ChoiceField::first() const {
    return box_;
}

}  // namespace desktop
