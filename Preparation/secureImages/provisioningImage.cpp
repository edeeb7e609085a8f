#include "Preparation/secureImages/encryptAreas.h"
#include "Preparation/secureImages/segmentView.h"
#include "display/Display.h"
#include "files/wipe.h"
#include "formats/secureImageLayout.h"
#include "images/ProtectedItem.h"
#include "preparation-interface/Preparation.h"

#include <QScopeGuard>

#include <limits>

namespace {

bool addFirmware(const FileData& firmware, AreaPlan& plan) {
    for (const FileSegment& segment : firmware.segments) {
        const QByteArrayView bytes = segmentBytes(segment);
        if (!fitsAddressSpace(segment.address, bytes.size())) {
            return false;
        }
        if (!bytes.isEmpty()) {
            plan.areas.push_back({areaLetter::firmware, segment.address, {bytes}, {}});
        }
    }
    return true;
}

bool addBackup(const BackupRecord& backup, AreaPlan& plan) {
    for (const BackupSegment& section : backup.sections) {
        if (section.offset > std::numeric_limits<std::uint32_t>::max() - backup.address) {
            return reportError("The backup section at offset 0x%08X is outside the address space", section.offset);
        }
        // The device doesn't store the nonce.
        const qsizetype stored = qsizetype{section.size} - nonceBytes(section.protection);
        if (!fitsAddressSpace(backup.address + section.offset, stored)) {
            return false;
        }
        plan.areas.push_back({areaLetter::backup, backup.address + section.offset, {section.record}, {}});
    }
    return true;
}

}  // namespace

QByteArray Preparation::pvsTbiPreparation(pvsTbiParameters parameters) {
    const auto wipeOwnSecrets = qScopeGuard([&parameters] {
        for (QByteArray* const secret : {&parameters.key, &parameters.nonce, &parameters.blob}) {
            wipeIfOwned(*secret);
        }
        for (BackupRecord& backup : parameters.backupSections) {
            wipeRecords(backup.sections);
        }
    });
    AreaImageForm form{.magic = secureImage::provisioningMagic,
                       .kind = ImageKind::provisioning,
                       .protocolVersion = secureImage::provisioningProtocol,
                       .areaHeaderSize = areaHeader::longHeaderSize,
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
    plan.areas.push_back({areaLetter::secureModule, 0, {parameters.blob}, {}});
    for (const FileData* const firmware : parameters.firmwares) {
        if (firmware != nullptr && !addFirmware(*firmware, plan)) {
            return {};
        }
    }
    for (const BackupRecord& backup : parameters.backupSections) {
        if (!addBackup(backup, plan)) {
            return {};
        }
    }
    return encryptAreas(form, plan, cipher);
}
