#include "Preparation/secureImages/installImage.h"

#include "Preparation/secureImages/cutToRam.h"
#include "Preparation/secureImages/encryptAreas.h"
#include "Preparation/secureImages/segmentView.h"
#include "display/Display.h"
#include "files/ByteReader.h"
#include "files/byteWriter.h"
#include "formats/moduleLayout.h"
#include "formats/secureImageLayout.h"

#include <QtEndian>

#include <algorithm>

// The areas are in the order in which the device needs them: secure modules and key material, then firmware, then the
// hash of all areas before it, and last the option bytes, which lock the device. Firmware segments, licences and
// identities without bytes get no area.

namespace {

/// The kinds of data that accompany a module. An area with such data begins with the number of its kind.
enum class Companion : std::uint32_t { licence = 1, identity = 2 };

struct InstallPlanner {
    const InstallImageContent& content;
    const QByteArray& key;
    const ImageIv& baseIv;
    AreaPlan plan;
    std::array<QByteArrayView, regionDescriptor::maxNumber + 1>
        regionKeys;  ///< derived at first use; the plan keeps their bytes

    PlannedArea& add(char letter, std::uint32_t address, QByteArrayView payload = {});
    void addPackagedModule();
    void addProvisioningData();
    void addTable(char letter, const FileData* table);
    void addCompanion(Companion kind, std::uint32_t address, const QByteArray& bytes);
    void addModules();
    void addFirmware();
    [[nodiscard]] bool addExternalFirmware();
    [[nodiscard]] bool addExternalModules();
    [[nodiscard]] bool addExternal(char letter, const ExtBinInfo& region, QByteArrayView bytes);
    [[nodiscard]] bool findRegion(std::uint32_t address, ExtBinInfo& region) const;
    [[nodiscard]] bool planAreas();
};

PlannedArea& InstallPlanner::add(char letter, std::uint32_t address, QByteArrayView payload) {
    return plan.areas.emplace_back(PlannedArea{letter, address, {payload}, {}});
}

void InstallPlanner::addPackagedModule() {
    const FileTBI* const module = content.packagedModule;
    if (module == nullptr) {
        return;
    }
    PlannedArea& area = add(areaLetter::secureModule, 0);
    if (module->fileType != fileTypeXtbi && module->fileType != fileTypeTbi) {
        appendSegments(area, module);  // the object is a FileData, although the pointer has another type
        return;
    }
    area.pieces.append(module->header);
    for (const TbiArea& moduleArea : module->areas) {
        area.pieces.append(moduleArea.header);
        area.pieces.append(moduleArea.data);
    }
}

void InstallPlanner::addProvisioningData() {
    for (const FileOBK* const file : content.provisioningData) {
        if (file != nullptr) {
            const QByteArrayView head(file->head);
            appendSegments(add(areaLetter::provisioningData, ByteReader(head).u32(), head), file);
        }
    }
}

void InstallPlanner::addTable(char letter, const FileData* table) {
    if (table != nullptr) {
        appendSegments(add(letter, 0), table);
    }
}

void InstallPlanner::addCompanion(Companion kind, std::uint32_t address, const QByteArray& bytes) {
    if (!bytes.isEmpty()) {
        QByteArray head;
        appendU32(head, static_cast<std::uint32_t>(kind));
        add(areaLetter::companion, address, plan.keep(head)).pieces.append(bytes);
    }
}

std::uint32_t loadAddress(const FileData& module) {
    if (module.segments.empty()) {
        return 0;
    }
    ByteReader reader(segmentBytes(module.segments.front()));
    reader.seek(preparedModule::loadAddressOffset);
    const std::uint32_t address = reader.u32();
    // If the file is too short for the field, the result is the address of its first segment.
    return reader.ok() ? address : module.segments.front().address;
}

void InstallPlanner::addModules() {
    for (const FileData* const module : content.modules) {
        if (module != nullptr) {
            appendSegments(add(areaLetter::module, loadAddress(*module)), module);
        }
    }
    if (content.moduleList == nullptr) {
        return;
    }
    for (const McsvModule& module : content.moduleList->modules) {
        addCompanion(Companion::licence, module.destinationAddress, module.license);
        addCompanion(Companion::identity, module.destinationAddress, module.hsmId);
        add(areaLetter::module, module.destinationAddress, module.moduleData);
    }
}

void InstallPlanner::addFirmware() {
    for (const FileSegment* const segment : sortedSegments(content.firmware)) {
        add(areaLetter::firmware, segment->address, segmentBytes(*segment));
    }
}

bool checkRegion(const ExtBinInfo& region) {
    if (region.regionMode > regionDescriptor::maxMode) {
        return reportError("The region mode %u for address 0x%08X is invalid, it must be between 0 and %u",
                           region.regionMode, region.address, regionDescriptor::maxMode);
    }
    if (region.regionNumber > regionDescriptor::maxNumber) {
        return reportError("The region number %u for address 0x%08X is invalid, it must be between 0 and %u",
                           region.regionNumber, region.address, regionDescriptor::maxNumber);
    }
    return true;
}

bool InstallPlanner::findRegion(std::uint32_t address, ExtBinInfo& region) const {
    const auto found = std::find_if(content.externalRegions.begin(), content.externalRegions.end(),
                                    [address](const ExtBinInfo& known) { return known.address == address; });
    if (found == content.externalRegions.end()) {
        return reportError("There are no region settings for the external firmware at address 0x%08X", address);
    }
    region = *found;
    return true;
}

bool InstallPlanner::addExternal(char letter, const ExtBinInfo& region, QByteArrayView bytes) {
    if (!checkRegion(region)) {
        return false;
    }
    QByteArrayView& regionKey = regionKeys[region.regionNumber];
    if (regionKey.isEmpty()) {
        regionKey = plan.keep(deriveRegionKey(key, static_cast<std::uint8_t>(region.regionNumber), baseIv));
        if (regionKey.isEmpty()) {
            return false;
        }
    }
    PlannedArea& area = add(letter, region.address, bytes);
    area.pieces.append(regionKey);
    char* const descriptor = area.secondBlock.data();
    qToLittleEndian(region.address, descriptor + regionDescriptor::addressOffset);
    qToLittleEndian(region.regionMode, descriptor + regionDescriptor::modeOffset);
    qToLittleEndian(region.regionNumber, descriptor + regionDescriptor::numberOffset);
    qToLittleEndian(region.keyAddress, descriptor + regionDescriptor::keyAddressOffset);
    return true;
}

bool InstallPlanner::addExternalFirmware() {
    const std::vector<const FileSegment*> segments = sortedSegments(content.externalFirmware);
    return std::all_of(segments.begin(), segments.end(), [this](const FileSegment* segment) {
        ExtBinInfo region;
        return findRegion(segment->address, region) &&
               addExternal(areaLetter::external, region, segmentBytes(*segment));
    });
}

bool InstallPlanner::addExternalModules() {
    if (content.externalModuleList == nullptr) {
        return true;
    }
    for (const EcsvModule& module : content.externalModuleList->modules) {
        addCompanion(Companion::licence, module.destinationAddress, module.license);
        addCompanion(Companion::identity, module.destinationAddress, module.hsmId);
        const ExtBinInfo region{module.destinationAddress, module.regionMode, module.regionNumber, module.keyAddress};
        if (!addExternal(areaLetter::externalModule, region, module.moduleData)) {
            return false;
        }
    }
    return true;
}

/// The size of the memory that an area fills on the device. A region key doesn't count, because it is stored elsewhere.
qsizetype memorySize(const PlannedArea& area) {
    switch (area.letter) {
        case areaLetter::firmware:
        case areaLetter::module:
            return payloadSize(area);
        case areaLetter::external:
        case areaLetter::externalModule:
            return payloadSize(area) - area.pieces.back().size();
        default:
            return 0;
    }
}

bool InstallPlanner::planAreas() {
    addPackagedModule();
    addProvisioningData();
    addTable(areaLetter::keyArea, content.keyArea);
    addTable(areaLetter::diversification, content.diversification);
    addModules();
    addFirmware();
    if (!addExternalFirmware() || !addExternalModules()) {
        return false;
    }
    if (content.hash) {
        add(areaLetter::contentHash, 0);
    }
    appendSegments(add(areaLetter::optionBytes, 0), content.optionBytes);
    return std::all_of(plan.areas.begin(), plan.areas.end(),
                       [](const PlannedArea& area) { return fitsAddressSpace(area.address, memorySize(area)); });
}

}  // namespace

QByteArray makeInstallImage(const InstallImageContent& content, const QByteArray& key, const QByteArray& nonce) {
    const bool external = content.externalFirmware != nullptr || content.externalModuleList != nullptr;
    AreaImageForm form{.magic = secureImage::installMagic,
                       .kind = ImageKind::install,
                       .protocolVersion = external ? secureImage::longHeaderProtocol : secureImage::shortHeaderProtocol,
                       .areaHeaderSize = external ? areaHeader::longHeaderSize : areaHeader::shortHeaderSize,
                       .imageVersion = content.imageVersion,
                       .baseIv = {}};
    AesGcm cipher;
    if (!takeImageKey(key, cipher) || !deriveBaseIv(nonce, form.baseIv)) {
        return {};
    }
    InstallPlanner planner{content, key, form.baseIv, {}, {}};
    const RamLimit limit{content.ramSize, content.continuationToken, form.areaHeaderSize};
    if (!planner.planAreas() || !cutToRam(limit, planner.plan)) {
        return {};
    }
    return encryptAreas(form, planner.plan, cipher);
}
