#include "Preparation/src/library/AreaImage.h"
#include "Preparation/src/library/segmentView.h"
#include "display/Display.h"
#include "files/wipe.h"
#include "preparation-interface/Preparation.h"

#include <limits>

namespace {

constexpr char provisioningMagic[] = "PVSMAGIC";

void addFirmware(const FileData& firmware, AreaPlan& plan) {
    for (const FileSegment& segment : firmware.segments) {
        if (!segmentBytes(segment).isEmpty()) {
            plan.areas.push_back({'F', segment.address, {segmentBytes(segment)}, {}});
        }
    }
}

bool addBackup(const BackupRecord& backup, AreaPlan& plan) {
    for (const BackupSegment& section : backup.sections) {
        if (section.offset > std::numeric_limits<std::uint32_t>::max() - backup.address) {
            return reportError("The backup section at offset 0x%08X lies beyond the end of the address space",
                               section.offset);
        }
        plan.areas.push_back({'B', backup.address + section.offset, {section.record}, {}});
    }
    return true;
}

}  // namespace

QByteArray Preparation::pvsTbiPreparation(pvsTbiParameters parameters) {
    const WipeOnExit wipeKey(parameters.key);
    const WipeOnExit wipeBlob(parameters.blob);
    AreaImageForm form{.magic = QByteArrayView(provisioningMagic),
                       .kind = ImageKind::provisioning,
                       .protocolVersion = 1,
                       .areaHeaderSize = longAreaHeaderSize,
                       .imageVersion = parameters.imageVersion,
                       .baseIv = {}};
    AesGcm cipher;
    if (!takeImageKey(parameters.key, cipher) || !deriveBaseIv(parameters.nonce, form.baseIv)) {
        return {};
    }
    if (parameters.blob.isEmpty()) {
        reportError("The blob is empty");
        return {};
    }
    AreaPlan plan;
    plan.areas.push_back({'S', 0, {parameters.blob}, {}});
    for (const FileData* const firmware : parameters.firmwares) {
        if (firmware != nullptr) {
            addFirmware(*firmware, plan);
        }
    }
    for (const BackupRecord& backup : parameters.backupSections) {
        if (!addBackup(backup, plan)) {
            return {};
        }
    }
    return encryptAreas(form, plan, cipher);
}
