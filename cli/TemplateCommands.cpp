#include "cli/CommandBase.h"
#include "obkey/Obkey.h"

#include <QCoreApplication>

namespace {

constexpr char missingTemplate[] = "You need to specify a file path for the binary input file option";

Obkey& engineOf(CommandLineTool& tool) {
    if (tool.obkey == nullptr) {
        tool.obkey = std::make_unique<Obkey>();
    }
    return *tool.obkey;
}

QString schemaPath(const char* name) {
    return QCoreApplication::applicationDirPath() + QLatin1String(name);
}

Flow generateObkeyFile(CommandLineTool& tool, const QString& path) {
    Obkey& engine = engineOf(tool);
    engine.startObkeyJob(path);
    if (!engine.validateTemplate(path, schemaPath("/Template/OBkeyPrototype.xsd")) || !engine.loadTemplate(path)) {
        return Flow::end(1);
    }
    if (!engine.checkDuplicateTags() || !engine.checkMandatoryTags()) {
        return Flow::end(0);  // the one failed check that scripts don't see in the status
    }
    if (!engine.checkLayout()) {
        return Flow::end(1);
    }
    engine.generateObkey();  // its failure is told, and the next template still has its turn
    return Flow::goOn();
}

struct KeyTemplateCommand : CommandBase {
    using CommandBase::CommandBase;

    QString keyPath;
    QString keyType;

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
    {"-inkey", "--inputkey", nullptr, "You need to enter an input key", &KeyTemplateCommand::setKeyPath},
    {"-keytype", "--keytype", nullptr, "You need to enter a key type", &KeyTemplateCommand::setKeyType},
};

}  // namespace

Flow CommandLineTool::runImageTemplate() {
    if (currentParams.isEmpty()) {
        reportError("%s", missingTemplate);
        return Flow::end(2);
    }
    const QString path = currentParams.constFirst();
    templatePath = path.toUtf8();
    displayMessage(MessageKind::grey, "-pb %s \n ", templatePath.constData());
    Obkey& engine = engineOf(*this);
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

Flow CommandLineTool::runObkeyTemplates() {
    for (const CliOption& option : options.sliced(currentIndex)) {
        if (option.name != QLatin1String("-obk") && option.name != QLatin1String("--obk")) {
            continue;
        }
        if (option.params.isEmpty()) {
            return failWith(missingTemplate);
        }
        const QString& path = option.params.constFirst();
        templatePath = path.toUtf8();
        displayMessage(MessageKind::grey, "-obk %s \n ", templatePath.constData());
        const Flow flow = generateObkeyFile(*this, path);
        if (flow.ends()) {
            return flow;
        }
    }
    return Flow::goOn();
}

Flow CommandLineTool::runKeyTemplate() {
    KeyTemplateCommand command(*this);
    const Flow flow = walkOptions(*this, command, keyRows, nullptr, command.given);
    if (!flow.ends()) {
        engineOf(*this).generateKeyPair(command.keyPath, command.keyType);
    }
    return flow;
}
