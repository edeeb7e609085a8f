#include "cli/imageListing.h"

#include "cli/CommandBase.h"
#include "files/openFile.h"

#include <QFileInfo>

namespace cli {

namespace {

void listArea(const TbiArea& area, const char* indent) {
    displayMessage(MessageKind::normal, "%s    Area type                   : %c", indent, area.type);
    displayMessage(MessageKind::normal, "%s    Area size                   : %d", indent, static_cast<int>(area.size));
    displayMessage(MessageKind::normal, "%s    Area destination address    : 0x%X\n", indent, area.address);
}

}  // namespace

void parseTbiDisplay(const FileTBI& image, const QString& path) {
    const auto total = static_cast<int>(image.areas.size());
    displayMessage(MessageKind::success, "Parse TBI image:  \n");
    displayMessage(MessageKind::normal, "TBI file path              : %s", qUtf8Printable(path));
    displayMessage(MessageKind::title, "TBI header information  ");
    displayMessage(MessageKind::normal, "   Protocol version        : %d", image.protocolVersion);
    displayMessage(MessageKind::normal, "   Total number of areas   : %d", total);
    displayMessage(MessageKind::normal, "   Image version           : %d", static_cast<int>(image.imageVersion));
    displayMessage(MessageKind::title, "\nTBI Areas information ");
    int number = 0;
    for (const TbiArea& area : image.areas) {
        ++number;
        displayMessage(MessageKind::normal, "   Parsing Area %d/%d     ", number, total);
        listArea(area, "   ");
    }
}

Flow parsePvsTbiDisplay(CommandLineTool& tool, const QString& path, const QByteArray* written) {
    FileData* file = nullptr;
    constexpr bool allowPvs = true;
    if (written != nullptr ? !openOutput(tool.fileContext, path, *written, file, allowPvs)
                           : !openFile(tool.fileContext, path, file, 0xFF, 0, 0, allowPvs)) {
        return Flow::end(1);
    }
    if (file->fileType != fileTypeTbi) {
        return failRun("Unable to parse an PVS TBI image from this file's format : %s",
                       qUtf8Printable(tool.outputPath));
    }
    const auto& image = *static_cast<const FileTBI*>(file);
    const auto total = static_cast<int>(image.segmentCount);
    const qint64 fileSize = written != nullptr ? written->size() : QFileInfo(tool.outputPath).size();
    const QByteArray shownPath = path.toLatin1();
    displayMessage(MessageKind::normal, "  PVS TBI Image Information          \n");
    displayMessage(MessageKind::normal, "     PVS TBI file path             : %s", shownPath.constData());
    displayMessage(MessageKind::normal, "     PVS TBI file size             : %d Bytes", static_cast<int>(fileSize));
    displayMessage(MessageKind::normal, "     PVS TBI header information    : ");
    displayMessage(MessageKind::normal, "         PVS TBI total number of areas   : %d", total);
    displayMessage(MessageKind::normal, "         PVS TBI image version           : %d",
                   static_cast<int>(image.imageVersion));
    displayMessage(MessageKind::normal, "     PVS TBI Areas information      ");
    int number = 0;
    for (const TbiArea& area : image.areas) {
        ++number;
        displayMessage(MessageKind::normal, "     Parsing Area %d/%d    : ", number, total);
        listArea(area, "     ");
    }
    return Flow::goOn();
}

}  // namespace cli
