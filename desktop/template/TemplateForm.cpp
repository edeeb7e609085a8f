#include "desktop/template/TemplateForm.h"

#include "display/MessageCollector.h"
#include "jobs/counted.h"
#include "obkey/MemoryLayout.h"
#include "obkey/passwordFile.h"
#include "obkey/readMcuboot.h"
#include "obkey/readObdata.h"
#include "obkey/tagChecks.h"
#include "obkey/templateNumbers.h"
#include "obkey/templatePaths.h"
#include "obkey/templateWriteBack.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocale>
#include <QSet>

#include <algorithm>
#include <utility>

namespace desktop {

namespace {

constexpr qint64 largestForm = qint64{1} << 20;
constexpr qsizetype mostFields = 300;      ///< each field needs several widgets
constexpr qsizetype longestValue = 16384;  ///< a line edit would cut a longer value
constexpr qsizetype longestTip = 1000;
constexpr qsizetype longestTitle = 80;

constexpr QLatin1String outputType("Output");
constexpr QLatin1String fileType("File");
constexpr QLatin1String dataType("Data");
constexpr QLatin1String listType("List");
constexpr QLatin1String boolType("Bool");
constexpr QLatin1String textType("Text");
constexpr QLatin1String permissionType("Permission");

QString words(const char* source) {
    return QCoreApplication::translate("TemplateForm", source);
}

QString bytesText(qint64 count) {
    return jobs::counted(count, words("1 byte"), words("%1 bytes"));
}

QString chosen(const obkey::TagText& value, const obkey::TagText& byDefault) {
    return value ? *value : byDefault.value_or(QString());
}

QString withoutBlanks(QString text) {
    return text.remove(QLatin1Char(' '));
}

/// Shortens a text of the template's author to the room in the form.
QString shortText(const QString& text, qsizetype most = 40) {
    return text.size() <= most ? text : text.left(most - 1) + u'…';
}

/// Whether both texts are the same number. Numbers have no sign, so "-1" equals only itself.
bool isSameNumber(const QString& text, const QString& other) {
    const auto isNumber = [](const QString& candidate) {
        return obkey::isHexValue(candidate) || (!candidate.isEmpty() && obkey::isDecimalValue(candidate));
    };
    return text == other ||
           (isNumber(text) && isNumber(other) && obkey::templateNumber(text) == obkey::templateNumber(other));
}

bool isPath(const TemplateField& field) {
    return field.kind == jobs::FieldKind::inFile || field.kind == jobs::FieldKind::outFile;
}

bool isRawOutput(const obkey::ObdataTemplate& obdata) {
    return obdata.info.obDestAddress == obkey::ABSENT_VALUE && obdata.info.doEncryption == obkey::ABSENT_VALUE;
}

QString resolved(const TemplateForm& form, QString path) {
    if (form.format == obkey::formatObdata) {
        obkey::resolveObkeyPath(path, form.folder());
    } else {
        obkey::resolveMcubootPath(path, form.folder());
        // imgtool runs in the template's folder
        path = QDir(form.folder()).absoluteFilePath(path);
    }
    return QDir::cleanPath(path);
}

QString outputPath(const TemplateForm& form, QString text) {
    if (form.format == obkey::formatObdata && isRawOutput(form.obdata)) {
        text.chop(3);
        text.append(QLatin1String("bin"));
    }
    return resolved(form, text);
}

/// Makes a check box. If the value is neither state, or both states are the same number, makes a choice instead.
void makeBool(const obkey::ObkeyParam& param, TemplateField& field) {
    const QString trueText = param.trueValue.value_or(QString());
    const QString falseText = param.falseValue.value_or(QString());
    const bool isTrue = isSameNumber(field.value, trueText);
    const bool isFalse = isSameNumber(field.value, falseText);
    if (isTrue != isFalse) {
        field.kind = jobs::FieldKind::check;
        field.trueText = isTrue ? field.value : trueText;
        field.falseText = isFalse ? field.value : falseText;
        return;
    }
    field.kind = jobs::FieldKind::choice;
    field.choices = {{trueText, words("Yes (%1)").arg(shortText(trueText))},
                     {falseText, words("No (%1)").arg(shortText(falseText))}};
    if (!isTrue) {
        field.choices.append({field.value, words("Neither (%1)").arg(shortText(field.value))});
    }
}

/// Makes a choice of the list's entries and removes their blanks. The chosen entry keeps the template's spelling.
void makeList(const obkey::ObkeyParam& param, TemplateField& field) {
    field.kind = jobs::FieldKind::choice;
    field.value = withoutBlanks(field.value);
    bool isListed = false;
    for (const QString& entry : param.choices) {
        const QString value = withoutBlanks(entry);
        const bool isChosen = !isListed && isSameNumber(value, field.value);
        isListed = isListed || isChosen;
        field.choices.append({isChosen ? field.value : value, shortText(entry)});
    }
    if (!isListed) {
        field.choices.append({field.value, words("%1 (not in the list)").arg(shortText(field.value))});
    }
}

TemplateField obdataField(const obkey::ObkeyParam& param) {
    TemplateField field;
    field.name = param.name.value_or(QString());
    field.tip = param.tooltip.value_or(QString());
    field.type = param.kind;
    field.value = chosen(param.value, param.defaultValue);
    field.isHidden = param.hidden || param.reserved;
    if (param.kind == boolType) {
        makeBool(param, field);
    } else if (param.kind == listType) {
        makeList(param, field);
    } else if (param.kind == fileType) {
        field.kind = jobs::FieldKind::inFile;
    } else if (param.kind == outputType) {
        field.kind = jobs::FieldKind::outFile;
    } else if (param.kind == dataType || param.kind == permissionType) {
        field.kind = jobs::FieldKind::fixed;
    }
    if (param.kind == dataType) {
        field.example = param.defaultValue.value_or(QString());
    }
    return field;
}

TemplateField imageField(const obkey::McubootParam& param) {
    TemplateField field;
    const bool isOutput = param.kind == outputType;
    field.name = (isOutput ? param.outputName : param.name).value_or(QString());
    field.tip = param.tooltip.value_or(QString());
    field.type = param.kind;
    // The tool writes an image to the path in Value and never uses the Default.
    field.value = isOutput ? param.outputValue.value_or(QString()) : chosen(param.value, param.defaultValue);
    field.example = (isOutput ? param.outputDefault : param.defaultValue).value_or(QString());
    field.isHidden = param.hidden;
    field.kind = isOutput                 ? jobs::FieldKind::outFile
                 : param.kind == fileType ? jobs::FieldKind::inFile
                 : param.kind == dataType ? jobs::FieldKind::fixed
                                          : jobs::FieldKind::text;
    if (param.link) {
        field.lock = words("The tool reads the value from the linked template.");
        field.value = words("from the linked template");
        field.kind = jobs::FieldKind::text;
    }
    return field;
}

/// The check box for a parameter that may be left out.
TemplateField switchOf(const obkey::McubootParam& param, const TemplateField& field) {
    TemplateField made;
    made.isSwitch = true;
    made.name = field.name;
    made.tip = words("Unchecked, the parameter isn't passed to imgtool.");
    made.kind = jobs::FieldKind::check;
    made.trueText = QStringLiteral("1");
    made.falseText = QStringLiteral("0");
    made.value = param.enable == 1 ? made.trueText : made.falseText;
    return made;
}

/// Gives every field an id and locks the fields that can't be changed. The write-back changes the first parameter with
/// a name, so it can't reach a field without a name or a later one with the same name.
void nameFields(QList<TemplateField>& fields) {
    QSet<QString> ids;
    for (TemplateField& field : fields) {
        const bool isNamed = !field.name.isEmpty();
        if (!isNamed) {
            field.name = words("%1 without a name").arg(field.type.isEmpty() ? words("Parameter") : field.type);
            field.lock = words("Only a parameter with a name can be changed here.");
        }
        const QString prefix = field.isSwitch ? QStringLiteral("use ") : QStringLiteral("parameter ");
        field.id = prefix + field.name;
        if (isNamed && ids.contains(field.id)) {
            field.lock = words("Another parameter has the same name, so this one can't be changed here.");
        }
        while (ids.contains(field.id)) {
            field.id += QStringLiteral(" #%1").arg(field.param);
        }
        ids.insert(field.id);
        if (field.value.size() > longestValue) {
            field.lock = words("The value is too long to be changed here.");
        }
        field.label = shortText(field.isSwitch ? words("Use “%1”").arg(field.name) : field.name);
        field.tip = shortText(field.tip, longestTip);
    }
}

/// Links each parameter to the check box that it depends on. The user can change the parameter only while the box is
/// checked. The parameter's value is in effect in either case.
void linkDependencies(const QList<obkey::ObkeyParam>& params, QList<TemplateField>& fields) {
    for (TemplateField& field : fields) {
        const QString wanted = params[field.param].dependency.value_or(QString());
        for (const TemplateField& other : std::as_const(fields)) {
            if (!wanted.isEmpty() && other.name == wanted && other.kind == jobs::FieldKind::check && !other.isHidden &&
                other.param != field.param) {
                field.switchedBy = other.id;
            }
        }
    }
}

int sectionOf(const TemplateField& field) {
    return !field.lock.isEmpty()                    ? 3
           : field.kind == jobs::FieldKind::inFile  ? 1
           : field.kind == jobs::FieldKind::outFile ? 2
                                                    : 0;
}

void makeFields(TemplateForm& form) {
    QList<TemplateField>& fields = form.fields;
    if (form.format == obkey::formatObdata) {
        for (qsizetype i = 0; i < form.obdata.params.size(); ++i) {
            fields.append(obdataField(form.obdata.params[i]));
            fields.last().param = i;
        }
    } else {
        for (qsizetype i = 0; i < form.image.params.size(); ++i) {
            const obkey::McubootParam& param = form.image.params[i];
            TemplateField field = imageField(param);
            field.param = i;
            if (param.enable != obkey::enableUnchanged && param.kind != outputType && !param.hidden && !param.link) {
                fields.append(switchOf(param, field));
                fields.last().param = i;
                field.switchedBy = QStringLiteral("use %1").arg(fields.last().name);
            }
            fields.append(field);
        }
    }
    nameFields(fields);
    if (form.format == obkey::formatObdata) {
        linkDependencies(form.obdata.params, fields);
    }
    std::stable_sort(fields.begin(), fields.end(), [](const TemplateField& left, const TemplateField& right) {
        return sectionOf(left) < sectionOf(right);
    });
}

/// Parses the validated template in `form.text` like the tool.
bool parse(TemplateForm& form) {
    const obkey::TemplateDocument document = obkey::documentOf(form.text);
    const QDomNode content = obkey::contentNode(document, form.format);
    if (form.format == obkey::formatMcuboot && content.nodeName() == QLatin1String("McubootFormat")) {
        return obkey::readMcuboot(content, form.image);
    }
    return content.nodeName() == QLatin1String("Obdata") && obkey::readObdata(content, form.obdata);
}

bool checkTags(const TemplateForm& form) {
    return form.format == obkey::formatObdata
               ? obkey::checkDuplicateTags(form.obdata.tags) && obkey::checkMandatoryTags(form.obdata.tags)
               : obkey::checkDuplicateTags(form.image.tags) && obkey::checkMandatoryTags(form.image.tags);
}

jobs::Verdict badWidth() {
    return jobs::fault(words("The template gives this field a width that the tool rejects."));
}

jobs::Verdict checkFieldNumber(const QString& text, const obkey::ObkeyParam& param) {
    const bool isList = param.kind == listType;
    const QString size = bytesText(param.width);
    if (!obkey::isFieldWidth(param.width)) {
        return badWidth();
    }
    // The tool ignores the left digits of a very long number.
    const bool isCut = obkey::hasHexPrefix(text) && text.size() - 2 > obkey::storedDigits(text, isList).size();
    if (isCut || !obkey::numberFits(text, isList, param.width)) {
        return jobs::fault(words("%1 is too wide: the field has %2.").arg(shortText(text), size));
    }
    return jobs::good(obkey::isFieldNumber(text, isList)
                          ? size
                          : words("%1. “%2” is no number and counts as 0.").arg(size, shortText(text)));
}

jobs::Verdict checkData(const QString& text, const obkey::ObkeyParam& param) {
    const auto width = static_cast<std::uint32_t>(param.width);
    const MessageCollector messages;
    if (!obkey::checkDataValue(text, QString(), width)) {
        if (!obkey::checkDataValue(QStringLiteral("0"), QString(), width)) {
            return badWidth();
        }
        if (!obkey::isHexValue(text) && !obkey::isDecimalValue(text)) {
            return jobs::fault(words("A number is hexadecimal with 0x, or decimal."));
        }
        const QString greatest = QStringLiteral("0x") + QString(qsizetype{2} * param.width, QLatin1Char('F'));
        return jobs::fault(words("Too wide: the field has %1, at most %2. Leading zeros count.")
                               .arg(bytesText(param.width), greatest));
    }
    bool fits = true;
    const std::uint64_t number = obkey::isHexValue(text) ? text.toULongLong(&fits, 16)
                                 : text.isEmpty()        ? 0
                                                         : text.toULongLong(&fits);
    if (!fits) {
        return jobs::fault(words("The number is too large."));
    }
    // The number in the other notation.
    const QString other = obkey::isHexValue(text) ? QLocale().toString(number)
                                                  : QStringLiteral("0x") + QString::number(number, 16).toUpper();
    return jobs::good(words("%1, %2").arg(bytesText(param.width), other));
}

jobs::Verdict checkText(const QString& text, const obkey::ObkeyParam& param) {
    const QByteArray bytes = text.toUtf8();
    const QString size = bytesText(bytes.size());
    const QString limits = words("%1 to %2").arg(param.minWidth).arg(param.width);
    const MessageCollector messages;
    return obkey::checkTextLength(param, bytes)
               ? jobs::good(words("%1 of %2").arg(size, limits))
               : jobs::fault(words("This text has %1; it may have %2.").arg(size, limits));
}

jobs::Verdict checkMask(const QString& text) {
    const QString digits = text.mid(2);
    if (!obkey::hasHexPrefix(text) || (!digits.isEmpty() && !obkey::isHexValue(text))) {
        return jobs::fault(words("A mask is 0x and hexadecimal digits."));
    }
    if (digits.size() > 2 * obkey::permissionMaskSize) {
        return jobs::fault(words("A mask has at most %1.").arg(bytesText(obkey::permissionMaskSize)));
    }
    QStringList bits;
    for (qsizetype i = 0; i < 4 * digits.size(); ++i) {
        const QChar digit = digits[digits.size() - 1 - i / 4];
        if ((QString(digit).toUInt(nullptr, 16) >> (i % 4) & 1) != 0) {
            bits.append(QString::number(i));
        }
    }
    constexpr qsizetype mostShown = 12;
    const QString size = bytesText(obkey::permissionMaskSize);
    if (bits.isEmpty()) {
        return jobs::good(words("%1, no bit is set").arg(size));
    }
    return bits.size() > mostShown ? jobs::good(words("%1, %2 bits are set").arg(size).arg(bits.size()))
                                   : jobs::good(words("%1, bits set: %2").arg(size, bits.join(QStringLiteral(", "))));
}

/// Checks the file of a key and names the part of it that the tool uses.
jobs::Verdict checkKey(const QString& path, qint64 size, const obkey::ObkeyParam& param) {
    if (QFileInfo(path).suffix().compare(QLatin1String("pem"), Qt::CaseInsensitive) != 0) {
        return jobs::good(words("%1, taken as is").arg(bytesText(size)));
    }
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return jobs::fault(words("The file can't be read."));
    }
    const QByteArray firstLine = file.readLine(200);
    const bool derives = param.type.value_or(QString()).compare(QLatin1String("Public"), Qt::CaseInsensitive) == 0;
    const QString form = param.useHash ? words("as SHA-256") : words("as DER");
    if (firstLine.contains("PUBLIC")) {
        return derives
                   ? jobs::fault(words("The template needs the private key here and derives the public key from it."))
                   : jobs::good(words("Public key, %1").arg(form));
    }
    if (firstLine.contains("PRIVATE")) {
        return jobs::good(derives ? words("Private key; imgtool derives the public key from it")
                                  : words("Private key: the provisioning file will contain it"));
    }
    return jobs::fault(words("The first line names neither a public nor a private key."));
}

jobs::Verdict checkFile(const TemplateForm& form, const TemplateField& field, const QString& text) {
    const QFileInfo info(resolved(form, text));
    if (!info.isFile()) {
        return jobs::good();
    }
    if (info.size() == 0) {
        return jobs::fault(words("The file is empty."));
    }
    return form.format == obkey::formatObdata ? checkKey(info.filePath(), info.size(), form.obdata.params[field.param])
                                              : jobs::good(bytesText(info.size()));
}

jobs::Verdict checkOutput(const TemplateForm& form, const QString& text) {
    const QFileInfo info(outputPath(form, text));
    if (info.filePath() != resolved(form, text)) {
        return jobs::good(words("Written as %1, since the template has no header").arg(info.fileName()));
    }
    return jobs::good();
}

/// The text of `field` in a template that was parsed again.
QString readAgain(const TemplateForm& form, const TemplateField& field) {
    if (form.format == obkey::formatObdata) {
        const obkey::ObkeyParam& param = form.obdata.params[field.param];
        const QString text = chosen(param.value, param.defaultValue);
        return field.type == listType ? withoutBlanks(text) : text;
    }
    const obkey::McubootParam& param = form.image.params[field.param];
    return field.isSwitch             ? QString::number(param.enable)
           : param.kind == outputType ? param.outputValue.value_or(QString())
                                      : chosen(param.value, param.defaultValue);
}

}  // namespace

