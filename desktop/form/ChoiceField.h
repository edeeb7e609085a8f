#pragma once

#include "desktop/form/FieldEdit.h"
#include "desktop/form/FormField.h"

namespace desktop {

class ChoiceBox;

/// A list that offers named values, of which one is chosen.
class ChoiceField : public FieldEdit {
    Q_OBJECT

  public:
    explicit ChoiceField(const FormField& field, QWidget* parent = nullptr);

    [[nodiscard]] QStringList values() const override;
    /// Adds a value that isn't among the choices as a new one, so that the user sees it and the check can report it.
    void setValues(const QStringList& values) override;
    void setEditable(bool editable) override;
    void describe(const QString& text, bool isFault) override;
    [[nodiscard]] QWidget* first() const override;

  private:
    ChoiceBox* box_;
};

}  // namespace desktop
