#include "desktop/inspector/InspectTree.h"

#include "inspect/formats.h"
#include "inspect/words.h"

#include <QFileInfo>

#include <algorithm>

namespace desktop {

namespace {

/// The worse of two states.
Sign worse(Sign a, Sign b) {
    const auto rank = [](Sign sign) {
        return sign == Sign::bad ? 3 : sign == Sign::unknown ? 2 : sign == Sign::good ? 1 : 0;
    };
    return rank(a) < rank(b) ? b : a;
}

Sign signOf(const inspect::Check& check) {
    switch (check.result) {
        case inspect::CheckResult::good:
            return inspect::rowOf(check.code).proof == inspect::Proof::structure ? Sign::none : Sign::good;
        case inspect::CheckResult::bad:
            return Sign::bad;
        case inspect::CheckResult::unchecked:
            break;
    }
    return check.needed ? Sign::unknown : Sign::none;
}

Sign signOf(const inspect::Finding& finding) {
    return inspect::rowOf(finding.code).severity == inspect::Severity::error ? Sign::bad : Sign::note;
}

/// The states of the parts by number; index 0 is the state of everything that belongs to no part.
std::vector<Sign> partSigns(const inspect::Description& description) {
    std::vector<Sign> signs(description.parts.size() + 1, Sign::none);
    const auto note = [&signs](int part, Sign sign) {
        Sign& state =
            signs[part > 0 && static_cast<std::size_t>(part) < signs.size() ? static_cast<std::size_t>(part) : 0];
        state = worse(state, sign);
    };
    for (const inspect::Check& check : description.checks) {
        note(check.part, signOf(check));
    }
    for (const inspect::Finding& finding : description.findings) {
        if (signOf(finding) == Sign::bad) {
            note(finding.part, Sign::bad);
        }
    }
    return signs;
}

/// Whether a file in a content has a fault; it needs no proof of its own.
Sign innerSign(const inspect::Description& description) {
    const bool isWrong = inspect::judge(description).bad > 0 || inspect::hasErrors(description);
    return isWrong ? Sign::bad : Sign::none;
}

Sign fileSign(const inspect::Description& description) {
    switch (inspect::judge(description).verdict) {
        case inspect::Verdict::proven:
            return Sign::good;
        case inspect::Verdict::wrong:
            return Sign::bad;
        case inspect::Verdict::undecided:
            break;
    }
    return Sign::unknown;
}

/// The indices of a list's items, sorted by their part. An item of a part that doesn't exist counts as part 0.
template <typename Item>
std::vector<std::pair<int, std::size_t>> byPart(const std::vector<Item>& items, std::size_t parts) {
    std::vector<std::pair<int, std::size_t>> sorted;
    sorted.reserve(items.size());
    for (std::size_t i = 0; i < items.size(); ++i) {
        const bool isThere = items[i].part > 0 && static_cast<std::size_t>(items[i].part) <= parts;
        sorted.emplace_back(isThere ? items[i].part : 0, i);
    }
    std::stable_sort(sorted.begin(), sorted.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    return sorted;
}

/// Calls `add` for each item of one part and moves `next` after them. The caller passes the parts in rising order.
template <typename Add>
void takePart(const std::vector<std::pair<int, std::size_t>>& sorted, std::size_t& next, int part, Add add) {
    for (; next < sorted.size() && sorted[next].first == part; ++next) {
        add(sorted[next].second);
    }
}

QString titleOf(const inspect::Description& description) {
    return description.format == nullptr ? InspectTree::tr("no known format")
                                         : QString::fromLatin1(description.format->title);
}

/// The protection of a range's bytes as text.
QString coverText(inspect::Cover cover) {
    switch (cover) {
        case inspect::Cover::structure:
            return InspectTree::tr("protected by the format's rules");
        case inspect::Cover::digest:
            return InspectTree::tr("protected by a digest");
        case inspect::Cover::signature:
            return InspectTree::tr("protected by the signature");
        case inspect::Cover::tag:
            return InspectTree::tr("protected by a tag");
        case inspect::Cover::comparison:
            return InspectTree::tr("known by comparison");
        case inspect::Cover::none:
            break;
    }
    return InspectTree::tr("nothing protects it");
}

QString rangeText(const inspect::Range& range) {
    switch (range.role) {
        case inspect::Role::header:
            return InspectTree::tr("header");
        case inspect::Role::tag:
            return range.cover == inspect::Cover::signature ? InspectTree::tr("signature")
                   : range.cover == inspect::Cover::digest  ? InspectTree::tr("digest")
                                                            : InspectTree::tr("tag");
        case inspect::Role::payload:
            return InspectTree::tr("content");
        case inspect::Role::unused:
            return InspectTree::tr("unused bytes");
        case inspect::Role::unread:
            break;
    }
    return InspectTree::tr("unread bytes");
}

}  // namespace

InspectTree::InspectTree(const inspect::Description& description) {
    lines_.emplace_back();
    lines_.front().parent = -1;
    lines_.front().firstChild = 1;
    InspectLine file;
    file.description = &description;
    file.offset = description.offset;
    file.size = description.size;
    file.sign = fileSign(description);
    add(0, file);
    // `addChildren` appends to the list during this loop, so the loop also reaches the new lines.
    for (std::size_t i = 1; i < lines_.size(); ++i) {
        if (lines_[i].kind == InspectLineKind::file) {
            addChildren(static_cast<int>(i));
        } else if (lines_[i].kind == InspectLineKind::content) {
            addContent(static_cast<int>(i));
        } else if (lines_[i].kind == InspectLineKind::contentRow) {
            addOptionFields(static_cast<int>(i));
        }
    }
}

void InspectTree::add(int parent, InspectLine line) {
    InspectLine& above = lines_[static_cast<std::size_t>(parent)];
    line.parent = parent;
    line.row = above.childCount++;
    lines_.push_back(line);
}

// Adds the file's direct children first and then the children of its parts, so that siblings are next to each other.
void InspectTree::addChildren(int index) {
    const InspectLine file = line(index);
    const inspect::Description& description = *file.description;
    const std::size_t parts = description.parts.size();
    const auto findings = byPart(description.findings, parts);
    const auto ranges = byPart(description.ranges, parts);
    const std::vector<Sign> signs = partSigns(description);
    const auto begin = [this](int parent) {
        lines_[static_cast<std::size_t>(parent)].firstChild = static_cast<int>(lines_.size());
    };
    const auto make = [&](InspectLineKind kind, int part, std::size_t item, qint64 offset, qint64 size) {
        InspectLine line;
        line.kind = kind;
        line.file = file.file;
        line.description = &description;
        line.part = part;
        line.item = item;
        line.isInContent = file.isInContent;
        line.offset = offset < 0 || file.isInContent ? -1 : file.offset + offset;
        line.size = size;
        return line;
    };
    const auto addFinding = [&](int parent, std::size_t item) {
        const inspect::Finding& finding = description.findings[item];
        InspectLine line = make(InspectLineKind::finding, finding.part, item, finding.offset, 1);
        line.sign = signOf(finding);
        add(parent, line);
    };
    const auto addRange = [&](int parent, std::size_t item) {
        const inspect::Range& range = description.ranges[item];
        add(parent, make(InspectLineKind::range, range.part, item, range.offset, range.size));
    };
    const auto addFields = [&](int parent, int part, const std::vector<inspect::Field>& fields) {
        for (std::size_t i = 0; i < fields.size(); ++i) {
            add(parent, make(InspectLineKind::field, part, i, fields[i].offset, fields[i].size));
        }
    };

    std::size_t nextFinding = 0;
    std::size_t nextRange = 0;
    begin(index);
    takePart(findings, nextFinding, 0, [&](std::size_t item) { addFinding(index, item); });
    addFields(index, 0, description.fields);
    takePart(ranges, nextRange, 0, [&](std::size_t item) { addRange(index, item); });
    const int firstPart = static_cast<int>(lines_.size());
    for (std::size_t i = 0; i < parts; ++i) {
        const inspect::Part& part = description.parts[i];
        InspectLine line = make(InspectLineKind::part, static_cast<int>(i + 1), i, part.offset, part.size);
        line.sign = signs[i + 1];
        add(index, line);
    }
    for (const inspect::Description& inner : description.inner) {
        InspectLine line;
        line.description = &inner;
        line.file = inner.file == description.file ? file.file : 1;
        line.isInContent = file.isInContent;
        line.offset = file.isInContent ? -1 : line.file == file.file ? file.offset + inner.offset : 0;
        line.size = inner.size;
        line.sign = file.isInContent ? innerSign(inner) : fileSign(inner);
        add(index, line);
    }
    for (std::size_t i = 0; i < description.decoded.size(); ++i) {
        InspectLine line = make(InspectLineKind::content, 0, i, -1, description.decoded[i].size);
        line.isInContent = true;
        add(index, line);
    }
    for (std::size_t i = 0; i < parts; ++i) {
        const int parent = firstPart + static_cast<int>(i);
        const int part = static_cast<int>(i + 1);
        begin(parent);
        takePart(findings, nextFinding, part, [&](std::size_t item) { addFinding(parent, item); });
        addFields(parent, part, description.parts[i].fields);
        takePart(ranges, nextRange, part, [&](std::size_t item) { addRange(parent, item); });
    }
}

void InspectTree::addContent(int index) {
    const InspectLine above = line(index);
    const inspect::Decoded& content = above.description->decoded[above.item];
    lines_[static_cast<std::size_t>(index)].firstChild = static_cast<int>(lines_.size());
    const auto addAll = [&](InspectLineKind kind, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            InspectLine line = above;
            line.kind = kind;
            line.detail = i;
            line.size = 0;
            line.firstChild = 0;
            line.childCount = 0;
            add(index, line);
        }
    };
    addAll(InspectLineKind::contentField, content.fields.size());
    addAll(InspectLineKind::contentRow, inspect::rowCount(content));
    for (const inspect::Description& inner : content.inner) {
        InspectLine line;
        line.description = &inner;
        line.file = above.file;
        line.isInContent = true;
        line.size = inner.size;
        line.sign = innerSign(inner);
        add(index, line);
    }
}

void InspectTree::addOptionFields(int index) {
    const InspectLine above = line(index);
    const std::vector<inspect::OptionWord>& words = above.description->decoded[above.item].words;
    const std::size_t count = above.detail < words.size() ? words[above.detail].fields.size() : 0;
    lines_[static_cast<std::size_t>(index)].firstChild = static_cast<int>(lines_.size());
    for (std::size_t i = 0; i < count; ++i) {
        InspectLine line = above;
        line.kind = InspectLineKind::optionField;
        line.field = i;
        line.firstChild = 0;
        line.childCount = 0;
        add(index, line);
    }
}

const inspect::OptionField& InspectTree::optionFieldOf(const InspectLine& line) {
    return line.description->decoded[line.item].words[line.detail].fields[line.field];
}

const inspect::Field* InspectTree::fieldOf(const InspectLine& line) {
    if (line.kind == InspectLineKind::contentField) {
        return &line.description->decoded[line.item].fields[line.detail];
    }
    if (line.kind != InspectLineKind::field) {
        return nullptr;
    }
    const inspect::Part* const part = inspect::partOf(*line.description, line.part);
    return part != nullptr ? &part->fields[line.item] : &line.description->fields[line.item];
}

bool InspectTree::isInside(const InspectLine& line) const {
    return line.kind == InspectLineKind::file && line.parent != 0 && line.file == this->line(line.parent).file;
}

QString InspectTree::name(const InspectLine& line) const {
    switch (line.kind) {
        case InspectLineKind::file:
            // A format inside another one has no file name, so its title is its name.
            return isInside(line) ? titleOf(*line.description)
                                  : inspect::printable(QFileInfo(line.description->file).fileName());
        case InspectLineKind::part:
            return inspect::partName(line.description->parts[line.item]);
        case InspectLineKind::field:
        case InspectLineKind::contentField:
            return inspect::wordsOf(fieldOf(line)->name);
        case InspectLineKind::range:
            return rangeText(line.description->ranges[line.item]);
        case InspectLineKind::content:
            return tr("content of %1").arg(inspect::partName(line.description->decoded[line.item]));
        case InspectLineKind::contentRow: {
            // A register's name is short enough for the column only without the number of its word.
            const inspect::Decoded& content = line.description->decoded[line.item];
            const bool isNamed = line.detail < content.words.size() && !content.words[line.detail].name.isEmpty();
            return isNamed ? inspect::printable(content.words[line.detail].name)
                           : inspect::rowAt(content, line.detail).name;
        }
        case InspectLineKind::optionField:
            return inspect::printable(optionFieldOf(line).name);
        case InspectLineKind::finding:
            break;
    }
    return line.sign == Sign::bad ? tr("error") : tr("note");
}

QString InspectTree::value(const InspectLine& line, QByteArrayView bytes) const {
    switch (line.kind) {
        case InspectLineKind::part:
            return inspect::memoryText(line.description->parts[line.item]);
        case InspectLineKind::contentRow:
            return inspect::rowAt(line.description->decoded[line.item], line.detail).value;
        case InspectLineKind::optionField:
            return QString::number(optionFieldOf(line).value);
        case InspectLineKind::field:
        case InspectLineKind::contentField: {
            inspect::Field field = *fieldOf(line);
            constexpr qsizetype longest = 256;
            field.bytes.truncate(longest);
            field.meaning = nullptr;
            return inspect::valueText(field);
        }
        case InspectLineKind::range: {
            // Only tags are shown, because other bytes may be secret.
            constexpr qint64 shown = 16;
            const bool isTag = line.description->ranges[line.item].role == inspect::Role::tag;
            const bool isThere =
                line.offset >= 0 && line.size <= bytes.size() && line.offset <= bytes.size() - line.size;
            if (!isTag || !isThere) {
                return {};
            }
            return QString::fromLatin1(bytes.sliced(line.offset, std::min(line.size, shown)).toByteArray().toHex()) +
                   (line.size > shown ? QStringLiteral("…") : QString());
        }
        case InspectLineKind::file:
        case InspectLineKind::finding:
        case InspectLineKind::content:
            break;
    }
    return {};
}

QString InspectTree::meaning(const InspectLine& line) const {
    switch (line.kind) {
        case InspectLineKind::file:
            return isInside(line)     ? tr("a format in the format")
                   : line.parent == 0 ? titleOf(*line.description)
                                      : tr("%1, the second file of the pair").arg(titleOf(*line.description));
        case InspectLineKind::part: {
            const char* const name = line.description->parts[line.item].letterName;
            return name == nullptr ? QString() : inspect::wordsOf(name);
        }
        case InspectLineKind::content:
            return inspect::wordsOf(line.description->decoded[line.item].kind);
        case InspectLineKind::contentRow:
            return inspect::rowAt(line.description->decoded[line.item], line.detail).meaning;
        case InspectLineKind::optionField:
            return inspect::printable(optionFieldOf(line).meaning);
        case InspectLineKind::field:
        case InspectLineKind::contentField: {
            const inspect::Field& field = *fieldOf(line);
            return field.meaning == nullptr ? QString()
                   : field.state == inspect::FieldState::derived
                       ? tr("%1, derived").arg(inspect::wordsOf(field.meaning))
                   : field.state == inspect::FieldState::cut ? tr("%1, cut off").arg(inspect::wordsOf(field.meaning))
                                                             : inspect::wordsOf(field.meaning);
        }
        case InspectLineKind::range:
            return coverText(line.description->ranges[line.item].cover);
        case InspectLineKind::finding:
            return inspect::findingText(line.description->findings[line.item]);
    }
    return {};
}

QString InspectTree::path(int index) const {
    QStringList names;
    for (int at = index; at > 0; at = line(at).parent) {
        names.prepend(name(line(at)));
    }
    return names.join(QStringLiteral(" › "));
}

int InspectTree::lineAt(int file, qint64 offset) const {
    int found = 0;
    qint64 narrowest = 0;
    for (std::size_t i = 1; i < lines_.size(); ++i) {
        const InspectLine& line = lines_[i];
        const bool isIn = line.file == file && line.kind != InspectLineKind::finding && line.offset >= 0 &&
                          offset >= line.offset && offset - line.offset < line.size;
        if (isIn && (found == 0 || line.size <= narrowest)) {
            found = static_cast<int>(i);
            narrowest = line.size;
        }
    }
    return found;
}

int InspectTree::lineOf(InspectLineKind kind, const inspect::Description* description, std::size_t item) const {
    for (std::size_t i = 1; i < lines_.size(); ++i) {
        if (lines_[i].kind == kind && lines_[i].description == description && lines_[i].item == item) {
            return static_cast<int>(i);
        }
    }
    return 0;
}

}  // namespace desktop
