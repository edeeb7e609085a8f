#pragma once

#include "obkey/ObdataTemplate.h"

#include <QList>

namespace obkey {

/// One element of a `McubootFormat` template other than `GlobalParam`: an option of imgtool and its value.
struct McubootParam {
    QString kind;  ///< "Output", or for a `Param` its `Type`: "File", "Data", "Dependency" or any other word
    TagText name;
    TagText command;           ///< the imgtool option before the value
    std::uint32_t enable = 2;  ///< 0 or 1 as in the template; 2 without an `Enable` tag
    bool hidden = false;
    TagText defaultValue;
    TagText value;
    std::uint8_t linkIndex = 0;
    TagText link;
    TagText tooltip;
    TagText outputName;
    TagText outputDefault;
    TagText outputValue;
};

/// A template that a `McubootFormat` template reads values from.
struct LinkedXmlEntry {
    std::uint8_t index = 0;
    QString path;
};

/// The tags that were read, in document order. Tags that an element may contain more than once aren't listed.
struct McubootTags {
    QStringList globalParamTags;
    QStringList outputTags;            ///< of all `Output` elements
    QList<QStringList> paramTagLists;  ///< one list for each `Param` element
};

/// A `McubootFormat` template as it was read.
struct McubootTemplate {
    QList<McubootParam> params;  ///< in document order
    TagText title;
    TagText command;  ///< the imgtool subcommand
    QList<LinkedXmlEntry> linkedTemplates;
    McubootTags tags;
};

/// One image to make: the content of a `McubootFormat` template and its path.
struct McubootConfig {
    QList<McubootParam> params;
    TagText title;
    QString xmlFolder;  ///< the folder of `xmlPath`; empty until a step needs it
    QString xmlPath;
    QList<LinkedXmlEntry> linkedTemplates;
    TagText command;
    /// The first two characters of the text of the last hidden `Dependency` without a link. No effect on any output.
    QString dependencyPrefix;
};

}  // namespace obkey
