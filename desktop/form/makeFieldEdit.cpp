#include "desktop/form/makeFieldEdit.h"

#include "desktop/form/CheckField.h"
#include "desktop/form/ChoiceField.h"
#include "desktop/form/PathField.h"
#include "desktop/form/PathListField.h"
#include "desktop/form/TextField.h"

FieldEdit* makeFieldEdit(const FormField& field, PageContext& context, QWidget* parent) {
    switch (field.kind) {
        case FieldKind::text:
        case FieldKind::fixed:
            return new TextField(field, parent);
        case FieldKind::choice:
            return new ChoiceField(field, parent);
        case FieldKind::check:
            return new CheckField(field, parent);
        case FieldKind::inFile:
        case FieldKind::outFile:
        case FieldKind::folder:
            return new PathField(field, context, parent);
        case FieldKind::inFiles:
            return new PathListField(field, context, parent);
    }
    return new TextField(field, parent);
}
