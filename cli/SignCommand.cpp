#include "cli/CommandBase.h"
#include "cli/commands.h"
#include "files/parseNumber.h"
#include "files/readExactly.h"
#include "formats/signedPart.h"
#include "preparation-interface/publicKeyPath.h"

#include <QByteArrayView>

namespace cli {

namespace {

struct SignCommand : CommandBase {
    using CommandBase::CommandBase;

    FileData* input = nullptr;

    Flow run();
    Flow readBinary(const QStringList& params);
    Flow checkAlgorithm(const QStringList& params);
    Flow setPrivateKey(const QStringList& params);
    Flow setOutput(const QStringList& params);
    Flow detectSignedImage(SignedImage& image, FileData& part) const;
};

constexpr OptionRow<SignCommand> optionRows[] = {
    {"-bin", "--binary", "bin file", "You need to specify a file path for the binary input file option",
     &SignCommand::readBinary, 1},
    {"-a", "--algo", "algo name", nullptr, &SignCommand::checkAlgorithm},
    {"-prvk", "--privatekey", "private key", "You need to specify a file with the private key option",
     &SignCommand::setPrivateKey, 1, false, publicKeyPath},
    {"-v", "--version", "image version", missingImageVersion, &SignCommand::setImageVersion},
    {"-o", "--outfile", "output file", missingOutputFile, &SignCommand::setOutput, 1},
};

Flow SignCommand::readBinary(const QStringList& params) {
    tool.binaryPath = params.constFirst().toUtf8();
    if (!openInput(params.constFirst(), tool.currentFile)) {
        return Flow::end(1);
    }
    input = tool.currentFile;
    return input->fileType == fileTypeBinary
               ? Flow::goOn()
               : failRun("Bad file format, ECDSA signature is performed from binary format");
}

Flow SignCommand::checkAlgorithm(const QStringList& params) {
    std::uint32_t algorithm = 0;
    if (!params.isEmpty() && parseNumber(params.constFirst(), 0, algorithm) && algorithm != 0) {
        displayMessage(MessageKind::warning, "Only ECC_NIST_prime256v1 algo is supported so far\n");
        displayMessage(MessageKind::warning, "Algo forced to ECC_NIST_prime256v1 \n");
    }
    return Flow::goOn();
}

Flow SignCommand::setPrivateKey(const QStringList& params) {
    tool.privateKeyPath = params.constFirst();
    secretPaths = {tool.privateKeyPath, publicKeyPath(tool.privateKeyPath)};
    return Flow::goOn();
}

Flow SignCommand::setOutput(const QStringList& params) {
    tool.outputPath = params.constFirst();
    return tool.outputPath.endsWith(QLatin1String(".bin")) ? Flow::goOn()
                                                           : failRun("output file must have the .bin extension");
}

Flow SignCommand::detectSignedImage(SignedImage& image, FileData& part) const {
    const FileSegment& content = input->segments.front();
    const QByteArrayView bytes = QByteArrayView(content.data).first(content.size);
    qsizetype length = 0;
    const ImageMark* const mark = findSignedPart(bytes, length);
    if (mark == nullptr) {
        displayMessage(MessageKind::grey, "Input image is of type : Unknown VX image\n");
        return Flow::end(1);
    }
    displayMessage(MessageKind::grey, "%s", mark->text);
    if (mark->note != nullptr) {
        displayMessage(MessageKind::grey, "%s", mark->note);
    }
    if (!memoryAvailable(length)) {
        displayMessage(MessageKind::normal, "%s", "");
        return failRun("Failed to allocate memory");
    }
    part.segmentCount = 1;
    part.segments.push_back({0, static_cast<std::uint32_t>(length), bytes.first(length).toByteArray()});
    FileData* pointer = &part;
    image.setSigImgBin(&pointer);
    return Flow::goOn();
}

Flow SignCommand::run() {
    warnOfOwnParameters("sign");
    const Flow flow = walkOptions(*this, optionRows, nullptr);
    if (flow.ends()) {
        return flow;
    }
    const auto has = [this](const char* name) { return wasGiven(optionRows, given, name); };
    if (input == nullptr || !has("-prvk") || !has("-v") || !has("-o")) {
        return failRun("One or more mandatory options are missing, please refer to help menu");
    }
    if (!mayWrite(tool.outputPath)) {
        return Flow::end(1);
    }
    SignedImage image;
    image.setSigSize(tool.signatureSize);
    image.setSigImgVer(tool.imageVersion);
    image.setSigImgFooter();
    FileData part;
    const Flow detected = detectSignedImage(image, part);
    if (detected.ends()) {
        return detected;
    }
    QByteArray keyPath = tool.privateKeyPath.toUtf8();
    SignedImage* pointer = &image;
    if (!tool.preparation.signECDSA(reinterpret_cast<unsigned char*>(keyPath.data()), &pointer, true, nullptr)) {
        return failRun("Error occured when signing the binary image");
    }
    const FileSegment& content = input->segments.front();
    if (!image.createSignedImage(tool.outputPath, content.data.left(content.size))) {
        return failRun("an error occured while preparing signed image\n");
    }
    displayMessage(MessageKind::success, "Writing signed image to file %s finished successfully",
                   qUtf8Printable(tool.outputPath));
    return Flow::end(0);
}

constexpr auto optionNames = namesOf(optionRows);

}  // namespace

constinit const Command signCommand = {{"-sign", "--sign"}, runCommandOf<SignCommand>, 0, optionNames};

}  // namespace cli
