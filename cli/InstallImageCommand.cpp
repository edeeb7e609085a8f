#include "cli/CommandBase.h"
#include "cli/commands.h"
#include "cli/imageListing.h"
#include "files/ByteReader.h"
#include "files/byteWriter.h"
#include "files/openFile.h"
#include "files/outputFile.h"
#include "files/parseNumber.h"
#include "files/segments.h"
#include "formats/installDevices.h"
#include "formats/moduleLayout.h"
#include "formats/openCsvFile.h"

#include <algorithm>

namespace cli {

namespace {

constexpr char wrongFormat[] = "Unable to create an TBI image from this file's format : %s";
constexpr char missingOptionBytes[] = "You need to specify a file with the option bytes option";

// At most this many segments of an external firmware file get a record.
constexpr std::size_t maxExternalSegments = 256;

constexpr std::uint32_t diversificationDevice = 0x484;

/// Reads the parameter at `index` as a number in any base. False if there is none.
bool numberAt(const QStringList& params, qsizetype index, std::uint32_t& value) {
    return index < params.size() && parseNumber(params.at(index), 0, value);
}

struct InstallImageCommand : CommandBase {
    using CommandBase::CommandBase;

    bool multiImageDevice = true;
    std::uint32_t ramSize = 0;
    std::uint32_t continuationToken = 0;
    QByteArray image;
    PendingFile output;
    FileData* written = nullptr;  // the output, read back

    Flow run();

    Flow setDevice(const QStringList& params);
    Flow addFirmware(const QStringList& params);
    Flow addExternalFirmware(const QStringList& params);
    Flow addExternalRecords(const QStringList& params, const FileData& file);
    Flow addExternalBinary(const QStringList& params, FileData& file);
    Flow readKeyArea(const QStringList& params);
    Flow readOptionBytes(const QStringList& params);
    Flow readDiversification(const QStringList& params);
    Flow addModule(const QStringList& params);
    Flow setRamSize(const QStringList& params);
    Flow setContinuationToken(const QStringList& params);
    Flow setOutput(const QStringList& params);
    Flow acceptHashFlag(const QStringList& params);
    Flow addObkFiles(const QStringList& params);
    Flow readXtbi(const QStringList& params);
    Flow readModuleList(const QStringList& params);
    Flow readExternalModuleList(const QStringList& params);