QString TemplateForm::title() const {
    return shortText((format == obkey::formatObdata ? obdata.info.title : image.title).value_or(QString()),
                     longestTitle);
}

QString TemplateForm::folder() const {
    return obkey::templateFolder(path);
}

const TemplateField* TemplateForm::field(const QString& id) const {
    const auto found =
        std::find_if(fields.begin(), fields.end(), [&id](const TemplateField& field) { return field.id == id; });
    return found == fields.end() ? nullptr : &*found;
}

bool readTemplateForm(const QString& path, const QString& schemaFolder, TemplateForm& form, QString& fault) {
    const QFileInfo info(path);
    if (!info.isFile()) {
        fault = info.exists() ? words("“%1” is no file.").arg(path) : words("There is no file “%1”.").arg(path);
        return false;
    }
    if (info.size() > largestForm) {
        fault = words("This template has more than 1 MiB, too much for a form.");
        return false;
    }
    const MessageCollector messages;
    TemplateForm read;
    read.path = info.absoluteFilePath();
    const QString schema = QDir(schemaFolder).filePath(QStringLiteral("OBkeyPrototype.xsd"));
    if (!obkey::validateTemplate(read.path, schema, read.text) || !parse(read) || !checkTags(read)) {
        fault = shortText(messages.faults(), longestTip);
        if (fault.isEmpty()) {
            fault = words("This file is no template, or has an element that templates can't have.");
        }
        return false;
    }
    makeFields(read);
    if (read.fields.size() > mostFields) {
        fault = words("This template has %1 parameters, too many for a form.").arg(read.fields.size());
        return false;
    }
    form = std::move(read);
    return true;
}

