#include "desktop/form/makeFieldEdit.h"

#include "desktop/form/CheckField.h"
#include "desktop/form/ChoiceField.h"
#include "desktop/form/PathField.h"
#include "desktop/form/PathListField.h"
#include "desktop/form/TextField.h"

namespace desktop {

FieldEdit* makeFieldEdit(const FormField& field, PageContext& context, QWidget* parent) {
    switch (field.kind) {
        case jobs::FieldKind::text:
        case jobs::FieldKind::fixed:
            return new TextField(field, parent);
        case jobs::FieldKind::choice:
            return new ChoiceField(field, parent);
        case jobs::FieldKind::check:
            return new CheckField(field, parent);
        case jobs::FieldKind::inFile:
        case jobs::FieldKind::outFile:
        case jobs::FieldKind::folder:
            return new PathField(field, context, parent);
        case jobs::FieldKind::inFiles:
            return new PathListField(field, context, parent);
    }
    return new TextField(field, parent);
}

}  // namespace desktop