    Flow readTable(const QString& path, CsvKind kind, FileData*& table);
    template <class List>
    Flow readList(const QString& path, CsvKind kind, FileType type, List*& list);
    Flow checkOptions();
    Flow mergeFirmware();
    [[nodiscard]] OutputFile outputFile() const {
        return {tool.outputPath, image, "Error while writing in the output file"};
    }
    Flow writeImage();
    Flow verifyImage();
    Flow listImage();
};

constexpr OptionRow<InstallImageCommand> optionRows[] = {
    {"-devid", "--deviceid", nullptr, "Invalid Device ID", &InstallImageCommand::setDevice},
    {"-fir", "--firmware", nullptr, missingFirmwareFile, &InstallImageCommand::addFirmware, 1},
    {"-firx", "--firmwx", nullptr, "You need to specify a file with the external firmware option",
     &InstallImageCommand::addExternalFirmware, 1},
    {"-k", "--key", "key", missingKeyFile, &InstallImageCommand::readKey, 1},
    {"-n", "--nonce", "nonce", missingNonceFile, &InstallImageCommand::readAnyNonce, 1},
    {"-v", "--ver", "image version", missingImageVersion, &InstallImageCommand::setImageVersion},
    {"-kx", "--keyx", "-kx/--keyx", missingOptionBytes, &InstallImageCommand::readKeyArea, 1},
    {"-ob", "--obfile", "option bytes", missingOptionBytes, &InstallImageCommand::readOptionBytes, 1},
    {"-m", "--module", nullptr, "You need to specify a file with the module option", &InstallImageCommand::addModule,
     1},
    {"-rs", "--ramsize", "RAM size", "You need to specify a value with the RAM size option",
     &InstallImageCommand::setRamSize},
    {"-ct", "--token", "continuation token", "You need to specify a value with the continuation token option",
     &InstallImageCommand::setContinuationToken},
    {"-o", "--outfile", "output file", missingOutputFile, &InstallImageCommand::setOutput, 1},
    {.shortName = "-hsm", .longName = "--hsm", .endsParser = true},
    {"-hash", "--hash", nullptr, "You need to specify the Hash option", &InstallImageCommand::acceptHashFlag},
    {"-obkeys", "--ob-keys", nullptr, "You need to specify a file with the Obk option",
     &InstallImageCommand::addObkFiles, allAreFiles},
    {"-xtbi", "--xtbi", nullptr, "You need to specify a file with the XTBI option", &InstallImageCommand::readXtbi, 1},
    {"-mcsv", "--mcsv", nullptr, "You need to specify a file with the MCSV option",
     &InstallImageCommand::readModuleList, 1},
    {"-ecsv", "--ecsv", nullptr, "You need to specify a file with the ECSV option",
     &InstallImageCommand::readExternalModuleList, 1},
    {"-diver", "--diver", "diversification", "You need to specify a file with the diversification option",
     &InstallImageCommand::readDiversification, 1},
    {"-l", "--log"},
    {"-ptbi", "--parse-tbi"},
};

Flow InstallImageCommand::setDevice(const QStringList& params) {
    if (!numberAt(params, 0, tool.deviceId)) {
        return failRun("Invalid Device ID");
    }
    const auto* const device = std::find_if(installDevices.begin(), installDevices.end(),
                                            [this](const InstallDevice& known) { return known.id == tool.deviceId; });
    if (device == installDevices.end()) {
        return failRun("Invalid device ID value");
    }
    multiImageDevice = multiImageDevice && device->takesPartialImages;
    return Flow::goOn();
}

Flow InstallImageCommand::addFirmware(const QStringList& params) {
    if (!openInput(params.constFirst(), tool.currentFile)) {
        return Flow::end(1);
    }
    if (!isFirmware(*tool.currentFile)) {
        return failRun(wrongFormat, qUtf8Printable(params.constFirst()));
    }
    if (tool.currentFile->fileType == fileTypeBinary) {
        if (params.size() < 2) {
            return failRun("You need to specify an address with a binary firmware");
        }
        if (!numberAt(params, 1, tool.currentFile->segments.front().address)) {
            return failRun("Invalid firmware address");
        }
    }
    tool.firmwareFiles.append(tool.currentFile);
    return Flow::goOn();
}

Flow InstallImageCommand::addExternalFirmware(const QStringList& params) {
    if (!openInput(params.constFirst(), tool.currentFile)) {
        return Flow::end(1);
    }
    if (!isFirmware(*tool.currentFile)) {
        return failRun(wrongFormat, qUtf8Printable(params.constFirst()));
    }
    const Flow flow = tool.currentFile->fileType == fileTypeBinary ? addExternalBinary(params, *tool.currentFile)
                                                                   : addExternalRecords(params, *tool.currentFile);
    if (!flow.ends()) {
        tool.externalFirmwareFiles.append(tool.currentFile);
    }
    return flow;
}

Flow InstallImageCommand::addExternalRecords(const QStringList& params, const FileData& file) {
    if (params.size() < 3) {
        return failRun(
            "For external hex firmware, you have to specify respectively the region number, region mode and key "
            "address");
    }
    ExtBinInfo info;
    if (!numberAt(params, 1, info.regionNumber)) {
        return failRun("Invalid region number for external firmware");
    }
    if (!numberAt(params, 2, info.regionMode)) {
        return failRun("Invalid region mode for external firmware");
    }
    if (!numberAt(params, 3, info.keyAddress)) {
        return failRun("Invalid key address for external firmware");
    }
    const std::size_t count = std::min(file.segments.size(), maxExternalSegments);
    for (std::size_t i = 0; i < count; ++i) {
        info.address = file.segments[i].address;
        tool.externalBinInfos.append(info);
    }
    return Flow::goOn();
}

Flow InstallImageCommand::addExternalBinary(const QStringList& params, FileData& file) {
    if (params.size() < 4) {
        return failRun(
            "For external firmware, you have to specify respectively the starting address, region number, region "
            "mode and key address");
    }
    ExtBinInfo info;
    if (!numberAt(params, 1, info.address)) {
        return failRun("Invalid external firmware start address");
    }
    // For a raw binary the mode is before the number, unlike for HEX. Production scripts rely on both orders.
    if (!numberAt(params, 3, info.regionNumber)) {
        return failRun("Invalid region number for external firmware");
    }
    if (!numberAt(params, 2, info.regionMode)) {
        return failRun("Invalid region mode for external firmware");
    }
    if (!numberAt(params, 4, info.keyAddress)) {
        return failRun("Invalid key address for external firmware");
    }
    tool.externalBinInfos.append(info);
    file.segments.front().address = info.address;
    return Flow::goOn();
}

Flow InstallImageCommand::readTable(const QString& path, CsvKind kind, FileData*& table) {
    FileData* read = nullptr;
    if (!openCsvFile(tool.fileContext, path, kind, read)) {
        return Flow::end(1);
    }
    if (read->fileType != fileTypeCsv) {
        return failRun("The file %s is not a csv file", qUtf8Printable(path));
    }
    table = read;
    return Flow::goOn();
}

Flow InstallImageCommand::readKeyArea(const QStringList& params) {
    return readTable(params.constFirst(), CsvKind::keyArea, tool.keyAreaFile);
}

Flow InstallImageCommand::readOptionBytes(const QStringList& params) {
    return readTable(params.constFirst(), CsvKind::optionBytes, tool.optionBytesFile);
}

Flow InstallImageCommand::readDiversification(const QStringList& params) {
    return readTable(params.constFirst(), CsvKind::diversification, tool.diversificationFile);
}

Flow InstallImageCommand::addModule(const QStringList& params) {
    FileData* module = nullptr;
    if (!openInput(params.constFirst(), module)) {
        return Flow::end(1);
    }
    if (module->fileType != fileTypeKmd) {
        return failRun("%s is not an KMD file", qUtf8Printable(params.constFirst()));
    }
    FileSegment& content = module->segments.front();
    ByteReader reader(content.data);
    reader.seek(preparedModule::loadAddressOffset);
    content.address = reader.u32();
    if (content.address == 0) {
        if (params.size() < 2) {
            return failRun("You need to specify an address with a relocatable KMD file");
        }
        if (!numberAt(params, 1, content.address)) {
            return failRun("Invalid KMD address");
        }
        if (reader.ok()) {
            QByteArray field;
            appendU32(field, content.address);
            content.data.replace(preparedModule::loadAddressOffset, field.size(), field);
        }
    }
    tool.modules.append(module);
    return Flow::goOn();
}

Flow InstallImageCommand::setRamSize(const QStringList& params) {
    return numberAt(params, 0, ramSize) ? Flow::goOn() : failRun("Invalid RAM size");
}

Flow InstallImageCommand::setContinuationToken(const QStringList& params) {
    return numberAt(params, 0, continuationToken) ? Flow::goOn() : failRun("Invalid continuation token address");
}

Flow InstallImageCommand::setOutput(const QStringList& params) {
    tool.outputPath = params.constFirst();
    const bool fits =
        tool.outputPath.endsWith(QLatin1String(".tbi")) || tool.outputPath.endsWith(QLatin1String(".tbix"));
    return fits ? Flow::goOn() : failRun("An TBI/TBIx file must have the .tbi or tbix extension");
}

Flow InstallImageCommand::acceptHashFlag(const QStringList& /*params*/) {
    // Every image is hashed, whatever the flag says.
    return Flow::goOn();
}

Flow InstallImageCommand::addObkFiles(const QStringList& params) {
    for (const QString& path : params) {
        FileData* file = nullptr;
        if (!openInput(path, file)) {
            return Flow::end(1);
        }
        if (file->fileType != fileTypeObk) {
            return failRun(wrongFormat, qUtf8Printable(path));
        }
        tool.obkFiles.append(static_cast<FileOBK*>(file));
    }
    return Flow::goOn();
}

Flow InstallImageCommand::readXtbi(const QStringList& params) {
    FileData* file = nullptr;
    if (!openInput(params.constFirst(), file)) {
        return Flow::end(1);
    }
    if (file->fileType != fileTypeBinary && file->fileType != fileTypeXtbi) {
        return failRun(wrongFormat, qUtf8Printable(params.constFirst()));
    }
    if (file->fileType == fileTypeBinary) {
        // A raw binary becomes an image without areas.
        auto plain = std::make_shared<FileTBI>();
        static_cast<FileData&>(*plain) = *file;
        tool.xtbiFile = plain.get();
        tool.fileContext.records.push_back(std::move(plain));
        return Flow::goOn();
    }
    tool.xtbiFile = static_cast<FileTBI*>(file);
    for (const TbiArea& area : tool.xtbiFile->areas) {
        file->segments.push_back({area.address, area.size, area.data});
    }
    file->segmentCount = static_cast<std::uint32_t>(tool.xtbiFile->areas.size());
    return Flow::goOn();
}

template <class List>
Flow InstallImageCommand::readList(const QString& path, CsvKind kind, FileType type, List*& list) {
    FileData* read = nullptr;
    if (!openCsvFile(tool.fileContext, path, kind, read)) {
        return Flow::end(1);
    }
    if (read->fileType != type) {
        return failRun(wrongFormat, qUtf8Printable(path));
    }
    list = static_cast<List*>(read);
    return Flow::goOn();
}

Flow InstallImageCommand::readModuleList(const QStringList& params) {
    return readList(params.constFirst(), CsvKind::moduleList, fileTypeMcsv, tool.mcsvFile);
}

Flow InstallImageCommand::readExternalModuleList(const QStringList& params) {
    return readList(params.constFirst(), CsvKind::externalModuleList, fileTypeEcsv, tool.ecsvFile);
}

Flow InstallImageCommand::checkOptions() {
    const auto has = [this](const char* name) { return wasGiven(optionRows, given, name); };
    if (tool.deviceId == 0) {
        return failRun("Missing device ID");
    }
    const bool complete = has("-k") && has("-fir") && has("-n") && has("-v") && has("-o");
    if (!complete && tool.externalFirmwareFiles.isEmpty()) {
        return failRun("One or more mandatory options are missing");
    }
    if (has("-rs") && !has("-ct") && multiImageDevice) {
        return failRun("Missing continuation token");
    }
    if (has("-ct") && !has("-rs")) {
        return failRun("Missing ram size");
    }
    return continueIf(mayWrite(tool.outputPath));
}

Flow InstallImageCommand::mergeFirmware() {
    const bool merged =
        (tool.firmwareFiles.isEmpty() || mergeFiles(tool.fileContext, tool.firmwareFiles, tool.firmware)) &&
        (tool.externalFirmwareFiles.isEmpty() ||
         mergeFiles(tool.fileContext, tool.externalFirmwareFiles, tool.externalFirmware));
    if (!merged) {
        return Flow::end(1);
    }
    if (tool.diversificationFile != nullptr && tool.deviceId != diversificationDevice) {
        return failRun("TBI Diversification option is not supported with this device so far.");
    }
    return Flow::goOn();
}

Flow InstallImageCommand::writeImage() {
    constexpr bool hashAlways = true;
    image = tool.preparation.TBIPreparation(tool.firmware, multiImageDevice, tool.obkFiles, tool.optionBytesFile,
                                            tool.key, tool.nonce, static_cast<std::uint8_t>(tool.imageVersion),
                                            hashAlways, tool.modules, ramSize, continuationToken, tool.xtbiFile,
                                            tool.mcsvFile, tool.ecsvFile, tool.deviceId, tool.externalFirmware,
                                            tool.keyAreaFile, tool.diversificationFile, tool.externalBinInfos);
    if (image.isEmpty()) {
        return failRun("Error occured when preparing an TBI image");
    }
    return continueIf(writePendingOutput(outputFile(), output));
}

// Verifies the written file before it replaces an older image.
Flow InstallImageCommand::verifyImage() {
    if (output.isHeld()) {
        image.clear();  // the written file is verified instead
    }
    if (!openPendingOutput(tool.fileContext, tool.outputPath, output, image, written)) {
        return failRun("Error while verifying the TBI file");
    }
    return continueIf(commitPendingOutput(outputFile(), output));
}

Flow InstallImageCommand::listImage() {
    displayMessage(MessageKind::success, "%s generation SUCCESS",
                   tool.externalFirmwareFiles.isEmpty() ? "TBI" : "TBIx");
    if (written->fileType != fileTypeTbi && written->fileType != fileTypeXtbi) {
        return failRun("Unable to parse an TBI/TBIx image from this file's format : %s",
                       qUtf8Printable(tool.outputPath));
    }
    parseTbiDisplay(*static_cast<FileTBI*>(written), tool.outputPath);
    return Flow::goOn();
}

Flow InstallImageCommand::run() {
    if (tool.isGiven({"-tbu", "--tbu"})) {
        return failRun("You need to specify which of tbi or tbu you want to create");
    }
    warnOfOwnParameters("tbi");
    Flow flow = walkOptions(*this, optionRows, "tbi");
    for (const auto step :
         {&InstallImageCommand::checkOptions, &InstallImageCommand::mergeFirmware, &InstallImageCommand::writeImage,
          &InstallImageCommand::verifyImage, &InstallImageCommand::listImage}) {
        if (flow.ends()) {
            return flow;
        }
        flow = (this->*step)();
    }
    return flow;
}

constexpr auto optionNames = namesOf(optionRows);

}  // namespace

constinit const Command installImageCommand = {{"-tbi", "--tbi"}, runCommandOf<InstallImageCommand>, 0, optionNames};

}  // namespace cli
