#include "obkey/Obkey.h"

#include "display/Display.h"

#include <QHash>

#include <initializer_list>

namespace {

/// The first entry that has an equal one behind it; null if all differ.
const QString* firstRepeated(const QStringList& list) {
    QHash<QString, int> counts;
    for (const QString& entry : list) {
        ++counts[entry];
    }
    for (const QString& entry : list) {
        if (counts.value(entry) > 1) {
            return &entry;
        }
    }
    return nullptr;
}

bool reportMissingTag(const char* element, const char* tag) {
    return reportError(
        "XML document is invalid : Mandatory Tag under %s is missing :\"%s\", please update your xml file.", element,
        tag);
}

bool hasTags(const char* element, const QStringList& tags, std::initializer_list<const char*> mandatory) {
    for (const char* const tag : mandatory) {
        if (!tags.contains(QLatin1String(tag))) {
            return reportMissingTag(element, tag);
        }
    }
    return true;
}

bool allHaveTags(const char* element, const QList<QStringList>& tagLists,
                 std::initializer_list<const char*> mandatory) {
    for (const QStringList& tags : tagLists) {
        if (!hasTags(element, tags, mandatory)) {
            return false;
        }
    }
    return true;
}

bool reportMissingGlobalParam() {
    return reportError(
        "XML document is invalid : Mandatory Tags under GlobalParam are missing, please update your xml file.");
}

/// Checks the lists of all elements of one kind.
bool checkGroup(Obkey& engine, const char* element, const QList<QStringList>& tagLists) {
    engine.duplicateGroup = QLatin1String(element);
    for (const QStringList& tags : tagLists) {
        if (!engine.checkTagList(tags)) {
            return false;
        }
    }
    return true;
}

}  // namespace

bool Obkey::checkTagList(const QStringList& tags) const {
    const QString* const repeated = firstRepeated(tags);
    if (repeated == nullptr) {
        return true;
    }
    if (tags.contains(nameTagMarker)) {
        return reportError("XML document is invalid! \"%s\" Element is duplicated under %s tag.",
                           qUtf8Printable(*repeated), qUtf8Printable(duplicateGroup));
    }
    return reportError(" Duplicate name of : \"%s\", all names should be unique. Please update your xml file.",
                       qUtf8Printable(*repeated));
}

bool Obkey::checkDuplicateTags() {
    if (infoTags.isEmpty()) {
        return reportMissingTag("Info", "GlobalAlign");
    }
    if (!checkGroup(*this, "Info", {infoTags}) || !checkGroup(*this, "Text", {textTags}) ||
        !checkGroup(*this, "List", listTagLists) || !checkGroup(*this, "Bool", boolTagLists) ||
        !checkGroup(*this, "Data", dataTagLists) || !checkGroup(*this, "File", fileTagLists) ||
        !checkGroup(*this, "Permission", {permissionTags})) {
        return false;
    }
    if (outputTags.isEmpty()) {
        return reportMissingTag("Output", "Default");
    }
    if (!checkGroup(*this, "Output", {outputTags})) {
        return false;
    }
    duplicateGroup.clear();
    return true;
}

bool Obkey::checkMandatoryTags() const {
    return hasTags("Info", infoTags, {"GlobalAlign"}) &&
           (textTags.isEmpty() || hasTags("Text", textTags, {"Width", "MinWidth", "Default"})) &&
           allHaveTags("Data", dataTagLists, {"Width", "Default"}) &&
           allHaveTags("List", listTagLists, {"Width", "Default"}) &&
           allHaveTags("Bool", boolTagLists, {"Width", "Default", "True", "False"}) &&
           allHaveTags("File", fileTagLists, {"Align", "KeyType", "Default"}) &&
           (permissionTags.isEmpty() || hasTags("Permission", permissionTags, {"Width", "Default"})) &&
           hasTags("Output", outputTags, {"Default"});
}

bool Obkey::checkMcubootDuplicateTags() {
    if (globalParamTags.isEmpty()) {
        return reportMissingGlobalParam();
    }
    if (!checkGroup(*this, "GlobalParam", {globalParamTags}) || !checkGroup(*this, "Param", paramTagLists)) {
        return false;
    }
    if (mcubootOutputTags.isEmpty()) {
        return reportMissingTag("Output", "Default");
    }
    if (!checkGroup(*this, "Output", {mcubootOutputTags})) {
        return false;
    }
    duplicateGroup.clear();
    return true;
}

bool Obkey::checkMcubootMandatoryTags() const {
    if (globalParamTags.isEmpty()) {
        return reportMissingGlobalParam();
    }
    return hasTags("GlobalParam", globalParamTags, {"Title", "Command"}) &&
           allHaveTags("Param", paramTagLists, {"Type", "Default"}) &&
           hasTags("Output", mcubootOutputTags, {"Default"});
}
