#pragma once

#include "jobs/FieldKind.h"
#include "jobs/Verdict.h"
#include "obkey/McubootTemplate.h"
#include "obkey/ObdataTemplate.h"
#include "obkey/TemplateDocument.h"

#include <QByteArray>
#include <QHash>
#include <QString>

namespace desktop {

/// One of the values that a template offers for a parameter.
struct TemplateChoice {
    QString value;
    QString label;
};

/// The form's view of a parameter, or of the switch of a parameter that may be left out.
struct TemplateField {
    QString id;
    qsizetype param = 0;  ///< index among the template's parameters
    bool isSwitch = false;
    QString name;
    QString label;  ///< the name, shortened to the available room
    QString tip;
    QString type;  ///< the engine's type: the element's name, or in image templates the parameter's type
    jobs::FieldKind kind = jobs::FieldKind::text;
    QList<TemplateChoice> choices;
    QString trueText, falseText;  ///< the template's texts for the two states of a check box
    QString value;                ///< the template's value, in the template's spelling
    QString example;
    QString lock;        ///< the reason why the user can't change the field here; usually empty
    QString switchedBy;  ///< the id of the check box that must be checked to allow a change; usually empty
    bool isHidden = false;
};

/// A template as a form. Paths are as the template's author wrote them, most of them relative to its folder.
struct TemplateForm {
    QString path;
    QByteArray text;  ///< the whole content of the file
    obkey::TemplateFormat format = obkey::formatObdata;
    obkey::ObdataTemplate obdata;
    obkey::McubootTemplate image;
    QList<TemplateField> fields;  ///< in the order of the form: parameters, files, output, locked fields

    [[nodiscard]] QString title() const;
    [[nodiscard]] QString folder() const;
    [[nodiscard]] const TemplateField* field(const QString& id) const;
};

/// The fields' texts by id, in the template's spelling. A field without an entry has its `value`.
using TemplateValues = QHash<QString, QString>;

/// Reads the template at `path` and checks it like the tool, with the schemas in `schemaFolder`. Fails if the tool
/// would reject the template or if a form can't show it. On failure returns false with one sentence in `fault` and
/// leaves `form` unchanged.
[[nodiscard]] bool readTemplateForm(const QString& path, const QString& schemaFolder, TemplateForm& form,
                                    QString& fault);

/// The verdict on a field's text: whether the tool accepts it and how the tool reads it. The form itself checks that
/// the files exist.
[[nodiscard]] jobs::Verdict checkTemplateValue(const TemplateForm& form, const TemplateField& field,
                                               const QString& text);

/// shownTemplateText returns a field's text as the form shows it; storedTemplateText is the reverse. If `shown` is the
/// shown text of the template's own value, storedTemplateText returns that value in the template's spelling.
[[nodiscard]] QString shownTemplateText(const TemplateField& field, const QString& text);
[[nodiscard]] QString storedTemplateText(const TemplateForm& form, const TemplateField& field, const QString& shown);

/// templatePathTo returns the template's text for the file at the absolute `path`: relative to the template's folder,
/// if the file is below it. templateFile returns the absolute path of the file for such a text.
[[nodiscard]] QString templatePathTo(const TemplateForm& form, const QString& path);
[[nodiscard]] QString templateFile(const TemplateForm& form, const QString& text);

/// The tool's complaint about the memory layout that `values` give; empty if there is none.
[[nodiscard]] QString templateLayoutFault(const TemplateForm& form, const TemplateValues& values);

/// Writes `values` into the template's text with the tool's own write-back, which keeps every other byte. Returns false
/// with a sentence in `fault` if a value wouldn't be read back as it was written.
[[nodiscard]] bool templateTextWith(const TemplateForm& form, const TemplateValues& values, QByteArray& text,
                                    QString& fault);

/// The files that the tool will write, the main output first.
[[nodiscard]] QStringList templateOutputs(const TemplateForm& form, const TemplateValues& values);

}  // namespace desktop
