#pragma once

#include "desktop/form/FieldEdit.h"
#include "desktop/form/FormField.h"

class ChoiceBox;

/// One of several named values.
class ChoiceField : public FieldEdit {
    Q_OBJECT

  public:
    explicit ChoiceField(const FormField& field, QWidget* parent = nullptr);

    [[nodiscard]] QStringList values() const override;
    /// A value that is no choice becomes one, so that it is seen and can be told.
    void setValues(const QStringList& values) override;
    void setEditable(bool editable) override;
    void describe(const QString& text, bool isFault) override;
    [[nodiscard]] QWidget* first() const override;

  private:
    ChoiceBox* box_;
};
