#include "cli/CommandBase.h"
#include "cli/commands.h"
#include "obkey/Obkey.h"

#include <QCoreApplication>

namespace cli {

namespace {

constexpr char missingTemplate[] = "You need to specify a file path for the binary input file option";

obkey::Obkey& engineOf(CommandLineTool& tool) {
    if (tool.obkey == nullptr) {
        tool.obkey = std::make_unique<obkey::Obkey>();
    }
    return *tool.obkey;
}

QString schemaPath(const char* name) {
    return QCoreApplication::applicationDirPath() + QLatin1String(name);
}

Flow generateObkeyFile(CommandLineTool& tool, const QString& path) {
    obkey::Obkey& engine = engineOf(tool);
    engine.startObkeyJob(path);
    if (!engine.validateTemplate(path, schemaPath("/Template/OBkeyPrototype.xsd")) || !engine.loadTemplate(path)) {
        return Flow::end(1);
    }
    if (!engine.checkDuplicateTags() || !engine.checkMandatoryTags()) {
        return Flow::end(0);  // the only failed check that doesn't change the status
    }
    if (!engine.checkLayout()) {
        return Flow::end(1);
    }
    engine.generateObkey();  // reports a failure; the run continues with the next template
    return Flow::goOn();
}

struct KeyTemplateCommand : CommandBase {
    using CommandBase::CommandBase;

    QString keyPath;
    QString keyType;

    Flow run();
    Flow setKeyPath(const QStringList& params) {
        keyPath = params.constFirst();
        return Flow::goOn();
    }
    Flow setKeyType(const QStringList& params) {
        keyType = params.constFirst();
        return Flow::goOn();
    }
};

constexpr OptionRow<KeyTemplateCommand> keyRows[] = {
    {"-inkey", "--inputkey", nullptr, "You need to enter an input key", &KeyTemplateCommand::setKeyPath, 1},
    {"-keytype", "--keytype", nullptr, "You need to enter a key type", &KeyTemplateCommand::setKeyType},
};

constexpr auto keyNames = namesOf(keyRows);

Flow KeyTemplateCommand::run() {
    const Flow flow = walkOptions(*this, keyRows, nullptr);
    if (!flow.ends()) {
        engineOf(tool).generateKeyPair(keyPath, keyType);
    }
    return flow;
}

Flow makeTemplateImage(CommandLineTool& tool, const CommandCall& call) {
    if (call.params.isEmpty()) {
        reportError("%s", missingTemplate);
        return Flow::end(2);
    }
    const QString path = call.params.constFirst();
    tool.templatePath = path.toUtf8();
    displayMessage(MessageKind::grey, "-pb %s \n ", tool.templatePath.constData());
    obkey::Obkey& engine = engineOf(tool);
    engine.startImageJob();
    if (!engine.validateTemplate(path, schemaPath("/Template/McuBootPrototype.xsd"))) {
        return Flow::end(3);
    }
    if (!engine.loadTemplate(path)) {
        return Flow::end(4);
    }
    engine.addImageConfig(path);
    return Flow::end(engine.generateImage());
}

Flow makeObkeyFile(CommandLineTool& tool, const QStringList& params) {
    if (params.isEmpty()) {
        return failRun(missingTemplate);
    }
    const QString& path = params.constFirst();
    tool.templatePath = path.toUtf8();
    displayMessage(MessageKind::grey, "-obk %s \n ", tool.templatePath.constData());
    return generateObkeyFile(tool, path);
}

Flow makeObkeyFiles(CommandLineTool& tool, const CommandCall& call) {
    Flow flow = makeObkeyFile(tool, call.params);
    for (const CliOption& option : call.options) {
        if (flow.ends()) {
            break;
        }
        if (option.name == QLatin1String("-obk") || option.name == QLatin1String("--obk")) {
            flow = makeObkeyFile(tool, option.params);
        }
    }
    return flow;
}

}  // namespace

constinit const Command imageTemplateCommand = {{"-pb", "--pb"}, makeTemplateImage, 1};
constinit const Command obkeyTemplatesCommand = {{"-obk", "--obk"}, makeObkeyFiles, 1};
constinit const Command keyTemplateCommand = {
    {"-genkey", "--generatekey"}, runCommandOf<KeyTemplateCommand>, 0, keyNames};

}  // namespace cli
