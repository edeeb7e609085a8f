#include "obkey/Obkey.h"

#include <QCoreApplication>

#include <utility>

Obkey::Obkey()
    : imgtoolPath(QCoreApplication::applicationDirPath() + QStringLiteral("/Utilities/Windows/imgtool.exe")) {
}

void Obkey::startObkeyJob(const QString& templatePath) {
    for (QStringList* tags : {&infoTags, &textTags, &permissionTags, &outputTags, &dataTags, &listTags, &boolTags,
                              &fileTags, &flashTags, &obkTags, &authObkTags}) {
        tags->clear();
    }
    for (QList<QStringList>* tagLists : {&dataTagLists, &listTagLists, &boolTagLists, &fileTagLists}) {
        tagLists->clear();
    }
    for (QList<SlotRecord>* slotList : {&flashSlots, &executionSlots, &downloadSlots, &obkSlots}) {
        slotList->clear();
    }
    flashRanges.clear();
    params.clear();
    info = ObkeyInfo();
    xmlPath = templatePath;
    xmlFolder.clear();
    daMode = false;
    rawOutput = false;
}

void Obkey::startImageJob() {
    if (!configs.isEmpty()) {
        configs.last() = McubootConfig();
    }
}

void Obkey::addImageConfig(const QString& templatePath) {
    readConfig.xmlPath = templatePath;
    configs.append(std::exchange(readConfig, McubootConfig()));
}
