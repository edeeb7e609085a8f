#include "obkey/TemplateWriteBack.h"

#include "display/Display.h"
#include "files/outputFile.h"
#include "files/readExactly.h"
#include "obkey/Obkey.h"
#include "obkey/xmlText.h"

#include <QFile>

#include <array>
#include <limits>

// Values are written by text search, not through the document tree, so that the author's layout and comments stay.

namespace {

constexpr const char* lineBehindValue = "\r\n\t\t";

/// A piece of the template's text: [begin, end).
struct TextRange {
    qsizetype begin = -1;
    qsizetype end = -1;
    [[nodiscard]] qsizetype size() const { return end - begin; }
};

enum class TagKind { open, close, selfClosed };

struct Tag {
    TextRange range;
    TagKind kind = TagKind::open;
    QByteArrayView name;
};

QByteArray escapedText(const QString& text) {
    QByteArray bytes = text.toUtf8();
    return bytes.replace('&', "&amp;").replace('<', "&lt;").replace('>', "&gt;").replace('\r', "&#13;");
}

bool isSpace(char character) {
    return character == ' ' || character == '\t' || character == '\r' || character == '\n';
}

/// Finds the next tag at or behind `position`, past comments, character data and instructions.
bool nextTag(const QByteArray& bytes, qsizetype position, Tag& tag) {
    Markup markup;
    do {
        tag.range.begin = position < 0 ? -1 : bytes.indexOf('<', position);
        if (tag.range.begin < 0) {
            return false;
        }
        markup = markupAt(bytes, tag.range.begin);
        position = markup.end;
    } while (!markup.isTag);
    tag.range.end = markup.end;
    if (markup.end < 0) {
        return false;
    }
    const QByteArrayView inner = QByteArrayView(bytes).sliced(tag.range.begin + 1, tag.range.size() - 2);
    tag.kind = inner.startsWith('/') ? TagKind::close : inner.endsWith('/') ? TagKind::selfClosed : TagKind::open;
    const qsizetype nameBegin = tag.kind == TagKind::close ? 1 : 0;
    qsizetype nameEnd = nameBegin;
    while (nameEnd < inner.size() && !isSpace(inner.at(nameEnd)) && inner.at(nameEnd) != '/') {
        ++nameEnd;
    }
    tag.name = inner.sliced(nameBegin, nameEnd - nameBegin);
    return true;
}

/// The children named `name` of an element with its content at `position`.
QList<TextRange> childrenOf(const QByteArray& bytes, qsizetype position, QByteArrayView name) {
    QList<TextRange> children;
    TextRange child;
    qsizetype depth = 0;
    Tag tag;
    while (nextTag(bytes, position, tag)) {
        position = tag.range.end;
        if (tag.kind != TagKind::close && depth == 0) {
            child.begin = tag.range.begin;
        }
        if (tag.kind == TagKind::open) {
            ++depth;
            continue;
        }
        if (tag.kind == TagKind::close) {
            --depth;
        }
        if (depth < 0) {
            return children;
        }
        if (depth == 0 && tag.name == name) {
            child.end = tag.range.end;
            children.append(child);
        }
    }
    return {};
}

/// Where an element stands: its `Name` tag with its text, and the beginning of the content around that.
struct NamePlace {
    TextRange nameTag;
    qsizetype content = -1;
};

/// Finds the first element that is named `name`; its content is -1 if there is none.
NamePlace findName(const QByteArray& bytes, const QString& name) {
    const std::array wanted = {"<Name>" + name.toUtf8() + "</Name>", "<Name>" + escapedText(name) + "</Name>"};
    QList<qsizetype> contents;  // of the elements that are open, the outermost first
    Tag tag;
    for (qsizetype position = 0; nextTag(bytes, position, tag); position = tag.range.end) {
        const QByteArrayView rest = QByteArrayView(bytes).sliced(tag.range.begin);
        for (const QByteArray& text : wanted) {
            if (!contents.isEmpty() && rest.startsWith(text)) {
                return {{tag.range.begin, tag.range.begin + text.size()}, contents.constLast()};
            }
        }
        if (tag.kind == TagKind::open) {
            contents.append(tag.range.end);
        } else if (tag.kind == TagKind::close && !contents.isEmpty()) {
            contents.removeLast();
        }
    }
    return {};
}

/// A range together with the blanks and line ends in front of it.
TextRange withLeadingSpace(const QByteArray& bytes, TextRange range) {
    while (range.begin > 0 && isSpace(bytes.at(range.begin - 1))) {
        --range.begin;
    }
    return range;
}

bool readTemplate(const QString& path, QByteArray& bytes) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return false;
    }
    return readUpTo(file, std::numeric_limits<std::uint32_t>::max(), bytes);
}

}  // namespace

void setTemplateValue(const TagText& name, const TagText& value, QByteArray& bytes) {
    if (!name || !value) {
        return;
    }
    const auto [nameTag, content] = findName(bytes, *name);
    const qsizetype next = content < 0 ? -1 : bytes.indexOf('<', nameTag.end);
    if (next < 0) {
        return;
    }
    const QByteArray text = "<Value>" + escapedText(*value) + "</Value>";
    bool isWritten = false;
    const QList<TextRange> old = childrenOf(bytes, content, "Value");
    // From the last to the first, so that earlier positions stay true.
    for (qsizetype i = old.size(); i > 0; --i) {
        const TextRange& range = old[i - 1];
        if (!isWritten && range.begin < next) {
            bytes.insert(next, text + lineBehindValue);
            isWritten = true;
        }
        if (range.begin == next) {
            bytes.replace(range.begin, range.size(), text);
            isWritten = true;
        } else {
            const TextRange removed = withLeadingSpace(bytes, range);
            bytes.remove(removed.begin, removed.size());
        }
    }
    if (!isWritten) {
        bytes.insert(next, text + lineBehindValue);
    }
}

void setTemplateEnable(const TagText& name, std::uint32_t enable, QByteArray& bytes) {
    const qsizetype content = name ? findName(bytes, *name).content : -1;
    const QList<TextRange> tags = content < 0 ? QList<TextRange>() : childrenOf(bytes, content, "Enable");
    if (!tags.isEmpty()) {
        bytes.replace(tags.first().begin, tags.first().size(),
                      enable != 0 ? "<Enable>1</Enable>" : "<Enable>0</Enable>");
    }
}

void Obkey::rewriteTemplateValues() const {
    QByteArray bytes;
    if (!readTemplate(xmlPath, bytes)) {
        return;
    }
    for (const ObkeyParam& param : params) {
        setTemplateValue(param.name, param.value, bytes);
    }
    // The provisioning file stands whatever comes of its template.
    static_cast<void>(reportReplacement(
        replaceFile(xmlPath, bytes), xmlPath,
        {"Fail OBkey XML Generation The File %s is already Opened \n", " OBKey XML Generation Failed %s \n"}));
}

bool Obkey::saveConfiguration() const {
    QByteArray bytes;
    if (configs.isEmpty() || !readTemplate(configs.last().xmlPath, bytes)) {
        return false;
    }
    const McubootConfig& config = configs.last();
    for (const McubootParam& param : config.params) {
        if (param.kind == QLatin1String("Output")) {
            setTemplateValue(param.outputName, param.outputValue, bytes);
            continue;
        }
        setTemplateValue(param.name, param.value, bytes);
        if (param.enable != 2) {
            setTemplateEnable(param.name, param.enable, bytes);
        }
    }
    return reportReplacement(
        replaceFile(config.xmlPath, bytes), config.xmlPath,
        {"Save Configuration File Failed %s is already Opened \n", " Save Configuration XML File Failed %s \n"});
}
