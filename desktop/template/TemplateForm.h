#pragma once

#include "jobs/FieldKind.h"
#include "jobs/Verdict.h"
#include "obkey/McubootTemplate.h"
#include "obkey/ObdataTemplate.h"
#include "obkey/TemplateDocument.h"

#include <QByteArray>
#include <QHash>
#include <QString>

/// One of the values that a template offers for a parameter.
struct TemplateChoice {
    QString value;
    QString label;
};

/// What a form shows of a parameter, or the switch of one that may be left out.
struct TemplateField {
    QString id;
    qsizetype param = 0;  ///< its place among the template's parameters
    bool isSwitch = false;
    QString name;
    QString label;  ///< the name as far as there is room
    QString tip;
    QString type;  ///< what the engine calls it: the element's name, in image templates the parameter's type
    FieldKind kind = FieldKind::text;
    QList<TemplateChoice> choices;
    QString trueText, falseText;  ///< a check box: what stands in the template for its two states
    QString value;                ///< what the template chose, as it stands there
    QString example;
    QString lock;        ///< why nobody can change it here; mostly empty
    QString switchedBy;  ///< the id of the check box that has to be checked for a change; mostly empty
    bool isHidden = false;
};

/// A template as a form. Paths stand in it as its author wrote them, most of them from its folder.
struct TemplateForm {
    QString path;
    QByteArray text;  ///< of the file, every byte
    TemplateFormat format = formatObdata;
    ObdataTemplate obdata;
    McubootTemplate image;
    QList<TemplateField> fields;  ///< in the order of a form: parameters, files, output, locked ones

    [[nodiscard]] QString title() const;
    [[nodiscard]] QString folder() const;
    [[nodiscard]] const TemplateField* field(const QString& id) const;
};

/// Texts of the fields by id, as they stand in the template; a field without an entry has its `value`.
using TemplateValues = QHash<QString, QString>;

/// Reads the template at `path` and checks it as the tool does, whose folder of schemas is `schemaFolder`. False with
/// one sentence in `fault`, and `form` as it was, for what the tool would refuse or a form can't show.
[[nodiscard]] bool readTemplateForm(const QString& path, const QString& schemaFolder, TemplateForm& form,
                                    QString& fault);

/// What is to be said of a field's text: whether the tool takes it, and what becomes of it. Whether the files are there
/// is the form's own matter.
[[nodiscard]] Verdict checkTemplateValue(const TemplateForm& form, const TemplateField& field, const QString& text);

/// A field's text as a form shows it, and back. A value that is shown as the template's own keeps its spelling.
[[nodiscard]] QString shownTemplateText(const TemplateField& field, const QString& text);
[[nodiscard]] QString storedTemplateText(const TemplateForm& form, const TemplateField& field, const QString& shown);

/// How the template names the file at the absolute `path`: from its folder, if the file is below that. And the absolute
/// path of the file that it names by `text`.
[[nodiscard]] QString templatePathTo(const TemplateForm& form, const QString& path);
[[nodiscard]] QString templateFile(const TemplateForm& form, const QString& text);

/// What the tool will say of the device's memory as `values` divide it; empty if nothing.
[[nodiscard]] QString templateLayoutFault(const TemplateForm& form, const TemplateValues& values);

/// The text of the template with `values`, by the tool's own write-back: everything but the changed values stays byte
/// for byte. False with a sentence in `fault` if a value can't be written so that it is read again.
[[nodiscard]] bool templateTextWith(const TemplateForm& form, const TemplateValues& values, QByteArray& text,
                                    QString& fault);

/// The files that the tool will write, the main one first.
[[nodiscard]] QStringList templateOutputs(const TemplateForm& form, const TemplateValues& values);
