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

// Values are written into the text, not through the document tree, so that the author's layout and comments stay. One
// walk over the tags finds every element that gets a value and notes what changes; then the new text is put together.

namespace {

constexpr const char* lineBehindValue = "\r\n\t\t";

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

/// A piece of the text that is replaced by another one.
struct Edit {
    TextRange range;
    QByteArray text;
};

/// An element that is open where the walk stands.
struct OpenElement {
    qsizetype begin = -1;  ///< of its opening tag
    QByteArrayView name;
    QList<TextRange> valueTags;  ///< its `Value` children
    TextRange enableTag;         ///< the first `Enable` child
    qsizetype valuePlace = -1;   ///< the first "<" behind the `Name` tag that was looked for
    const QString* value = nullptr;
    std::uint32_t enable = enableUnchanged;
};

/// The values by the bytes of the name that they are looked for under.
class WantedNames {
  public:
    explicit WantedNames(const QList<TemplateValue>& values) : values_(values) {
        for (qsizetype i = 0; i < values.size(); ++i) {
            if (!values[i].name) {
                continue;
            }
            // Most characters may stand in a text as they are or escaped.
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

    /// Gives the element that the `Name` tag at `begin` belongs to what is to stand in it. A name counts where it
    /// stands first; of several values for one element, the last one does.
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

/// A range together with the blanks and line ends in front of it.
TextRange withLeadingSpace(const QByteArray& bytes, TextRange range) {
    while (range.begin > 0 && isXmlSpace(bytes.at(range.begin - 1))) {
        --range.begin;
    }
    return range;
}

/// What changes in an element, now that all of its children are known.
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
            edits.append({{element.valuePlace, element.valuePlace}, text.append(lineBehindValue)});
        }
    }
    if (element.enable != enableUnchanged && element.enableTag.begin >= 0) {
        edits.append({element.enableTag, element.enable != 0 ? "<Enable>1</Enable>" : "<Enable>0</Enable>"});
    }
}

/// Tells `parent` of a child that has come to its end.
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
    QList<OpenElement> open(1);  // the document, then the outermost element
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
            continue;  // inside something that was taken out
        }
        edited.append(QByteArrayView(bytes).sliced(position, edit.range.begin - position)).append(edit.text);
        position = edit.range.end;
    }
    return edited.append(QByteArrayView(bytes).sliced(position));
}

bool readTemplate(const QString& path, QByteArray& bytes) {
    QFile file(path);
    // What came through a pipe can't be written back, and to open one again may take forever.
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
    // The next run has to accept what this one leaves.
    if (!validateTemplateText(bytes)) {
        return;
    }
    // The provisioning file stands whatever comes of its template.
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
