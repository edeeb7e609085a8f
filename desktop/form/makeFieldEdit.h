#pragma once

#include "desktop/form/FieldEdit.h"
#include "desktop/form/FormField.h"

namespace desktop {

struct PageContext;

/// Makes the editor for the kind of the field. The object names of its parts begin with the field's id.
[[nodiscard]] FieldEdit* makeFieldEdit(const FormField& field, PageContext& context, QWidget* parent);

}  // namespace desktop
