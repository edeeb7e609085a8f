#include "obkey/generateImage.h"

#include "display/Display.h"
#include "files/outputFile.h"
#include "obkey/Interruption.h"
#include "obkey/KeptOutput.h"
#include "obkey/LinkedTemplate.h"
#include "obkey/templatePaths.h"
#include "obkey/templateWriteBack.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>

namespace obkey {

namespace {

enum ImageResult : int {
    imageDone = 0,
    parameterFault = 1,
    processFault = 5,
    imgtoolFault = 6,
    keyFileMissing = 7,
    templateNotUpdated = 8,  ///< the image was written, but its template wasn't
};

constexpr QLatin1String outputKind("Output");
constexpr QLatin1String fileKind("File");
constexpr QLatin1String dataKind("Data");
constexpr QLatin1String dependencyKind("Dependency");

QString chosenText(const McubootParam& param) {
    return param.value ? *param.value : param.defaultValue.value_or(QString());
}

/// Whether a record is passed to imgtool regardless of its `Enable`.
bool isForced(const McubootParam& param) {
    return param.hidden || param.link;
}

bool isSkipped(const McubootParam& param) {
    return !isForced(param) && param.enable == 0;
}

QString configFolder(McubootConfig& config) {
    config.xmlPath.replace(QLatin1Char('\\'), QLatin1Char('/'));
    config.xmlFolder = templateFolder(config.xmlPath);
    return config.xmlFolder;
}

QString filePath(McubootConfig& config, const McubootParam& param) {
    QString path = chosenText(param);
    resolveMcubootPath(path, configFolder(config));
    return path;
}

void appendOptional(McubootConfig& config, McubootParam& param, QStringList& arguments) {
    if (param.kind == fileKind) {
        arguments.append(filePath(config, param));
        return;
    }
    param.value = chosenText(param);
    const bool isDependency = param.kind == dependencyKind;
    arguments.append(isDependency ? QLatin1Char('(') + *param.value + QLatin1Char(')') : *param.value);
}

/// The argument, if any, of a hidden record without a link.
TagText forcedText(const McubootParam& param) {
    if (param.kind == dependencyKind) {
        return QLatin1Char('(') + chosenText(param) + QLatin1Char(')');
    }
    if (param.value && !param.value->isEmpty()) {
        return param.value;
    }
    return param.defaultValue && !param.defaultValue->isEmpty() ? param.defaultValue : std::nullopt;
}

/// Reads the record's value from each linked template that has the record's link index.
ImageResult appendLinked(McubootConfig& config, McubootParam& param, LinkedTemplates& linkedTemplates,
                         QStringList& arguments) {
    for (const LinkedXmlEntry& entry : config.linkedTemplates) {
        if (entry.index != param.linkIndex) {
            continue;
        }
        QString templatePath = entry.path;
        resolveMcubootPath(templatePath, configFolder(config));
        const LinkedTemplate* const linked = linkedTemplates.find(templatePath);
        if (linked == nullptr) {
            continue;
        }
        applyLinkedTemplate(linked->linkedContent, param);
        QString text = param.defaultValue.value_or(QString());
        if (param.kind == fileKind) {
            resolveMcubootPath(text, templateFolder(templatePath));
            if (!QFileInfo(text).isFile()) {
                reportError("key File %s not exist \n", qUtf8Printable(text));
                return keyFileMissing;
            }
            arguments.append(text);
        } else if (param.kind == dataKind) {
            arguments.append(text);
        }
    }
    return imageDone;
}

ImageResult appendParam(McubootConfig& config, McubootParam& param, LinkedTemplates& linkedTemplates,
                        QStringList& arguments) {
    if (!param.defaultValue) {
        reportError("Fail MCUboot Format Generation Check Default Value of %s Param \n",
                    qUtf8Printable(param.name.value_or(QString())));
        return parameterFault;
    }
    if (isSkipped(param)) {
        return imageDone;
    }
    if (param.command) {
        arguments.append(*param.command);
    }
    if (param.link) {
        return appendLinked(config, param, linkedTemplates, arguments);
    }
    if (!param.hidden) {
        appendOptional(config, param, arguments);
        return imageDone;
    }
    if (param.kind == fileKind) {
        arguments.append(filePath(config, param));
        return imageDone;
    }
    if (param.kind == dependencyKind) {
        config.dependencyPrefix = chosenText(param).left(2);
    }
    const TagText text = forcedText(param);
    if (text) {
        arguments.append(*text);
    }
    return imageDone;
}

/// Checks that writing the image at `path` doesn't overwrite a key or a template.
bool mayWriteImage(const McubootConfig& config, const QStringList& keyPaths, const QString& path) {
    QStringList inputs = keyPaths + QStringList(config.xmlPath);
    for (const LinkedXmlEntry& entry : config.linkedTemplates) {
        inputs.append(entry.path);
        resolveMcubootPath(inputs.last(), templateFolder(config.xmlPath));
    }
    return std::none_of(inputs.begin(), inputs.end(), [&](const QString& input) { return isSameFile(path, input); }) ||
           reportError("Fail to Generate Image: the output %s is an input of the template", qUtf8Printable(path));
}

ImageResult appendOutput(const McubootConfig& config, const McubootParam& param, const QStringList& keyPaths,
                         QStringList& arguments, QString& outputPath) {
    if (!param.outputValue) {
        reportError("The Output of the template has no Value, the path of the image to write.");
        return parameterFault;
    }
    QString path = *param.outputValue;
    resolveMcubootPath(path, config.xmlFolder);
    if (!mayWriteImage(config, keyPaths, path)) {
        return parameterFault;
    }
    arguments.append(path);
    outputPath = path;
    return imageDone;
}

/// Composes the arguments of imgtool and the path of its output. Records after the first `Output` are ignored.
ImageResult composeArguments(McubootConfig& config, QStringList& arguments, QString& outputPath) {
    LinkedTemplates linkedTemplates;
    QStringList keyPaths;  // files after an option; the firmware isn't one of them and may be overwritten
    if (config.command) {
        arguments.append(*config.command);
    }
    for (McubootParam& param : config.params) {
        if (param.kind == outputKind) {
            return appendOutput(config, param, keyPaths, arguments, outputPath);
        }
        const qsizetype before = arguments.size();
        const ImageResult result = appendParam(config, param, linkedTemplates, arguments);
        if (result != imageDone) {
            return result;
        }
        if (param.kind == fileKind && (param.command || param.link)) {
            keyPaths += arguments.mid(before);
        }
    }
    return imageDone;
}

/// Opens imgtool-command.log in the user's folder for this tool. False if that fails; the caller then works without it.
bool openCommandLog(QFile& log) {
    const QString folder = QDir::homePath() + QStringLiteral("/Veltrane/QVORAFlashDesk");
    QDir().mkpath(folder);
    log.setFileName(folder + QStringLiteral("/imgtool-command.log"));
    return log.open(QIODevice::WriteOnly | QIODevice::Truncate);
}

void logCommand(QFile& log, const QString& program, const QStringList& arguments) {
    QByteArray line = program.toUtf8();
    for (const QString& argument : arguments) {
        line += ' ' + argument.toUtf8();
    }
    log.write(line);
    log.flush();
}

/// The text of a record that was passed to imgtool.
QString passedText(const McubootParam& param) {
    if (param.link) {
        return param.defaultValue.value_or(QString());
    }
    return param.hidden && param.value && param.value->isEmpty() ? param.defaultValue.value_or(QString())
                                                                 : chosenText(param);
}

/// The words of imgtool's message about a rejected version field.
struct VersionRule {
    QLatin1String paramName;
    const char* option;
    const char* noun;
};

constexpr VersionRule versionRule = {QLatin1String("Version"), "'-v' / '--version'", "version"};
constexpr VersionRule dependencyRule = {QLatin1String("Dependency with code image"), "'-d' / '--dependency'",
                                        "dependency"};

bool reportVersion(const VersionRule& rule, const char* expectation) {
    return reportError("Fail to Generate Image\n\nImgtool :Error: Invalid value for %s: Invalid %s number, %s ",
                       rule.option, rule.noun, expectation);
}

bool checkVersion(const VersionRule& rule, const QString& version) {
    const QStringList pieces = version.split(QLatin1Char('.'));
    if (pieces.size() != 3) {
        return reportVersion(rule, "should be maj.min.rev+build with later parts optional");
    }
    if (pieces[0].toULongLong() > 255 || pieces[1].toULongLong() > 255) {
        return reportVersion(rule, "ubyte format requires 0 <= number <= 255 ");
    }
    if (pieces[2].toULongLong() > 65535) {
        return reportVersion(rule, "ushort format requires 0 <= number <= 65535 ");
    }
    return true;
}

bool checkVersions(const McubootConfig& config) {
    for (const McubootParam& param : config.params) {
        if (param.kind == outputKind) {
            break;
        }
        if (isSkipped(param)) {
            continue;
        }
        const QString name = param.name.value_or(QString());
        if (name == versionRule.paramName && !checkVersion(versionRule, passedText(param))) {
            return false;
        }
        if (name == dependencyRule.paramName &&
            !checkVersion(dependencyRule, passedText(param).section(QLatin1Char(','), 1, 1))) {
            return false;
        }
    }
    return true;
}

/// The part of imgtool's output that describes the fault.
QString faultOf(const QString& answer) {
    const qsizetype error = answer.indexOf(QLatin1String("Error"));
    if (error >= 0) {
        return answer.mid(error + 5);
    }
    const qsizetype number = answer.indexOf(QLatin1String("Errno"));
    return number >= 0 ? answer.mid(number + 10) : answer;
}

/// Runs imgtool and logs the command and its output.
ImgtoolAnswer runLogged(Imgtool& imgtool, QStringList arguments) {
    QFile log;
    const bool isLogged = openCommandLog(log);
    if (isLogged) {
        arguments = platformArguments(arguments);
        logCommand(log, imgtool.path(), arguments);
    }
    ImgtoolAnswer answer = imgtool.run(arguments);
    if (isLogged && answer.ended) {
        log.write("\n\r" + answer.output);
    }
    return answer;
}

/// Decides whether imgtool made the image, and reports the fault if it didn't.
ImageResult judge(const McubootConfig& config, const ImgtoolAnswer& answer) {
    if (answer.ended && !checkVersions(config)) {
        return imgtoolFault;
    }
    if (!answer.ended || (answer.failed && answer.output.isEmpty())) {
        reportError("Image Generation Process Failed \n");
        return processFault;
    }
    if (!answer.output.isEmpty()) {
        reportError("Fail to Generate Image\n\nImgtool :%s ",
                    qUtf8Printable(faultOf(QString::fromLocal8Bit(answer.output))));
        return imgtoolFault;
    }
    return imageDone;
}

}  // namespace

int generateImage(Imgtool& imgtool, McubootConfig& config) {
    QStringList arguments;
    QString outputPath;
    const ImageResult composed = composeArguments(config, arguments, outputPath);
    if (composed != imageDone) {
        return composed;
    }
    // imgtool overwrites the output in place. The older file is needed again if the disk is full or this run is
    // interrupted.
    const Interruption interruption;
    KeptOutput output(outputPath);
    if (!output.keep()) {
        return processFault;
    }
    const ImgtoolAnswer answer = runLogged(imgtool, arguments);
    const ImageResult result = judge(config, answer);
    if (result != imageDone) {
        output.putBack();
        if (answer.failed) {
            output.removeNew();
        }
        return result;
    }
    if (!saveConfiguration(config)) {
        return templateNotUpdated;
    }
    displayMessage(MessageKind::grey, "Image generated successfully \n");
    return imageDone;
}

}  // namespace obkey
