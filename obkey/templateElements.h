#pragma once

#include "obkey/ObdataTemplate.h"

#include <QDomElement>
#include <QString>

#include <algorithm>
#include <span>
#include <type_traits>

namespace obkey {

/// The text of a tag: its first child node that isn't a comment. Empty if this node isn't text.
[[nodiscard]] inline QString tagText(const QDomElement& tag) {
    QDomNode child = tag.firstChild();
    while (child.isComment()) {
        child = child.nextSibling();
    }
    return child.isText() ? child.nodeValue() : QString();
}

/// The entry of a tag in the tag list of its element. `none`: no entry, because the element may contain the tag more
/// than once. `asItself`: the tag's own name. `asName`: `nameTagMarker`, for the tag that names the element.
enum class Listing { none, asItself, asName };

/// One tag of an element and the function that stores its text. If `store` returns false, reading ends.
template <typename Record>
struct TagRule {
    QLatin1String tag;
    Listing listing;
    bool (*store)(Record& record, const QString& text);
};

/// The rules of one kind of element.
template <typename Record>
using TagRules = std::span<const TagRule<Record>>;

/// Reads one tag of an element. Skips a tag without a rule.
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

/// Reads the tags of an element. Returns false if one of them ends the reading.
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

}  // namespace obkey
