#include "obkey/TemplateWriteBack.h"

#include "display/Display.h"
#include "files/outputFile.h"
#include "obkey/Obkey.h"

#include <QFile>

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

/// Finds the next tag at or behind `position`, past comments and character data.
bool nextTag(const QByteArray& bytes, qsizetype position, Tag& tag) {
    qsizetype begin = bytes.indexOf('<', position);
    while (begin >= 0) {
        const QByteArrayView rest = QByteArrayView(bytes).sliced(begin);
        const char* const passed = rest.startsWith("<!--")        ? "-->"
                                   : rest.startsWith("<![CDATA[") ? "]]>"
                                   : rest.startsWith("<?")        ? "?>"
                                                                  : nullptr;
        if (passed == nullptr) {
            break;
        }
        const qsizetype end = bytes.indexOf(passed, begin + (*passed == '?' ? 2 : 4));  // "<!-->" only begins one
        begin = end < 0 ? -1 : bytes.indexOf('<', end);
    }
    const qsizetype close = begin < 0 ? -1 : bytes.indexOf('>', begin);
    if (close < 0) {
        return false;
    }
    tag.range = {begin, close + 1};
    const QByteArrayView inner = QByteArrayView(bytes).sliced(begin + 1, close - begin - 1);
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

/// Where the content of the element begins that the tag at `position` is a child of; -1 if there is none.
qsizetype contentAround(const QByteArray& bytes, qsizetype position) {
    qsizetype depth = 0;
    while (position > 0) {
        const qsizetype end = bytes.lastIndexOf('>', position - 1);
        if (end < 0) {
            return -1;
        }
        const QByteArrayView before = QByteArrayView(bytes).first(end + 1);
        const char* const opening = before.endsWith("-->")   ? "<!--"
                                    : before.endsWith("]]>") ? "<![CDATA["
                                    : before.endsWith("?>")  ? "<?"
                                                             : "<";
        position = bytes.lastIndexOf(opening, end);
        Tag tag;
        if (qstrlen(opening) > 1 || position < 0 || !nextTag(bytes, position, tag) || tag.range.begin != position ||
            tag.kind == TagKind::selfClosed) {
            continue;
        }
        if (tag.kind == TagKind::open && depth-- == 0) {
            return tag.range.end;
        }
        if (tag.kind == TagKind::close) {
            ++depth;
        }
    }
    return -1;
}

/// Where the comment around `position` ends; -1 if there is none that ends.
qsizetype endOfComment(const QByteArray& bytes, qsizetype position) {
    const qsizetype begin = bytes.lastIndexOf("<!--", position);
    const qsizetype end = begin < 0 ? begin : bytes.indexOf("-->", begin);
    return end > position ? end : -1;
}

/// The first tag that gives `name`, past comments; without a begin if there is none.
TextRange findNameTag(const QByteArray& bytes, const QByteArray& name) {
    const QByteArray wanted = "<Name>" + name + "</Name>";
    qsizetype position = bytes.indexOf(wanted);
    while (position >= 0) {
        const qsizetype end = endOfComment(bytes, position);
        if (end < 0) {
            break;
        }
        position = bytes.indexOf(wanted, end);
    }
    return {position, position + wanted.size()};
}

TextRange findNameTag(const QByteArray& bytes, const QString& name) {
    const TextRange plain = findNameTag(bytes, name.toUtf8());
    return plain.begin >= 0 ? plain : findNameTag(bytes, escapedText(name));
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
    bytes = file.readAll();
    return bytes.size() == file.size();
}

}  // namespace

void setTemplateValue(const QString& name, const TagText& value, QByteArray& bytes) {
    const TextRange nameTag = findNameTag(bytes, name);
    const qsizetype next = nameTag.begin < 0 ? -1 : bytes.indexOf('<', nameTag.end);
    const qsizetype content = next < 0 ? -1 : contentAround(bytes, nameTag.begin);
    if (content < 0 || !value) {
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

void setTemplateEnable(const QString& name, std::uint32_t enable, QByteArray& bytes) {
    const TextRange nameTag = findNameTag(bytes, name);
    const qsizetype content = nameTag.begin < 0 ? -1 : contentAround(bytes, nameTag.begin);
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
        setTemplateValue(param.name.value_or(QString()), param.value, bytes);
    }
    switch (replaceFile(xmlPath, bytes)) {
        case ReplaceResult::done:
            return;
        case ReplaceResult::cannotOpen:
            static_cast<void>(
                reportError("Fail OBkey XML Generation The File %s is already Opened \n", qUtf8Printable(xmlPath)));
            return;
        case ReplaceResult::cannotWrite:
            static_cast<void>(reportError(" OBKey XML Generation Failed %s \n", qUtf8Printable(xmlPath)));
    }
}

bool Obkey::saveConfiguration() const {
    QByteArray bytes;
    if (configs.isEmpty() || !readTemplate(configs.last().xmlPath, bytes)) {
        return false;
    }
    const McubootConfig& config = configs.last();
    for (const McubootParam& param : config.params) {
        if (param.kind == QLatin1String("Output")) {
            setTemplateValue(param.outputName.value_or(QString()), param.outputValue, bytes);
            continue;
        }
        const QString name = param.name.value_or(QString());
        setTemplateValue(name, param.value, bytes);
        if (param.enable != 2) {
            setTemplateEnable(name, param.enable, bytes);
        }
    }
    switch (replaceFile(config.xmlPath, bytes)) {
        case ReplaceResult::done:
            return true;
        case ReplaceResult::cannotOpen:
            return reportError("Save Configuration File Failed %s is already Opened \n",
                               qUtf8Printable(config.xmlPath));
        case ReplaceResult::cannotWrite:
            break;
    }
    return reportError(" Save Configuration XML File Failed %s \n", qUtf8Printable(config.xmlPath));
}
