#pragma once

#include "desktop/form/FieldEdit.h"
#include "desktop/form/FormField.h"

namespace desktop {

class FieldLine;

/// A line for a text or, in the fixed font, for a number.
class TextField : public FieldEdit {
    Q_OBJECT

  public:
    explicit TextField(const FormField& field, QWidget* parent = nullptr);

    [[nodiscard]] QStringList values() const override;
    void setValues(const QStringList& values) override;
    void setEditable(bool editable) override;
    void describe(const QString& text, bool isFault) override;
    [[nodiscard]] QWidget* first() const override;

  private:
    FieldLine* line_;
    bool isFixed_;
};

}  // namespace desktop
