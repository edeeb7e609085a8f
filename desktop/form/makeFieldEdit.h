#pragma once

#include "desktop/form/FieldEdit.h"
#include "desktop/form/FormField.h"

struct PageContext;

/// The editor for a field of its kind. Its parts are named after the field's id.
[[nodiscard]] FieldEdit* makeFieldEdit(const FormField& field, PageContext& context, QWidget* parent);
