#pragma once

#include <QDomElement>
#include <QString>

/// The text of a tag: that of its first child node past comments; empty if that is no text.
[[nodiscard]] inline QString tagText(const QDomElement& tag) {
    QDomNode child = tag.firstChild();
    while (child.isComment()) {
        child = child.nextSibling();
    }
    return child.isText() ? child.nodeValue() : QString();
}