jobs::Verdict checkTemplateValue(const TemplateForm& form, const TemplateField& field, const QString& text) {
    if (field.kind == jobs::FieldKind::inFile) {
        return checkFile(form, field, text);
    }
    if (field.kind == jobs::FieldKind::outFile) {
        return checkOutput(form, text);
    }
    if (form.format != obkey::formatObdata) {
        return jobs::good();
    }
    const obkey::ObkeyParam& param = form.obdata.params[field.param];
    if (field.type == dataType) {
        return checkData(text, param);
    }
    if (field.type == textType) {
        return checkText(text, param);
    }
    return field.type == permissionType ? checkMask(text) : checkFieldNumber(text, param);
}

QString shownTemplateText(const TemplateField& field, const QString& text) {
    if (field.kind == jobs::FieldKind::check) {
        return text == field.trueText ? QStringLiteral("1") : QString();
    }
    return isPath(field) ? QString(text).replace(QLatin1Char('\\'), QLatin1Char('/')) : text;
}

QString storedTemplateText(const TemplateForm& form, const TemplateField& field, const QString& shown) {
    if (field.kind == jobs::FieldKind::check) {
        return shown.isEmpty() ? field.falseText : field.trueText;
    }
    if (shown == shownTemplateText(field, field.value)) {
        return field.value;
    }
    return isPath(field) && QDir::isAbsolutePath(shown) ? templatePathTo(form, shown) : shown;
}

