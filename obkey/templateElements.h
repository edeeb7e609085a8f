#pragma once

#include "obkey/ObdataTemplate.h"

#include <QDomElement>
#include <QString>

#include <algorithm>
#include <span>
#include <type_traits>

/// The text of a tag: that of its first child node past comments; empty if that is no text.
[[nodiscard]] inline QString tagText(const QDomElement& tag) {
    QDomNode child = tag.firstChild();
    while (child.isComment()) {
        child = child.nextSibling();
    }
    return child.isText() ? child.nodeValue() : QString();
}

/// How a tag enters the tag list of its element: not at all, if it may stand twice; or as the tag that names the
/// element.
enum class Listing { none, asItself, asName };

/// One tag of an element and how its text is stored. `store` gives false for a text that ends the reading.
template <typename Record>
struct TagRule {
    QLatin1String tag;
    Listing listing;
    bool (*store)(Record& record, const QString& text);
};

/// The rules of one kind of element.
template <typename Record>
using TagRules = std::span<const TagRule<Record>>;

/// Reads one tag of an element. One that the rules don't know is passed over.
template <typename Record>
[[nodiscard]] bool readTag(const QDomElement& tag, std::type_identity_t<TagRules<Record>> rules, Record& record,
                           QStringList& tags) {
    const auto rule = std::find_if(rules.begin(), rules.end(),
                                   [&tag](const TagRule<Record>& candidate) { return candidate.tag == tag.tagName(); });
    if (rule == rules.end()) {
        return true;
    }
    if (rule->listing != Listing::none) {
        tags.append(rule->listing == Listing::asName ? nameTagMarker : rule->tag);
    }
    return rule->store(record, tagText(tag));
}

/// Reads all tags of an element, as far as none of them ends the reading.
template <typename Record>
[[nodiscard]] bool readTags(const QDomElement& element, std::type_identity_t<TagRules<Record>> rules, Record& record,
                            QStringList& tags) {
    for (QDomElement tag = element.firstChildElement(); !tag.isNull(); tag = tag.nextSiblingElement()) {
        if (!readTag(tag, rules, record, tags)) {
            return false;
        }
    }
    return true;
}
