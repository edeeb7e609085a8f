#include "obkey/templateWriteBack.h"

#include "display/Display.h"
#include "files/outputFile.h"
#include "files/readWhole.h"
#include "files/wipe.h"
#include "obkey/TemplateDocument.h"
#include "obkey/xmlText.h"

#include <QBitArray>
#include <QFile>
#include <QFileInfo>
#include <QHash>

#include <algorithm>
#include <limits>

namespace obkey {

// Values are written into the text, not through the document tree, so that the author's layout and comments stay. One
// pass over the tags finds every element that receives a value and collects the edits. Then the edits are applied.

namespace {

constexpr const char* lineAfterValue = "\r\n\t\t";

QByteArray escapedText(const QString& text) {
    QByteArray bytes;
    for (const char character : text.toUtf8()) {
        appendEscaped(character, bytes);
    }
    return bytes;
}

bool isXmlSpace(char character) {
    return character == ' ' || character == '\t' || character == '\r' || character == '\n';
}

/// A range of the text and the bytes that replace it.
struct Edit {
    TextRange range;
    QByteArray text;
};

/// An element that is open at the current position of the pass.
struct OpenElement {
    qsizetype begin = -1;  ///< offset of its opening tag
    QByteArrayView name;
    QList<TextRange> valueTags;  ///< its `Value` children
    TextRange enableTag;         ///< the first `Enable` child
    qsizetype valuePlace = -1;   ///< the first "<" after the `Name` tag with the wanted name
    const QString* value = nullptr;
    std::uint32_t enable = enableUnchanged;
};

/// The values, indexed by the bytes of their names.
class WantedNames {
  public:
    explicit WantedNames(const QList<TemplateValue>& values) : values_(values) {
        for (qsizetype i = 0; i < values.size(); ++i) {
            if (!values[i].name) {
                continue;
            }
            // A template may contain a name with or without escapes.
            const QByteArray plain = values[i].name->toUtf8();
            const QByteArray escaped = escapedText(*values[i].name);
            waiting_[plain].append(i);
            if (escaped != plain) {
                waiting_[escaped].append(i);
            }
            longest_ = std::max({longest_, plain.size(), escaped.size()});
        }
        isPlaced_.resize(values.size());
    }

    /// Assigns the wanted value to `element`, which contains `nameTag`. Only the first occurrence of a name receives
    /// its value. If several values have this name, the last one counts.
    void place(const QByteArray& bytes, TextRange nameTag, OpenElement& element) {
        constexpr QByteArrayView closing("</Name>");
        const QByteArrayView rest = QByteArrayView(bytes).sliced(nameTag.end);
        const qsizetype length = rest.first(std::min(longest_ + closing.size(), rest.size())).indexOf(closing);
        const qsizetype next = length < 0 ? -1 : bytes.indexOf('<', nameTag.end + length + closing.size());
        if (next < 0) {
            return;
        }
        for (const qsizetype i : waiting_.take(rest.first(length).toByteArray())) {
            if (isPlaced_.testBit(i)) {
                continue;
            }
            isPlaced_.setBit(i);
            if (values_[i].value) {
                element.value = &*values_[i].value;
                element.valuePlace = next;
            }
            if (values_[i].enable != enableUnchanged) {
                element.enable = values_[i].enable;
            }
        }
    }