QString templatePathTo(const TemplateForm& form, const QString& path) {
    const QString relative = QDir(form.folder()).relativeFilePath(path);
    return relative.startsWith(QLatin1String("../")) ? path : QStringLiteral("./") + relative;
}

QString templateFile(const TemplateForm& form, const QString& text) {
    return resolved(form, text);
}

QString templateLayoutFault(const TemplateForm& form, const TemplateValues& values) {
    if (form.format != obkey::formatObdata) {
        return {};
    }
    obkey::ObdataTemplate obdata = form.obdata;
    for (const TemplateField& field : form.fields) {
        obdata.params[field.param].value = values.value(field.id, field.value);
    }
    const MessageCollector messages;
    return obkey::checkLayout(obdata) ? QString() : shortText(messages.faults(), longestTip);
}

bool templateTextWith(const TemplateForm& form, const TemplateValues& values, QByteArray& text, QString& fault) {
    QList<obkey::TemplateValue> changes;
    for (const TemplateField& field : form.fields) {
        const QString value = values.value(field.id, field.value);
        if (value == field.value || !field.lock.isEmpty()) {
            continue;
        }
        const obkey::McubootParam* image =
            form.format == obkey::formatObdata ? nullptr : &form.image.params[field.param];
        const obkey::TagText name = image == nullptr            ? form.obdata.params[field.param].name
                                    : image->kind == outputType ? image->outputName
                                                                : image->name;
        changes.append(field.isSwitch ? obkey::TemplateValue{name, {}, value == field.trueText ? 1U : 0U}
                                      : obkey::TemplateValue{name, value});
    }
    TemplateForm written = form;
    obkey::setTemplateValues(changes, written.text);
    // The write-back may miss a name, and XML may not preserve all characters of a value. So read the result again.
    const MessageCollector messages;
    const bool isRead = parse(written) && written.obdata.params.size() == form.obdata.params.size() &&
                        written.image.params.size() == form.image.params.size();
    for (const TemplateField& field : form.fields) {
        const QString value = values.value(field.id, field.value);
        if (!isRead || (field.lock.isEmpty() && readAgain(written, field) != value)) {
            fault = isRead ? words("“%1” can't be written into this template.").arg(shortText(field.name))
                           : words("The values can't be written into this template.");
            return false;
        }
    }
    text = written.text;
    return true;
}

QStringList templateOutputs(const TemplateForm& form, const TemplateValues& values) {
    QStringList paths;
    QList<obkey::ObkeyParam> params = form.obdata.params;
    bool hasPassword = false;
    for (const TemplateField& field : form.fields) {
        const QString text = values.value(field.id, field.value);
        if (form.format == obkey::formatObdata) {
            params[field.param].value = text;
            hasPassword = hasPassword || field.type == textType;
        }
        if (field.type == outputType && !text.isEmpty()) {
            paths.append(outputPath(form, text));
        }
    }
    if (hasPassword) {
        paths.append(QDir::cleanPath(obkey::passwordPath(params, form.folder())));
    }
    return paths;
}

}  // namespace desktop
