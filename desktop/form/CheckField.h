#pragma once

#include "desktop/form/FieldEdit.h"
#include "desktop/form/FormField.h"

class QCheckBox;

namespace desktop {

/// A check box with its label after it.
class CheckField : public FieldEdit {
    Q_OBJECT

  public:
    explicit CheckField(const FormField& field, QWidget* parent = nullptr);

    [[nodiscard]] QStringList values() const override;
    void setValues(const QStringList& values) override;
    void setEditable(bool editable) override;
    void describe(const QString& text, bool isFault) override;
    [[nodiscard]] QWidget* first() const override;

  private:
    QCheckBox* box_;
};

}  // namespace desktop
