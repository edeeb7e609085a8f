#include "obkey/tagChecks.h"

#include "display/Display.h"

#include <QHash>

#include <algorithm>
#include <initializer_list>

namespace obkey {

namespace {

/// The first entry that occurs again later in the list; null if all entries differ.
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
    return std::all_of(tagLists.begin(), tagLists.end(),
                       [&](const QStringList& tags) { return hasTags(element, tags, mandatory); });
}

bool reportMissingGlobalParam() {
    return reportError(
        "XML document is invalid : Mandatory Tags under GlobalParam are missing, please update your xml file.");
}

/// Checks the lists of all elements of one kind.
bool checkGroup(const char* duplicateGroup, const QList<QStringList>& tagLists) {
    return std::all_of(tagLists.begin(), tagLists.end(),
                       [&](const QStringList& tags) { return checkTagList(tags, duplicateGroup); });
}

}  // namespace

bool checkTagList(const QStringList& tags, const char* duplicateGroup) {
    const QString* const repeated = firstRepeated(tags);
    if (repeated == nullptr) {
        return true;
    }
    if (tags.contains(nameTagMarker)) {
        return reportError("XML document is invalid! \"%s\" Element is duplicated under %s tag.",
                           qUtf8Printable(*repeated), duplicateGroup);
    }
    return reportError(" Duplicate name of : \"%s\", all names should be unique. Please update your xml file.",
                       qUtf8Printable(*repeated));
}

bool checkDuplicateTags(const ObdataTags& tags) {
    if (tags.infoTags.isEmpty()) {
        return reportMissingTag("Info", "GlobalAlign");
    }
    if (!checkTagList(tags.infoTags, "Info") || !checkTagList(tags.textTags, "Text") ||
        !checkGroup("List", tags.listTagLists) || !checkGroup("Bool", tags.boolTagLists) ||
        !checkGroup("Data", tags.dataTagLists) || !checkGroup("File", tags.fileTagLists) ||
        !checkTagList(tags.permissionTags, "Permission")) {
        return false;
    }
    return tags.outputTags.isEmpty() ? reportMissingTag("Output", "Default") : checkTagList(tags.outputTags, "Output");
}

bool checkMandatoryTags(const ObdataTags& tags) {
    return hasTags("Info", tags.infoTags, {"GlobalAlign"}) &&
           (tags.textTags.isEmpty() || hasTags("Text", tags.textTags, {"Width", "MinWidth", "Default"})) &&
           allHaveTags("Data", tags.dataTagLists, {"Width", "Default"}) &&
           allHaveTags("List", tags.listTagLists, {"Width", "Default"}) &&
           allHaveTags("Bool", tags.boolTagLists, {"Width", "Default", "True", "False"}) &&
           allHaveTags("File", tags.fileTagLists, {"Align", "KeyType", "Default"}) &&
           (tags.permissionTags.isEmpty() || hasTags("Permission", tags.permissionTags, {"Width", "Default"})) &&
           hasTags("Output", tags.outputTags, {"Default"});
}

bool checkDuplicateTags(const McubootTags& tags) {
    if (tags.globalParamTags.isEmpty()) {
        return reportMissingGlobalParam();
    }
    if (!checkTagList(tags.globalParamTags, "GlobalParam") || !checkGroup("Param", tags.paramTagLists)) {
        return false;
    }
    return tags.outputTags.isEmpty() ? reportMissingTag("Output", "Default") : checkTagList(tags.outputTags, "Output");
}

bool checkMandatoryTags(const McubootTags& tags) {
    if (tags.globalParamTags.isEmpty()) {
        return reportMissingGlobalParam();
    }
    return hasTags("GlobalParam", tags.globalParamTags, {"Title", "Command"}) &&
           allHaveTags("Param", tags.paramTagLists, {"Type", "Default"}) &&
           hasTags("Output", tags.outputTags, {"Default"});
}

}  // namespace obkey
