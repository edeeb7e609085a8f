#include "desktop/form/CheckField.h"

#include <QCheckBox>
#include <QHBoxLayout>

namespace desktop {

namespace {

constexpr int mostCharacters = 70;

}  // namespace

CheckField::CheckField(const FormField& field, QWidget* parent) : FieldEdit(parent), box_(new QCheckBox(this)) {
    const int widest = fontMetrics().averageCharWidth() * mostCharacters;
    box_->setText(fontMetrics().elidedText(field.label, Qt::ElideRight, widest, Qt::TextShowMnemonic));
    box_->setObjectName(field.id);
    watch(box_, plainLabel(field.label));
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(box_);
    layout->addStretch();
    connect(box_, &QCheckBox::clicked, this, [this] {
        emit edited();
        emit settled();
    });
}

QStringList CheckField::values() const {
    return box_->isChecked() ? QStringList(QStringLiteral("1")) : QStringList();
}

void CheckField::setValues(const QStringList& values) {
    box_->setChecked(values.value(0) == QLatin1String("1"));
}

void CheckField::setEditable(bool editable) {
    box_->setEnabled(editable);
}

void CheckField::describe(const QString& text, bool /*isFault*/) {
    box_->setAccessibleDescription(text);
}

QWidget* CheckField::first() const {
    return box_;
}

}  // namespace desktop
