#include "desktop/form/TextField.h"

#include "desktop/form/FieldLine.h"
#include "desktop/look/theme.h"

#include <QHBoxLayout>

namespace desktop {

namespace {

/// Returns one of a few widths, so that the right ends of the fields look aligned.
int charactersFor(const FormField& field) {
    const qsizetype longest = qMax(field.placeholder.size(), field.initial.value(0).size());
    for (const int characters : {field.kind == jobs::FieldKind::fixed ? 16 : 32, 32, 48}) {
        if (longest <= characters) {
            return characters;
        }
    }
    return 68;
}

}  // namespace

TextField::TextField(const FormField& field, QWidget* parent)
    : FieldEdit(parent),
      line_(new FieldLine(charactersFor(field), this)),
      isFixed_(field.kind == jobs::FieldKind::fixed) {
    if (isFixed_) {
        line_->setFont(Theme::fixedFont());
    }
    line_->setObjectName(field.id);
    line_->setExample(field.placeholder);
    watch(line_, plainLabel(field.label));
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(line_);
    layout->addStretch();
    connect(line_, &QLineEdit::textEdited, this, &TextField::edited);
    connect(line_, &QLineEdit::returnPressed, this, &TextField::settled);
}

QStringList TextField::values() const {
    // A number that is copied from another program often has blanks around it.
    const QString text = isFixed_ ? line_->text().trimmed() : line_->text();
    return text.isEmpty() ? QStringList() : QStringList(text);
}

void TextField::setValues(const QStringList& values) {
    line_->setText(values.value(0));
}

void TextField::setEditable(bool editable) {
    line_->setEditable(editable);
}

void TextField::describe(const QString& text, bool isFault) {
    line_->describe(text, isFault);
}

QWidget* TextField::first() const {
    return line_;
}

}  // namespace desktop