  private:
    const QList<TemplateValue>& values_;
    QHash<QByteArray, QList<qsizetype>> waiting_;
    QBitArray isPlaced_;
    qsizetype longest_ = 0;
};

/// A range with the blanks and line ends before it.
TextRange withLeadingSpace(const QByteArray& bytes, TextRange range) {
    while (range.begin > 0 && isXmlSpace(bytes.at(range.begin - 1))) {
        --range.begin;
    }
    return range;
}

/// Adds the edits of an element. All of its children are known.
void closeElement(const QByteArray& bytes, const OpenElement& element, QList<Edit>& edits) {
    if (element.value != nullptr) {
        QByteArray text = "<Value>" + escapedText(*element.value) + "</Value>";
        bool isReplaced = false;
        for (const TextRange& range : element.valueTags) {
            const bool isInPlace = range.begin == element.valuePlace;
            isReplaced = isReplaced || isInPlace;
            edits.append({isInPlace ? range : withLeadingSpace(bytes, range), isInPlace ? text : QByteArray()});
        }
        if (!isReplaced) {
            edits.append({{element.valuePlace, element.valuePlace}, text.append(lineAfterValue)});
        }
    }
    if (element.enable != enableUnchanged && element.enableTag.begin >= 0) {
        edits.append({element.enableTag, element.enable != 0 ? "<Enable>1</Enable>" : "<Enable>0</Enable>"});
    }
}

/// Adds a complete child to `parent`.
void addChild(QByteArrayView name, TextRange range, OpenElement& parent) {
    if (name == "Value") {
        parent.valueTags.append(range);
    } else if (name == "Enable" && parent.enableTag.begin < 0) {
        parent.enableTag = range;
    }
}

QList<Edit> findEdits(const QByteArray& bytes, const QList<TemplateValue>& values) {
    WantedNames wanted(values);
    QList<Edit> edits;
    QList<OpenElement> open(1);  // the document itself, then the open elements from the outermost on
    Tag tag;
    for (qsizetype position = 0; nextTag(bytes, position, tag); position = tag.range.end) {
        if (tag.kind == TagKind::selfClosed) {
            addChild(tag.name, tag.range, open.last());
        } else if (tag.kind == TagKind::open) {
            if (tag.range.size() == 6 && tag.name == "Name" && open.size() > 1) {
                wanted.place(bytes, tag.range, open.last());
            }
            OpenElement element;
            element.begin = tag.range.begin;
            element.name = tag.name;
            open.append(element);
        } else if (open.size() > 1) {
            const OpenElement closed = open.takeLast();
            closeElement(bytes, closed, edits);
            addChild(closed.name, {closed.begin, tag.range.end}, open.last());
        }
    }
    return edits;
}

QByteArray editedText(const QByteArray& bytes, QList<Edit> edits) {
    std::stable_sort(edits.begin(), edits.end(),
                     [](const Edit& left, const Edit& right) { return left.range.begin < right.range.begin; });
    QByteArray edited;
    qsizetype position = 0;
    for (const Edit& edit : edits) {
        if (edit.range.begin < position) {
            continue;  // inside a range that was already replaced
        }
        edited.append(QByteArrayView(bytes).sliced(position, edit.range.begin - position)).append(edit.text);
        position = edit.range.end;
    }
    return edited.append(QByteArrayView(bytes).sliced(position));
}

bool readTemplate(const QString& path, QByteArray& bytes) {
    QFile file(path);
    // A template from a pipe can't be written back, and opening the pipe again may block forever.
    if (!QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        return false;
    }
    return readUpTo(file, std::numeric_limits<std::uint32_t>::max(), bytes);
}

}  // namespace

void setTemplateValues(const QList<TemplateValue>& values, QByteArray& bytes) {
    bytes = editedText(bytes, findEdits(bytes, values));
}

void rewriteTemplateValues(const QList<ObkeyParam>& params, const PasswordMask& passwords, const QString& xmlPath) {
    QByteArray older;
    const WipeOnExit wipeOlder(older);
    if (!readTemplate(xmlPath, older)) {
        return;
    }
    PasswordMask now;
    QByteArray masked = now.mask(older);
    QList<TemplateValue> values;
    for (const ObkeyParam& param : params) {
        TagText value = param.value;
        if (value && passwords.isMark(*value)) {
            QByteArray password = passwords.passwordOf(*value);
            const WipeOnExit wipePassword(password);
            value = now.markFor(password);
        }
        values.append({param.name, value});
    }
    setTemplateValues(values, masked);
    QByteArray bytes = now.unmask(masked);
    const WipeOnExit wipeBytes(bytes);
    // The next run has to accept the new template.
    if (!validateTemplateText(bytes)) {
        return;
    }
    // The provisioning file is already written, so a failure here doesn't change the result.
    static_cast<void>(reportReplacement(
        replaceFile(xmlPath, bytes), xmlPath,
        {"Fail OBkey XML Generation The File %s is already Opened \n", " OBKey XML Generation Failed %s \n"}));
}

bool saveConfiguration(const McubootConfig& config) {
    QByteArray bytes;
    if (!readTemplate(config.xmlPath, bytes)) {
        return false;
    }
    QList<TemplateValue> values;
    for (const McubootParam& param : config.params) {
        const bool isOutput = param.kind == QLatin1String("Output");
        values.append(isOutput ? TemplateValue{param.outputName, param.outputValue}
                               : TemplateValue{param.name, param.value, param.enable});
    }
    setTemplateValues(values, bytes);
    return validateTemplateText(bytes) && reportReplacement(replaceFile(config.xmlPath, bytes), config.xmlPath,
                                                            {"Save Configuration File Failed %s is already Opened \n",
                                                             " Save Configuration XML File Failed %s \n"});
}

}  // namespace obkey
