#include "obkey/MemoryLayout.h"

#include "display/Display.h"
#include "obkey/tagChecks.h"
#include "obkey/templateNumbers.h"

#include <QHash>

#include <algorithm>

namespace obkey {

namespace {

std::uint32_t addressOf(const TagText& text) {
    return static_cast<std::uint32_t>(templateNumber(text.value_or(QString())));
}

QString hexText(std::uint32_t number) {
    return QStringLiteral("0x") + QString::number(number, 16);
}

std::uint32_t slotEnd(const SlotRecord& slot) {
    return addressOf(slot.start) + addressOf(slot.size);
}

/// The name of a slot: the name of the parameter that contains its offset, without the word "offset".
QString slotName(const ObkeyParam& record) {
    QString name = record.name.value_or(QString());
    const QLatin1String lowerCase("offset");
    return name.remove(name.contains(lowerCase) ? lowerCase : QLatin1String("Offset"));
}

std::uint32_t recordNumber(const ObkeyParam& record) {
    return static_cast<std::uint32_t>(
        templateNumber(record.value ? *record.value : record.defaultValue.value_or(QString())));
}

/// The tags of one kind that describe slots, and the address that is added to each start.
struct SlotTags {
    QStringList ObkeyParam::*references;
    bool ObkeyParam::*isStart;
    std::uint32_t base;
};

struct DescribedSlot {
    SlotRecord slot;
    const ObkeyParam* start;  ///< the parameter with its start
};

/// The slots that the `Data` parameters describe, in document order. A size applies to every earlier slot with the same
/// index. If several sizes follow a slot, the last size counts. The loop runs backwards, so it finds the last size
/// first.
QList<DescribedSlot> describedSlots(const QList<ObkeyParam>& params, const SlotTags& tags) {
    QList<DescribedSlot> described;
    QHash<std::int32_t, QString> sizes;
    for (auto param = params.crbegin(); param != params.crend(); ++param) {
        const QStringList& references = (*param).*tags.references;
        if (references.isEmpty()) {
            continue;
        }
        const std::uint32_t number = recordNumber(*param);
        const bool isStart = (*param).*tags.isStart;
        const QString name = isStart ? slotName(*param) : QString();
        for (auto reference = references.crbegin(); reference != references.crend(); ++reference) {
            const std::int32_t index = slotIndex(*reference);
            const auto size = sizes.constFind(index);
            if (isStart) {
                const TagText found = size == sizes.constEnd() ? TagText() : TagText(*size);
                described.append({{name, index, hexText(number + tags.base), found}, &*param});
            } else if (size == sizes.constEnd()) {
                sizes.insert(index, hexText(number));
            }
        }
    }
    std::reverse(described.begin(), described.end());
    return described;
}

void sortSlots(QList<SlotRecord>& slotList) {
    std::stable_sort(slotList.begin(), slotList.end(), [](const SlotRecord& left, const SlotRecord& right) {
        return addressOf(left.start) < addressOf(right.start);
    });
}

void slotRanges(const QList<SlotRecord>& slotList, QList<QPair<std::uint32_t, std::uint32_t>>& ranges) {
    for (const SlotRecord& slot : slotList) {
        ranges.append({addressOf(slot.start), slotEnd(slot)});
    }
}

bool checkSlotIsComplete(const SlotRecord& slot) {
    if (!slot.start) {
        return reportError("\" %s \" address is missing.", qUtf8Printable(slot.name));
    }
    if (!slot.size) {
        return reportError("\" %s \" size is missing.", qUtf8Printable(slot.name));
    }
    if (*slot.size == QLatin1String("0x0")) {
        return reportError(" Wrong \" %s \" size value, size cannot be equal to 0.", qUtf8Printable(slot.name));
    }
    return true;
}

bool isOutside(std::uint32_t address, std::uint32_t first, std::uint32_t last) {
    return address < first || address > last;
}

bool checkSectorSize(std::uint32_t size, const char* tag) {
    return size != 0 || reportError("Wrong %s value, a sector size cannot be equal to 0.", tag);
}

/// Checks the slots of a template with `AuthOBK` tags. Both ends of each slot must be inside the area and on a sector
/// boundary.
bool checkAuthenticatedSlots(const ObkeyInfo& info, const QList<SlotRecord>& obkSlots) {
    const std::uint32_t obkEnd = info.OBKStart + info.OBKSize;
    const std::uint32_t first = info.AuthOBKStart;
    const std::uint32_t last = info.AuthOBKStart + info.AuthOBKSize;
    if (isOutside(first, info.OBKStart, obkEnd) || isOutside(last, info.OBKStart, obkEnd)) {
        return reportError("AuthOBK is not in the OBK!");
    }
    for (const SlotRecord& slot : obkSlots) {
        const std::uint32_t start = addressOf(slot.start);
        const std::uint32_t end = slotEnd(slot);
        if (isOutside(start, first, last) || isOutside(end, first, last)) {
            return reportError("The OBKSlot : \"%s\" is not in the OBkeys allowed area.", qUtf8Printable(slot.name));
        }
        if (!checkSectorSize(info.OBKSectorSize, "OBKSectorSize")) {
            return false;
        }
        if (start % info.OBKSectorSize != 0 || end % info.OBKSectorSize != 0) {
            return reportError("The OBKSlot : \"%s\" does not respect the alignment constraint.",
                               qUtf8Printable(slot.name));
        }
    }
    return true;
}

/// Checks the slots of a template without `AuthOBK` tags. One end of each slot on a sector boundary is enough.
bool checkPlainSlots(const ObkeyInfo& info, const QList<SlotRecord>& obkSlots) {
    const std::uint32_t last = info.OBKStart + info.OBKSize;
    for (const SlotRecord& slot : obkSlots) {
        const std::uint32_t start = addressOf(slot.start);
        const std::uint32_t end = slotEnd(slot);
        if (isOutside(start, info.OBKStart, last) || isOutside(end, info.OBKStart, last)) {
            return reportError("The \"%s\" OBKSlot is not in the OBK.", qUtf8Printable(slot.name));
        }
        if (!checkSectorSize(info.OBKSectorSize, "OBKSectorSize")) {
            return false;
        }
        if (start % info.OBKSectorSize != 0 && end % info.OBKSectorSize != 0) {
            return reportError(
                "The ObkSlot : \"%s\" does not respect the alignment constraint. Please update your xml file with the "
                "right values.",
                qUtf8Printable(slot.name));
        }
    }
    return true;
}

QStringList namesOfKind(const QList<ObkeyParam>& params, QLatin1String kind) {
    QStringList names;
    for (const ObkeyParam& param : params) {
        if (param.kind == kind) {
            names.append(param.name.value_or(QString()));
        }
    }
    return names;
}

/// Checks that no two parameters of one kind have the same name. Parameters of different kinds may share one.
bool checkUniqueNames(const QList<ObkeyParam>& params) {
    constexpr QLatin1String kinds[] = {QLatin1String("Data"), QLatin1String("File"), QLatin1String("Permission"),
                                       QLatin1String("Text")};
    return std::all_of(std::begin(kinds), std::end(kinds),
                       [&](QLatin1String kind) { return checkTagList(namesOfKind(params, kind), ""); });
}

bool checkDataValues(const QList<ObkeyParam>& params) {
    return std::all_of(params.begin(), params.end(), [](const ObkeyParam& param) {
        return param.kind != QLatin1String("Data") ||
               checkDataValue(param.defaultValue.value_or(QString()), param.name.value_or(QString()),
                              static_cast<std::uint32_t>(param.width));
    });
}

bool checkFlashSlots(const ObkeyInfo& info, const MemoryLayout& layout) {
    const std::uint32_t last = info.FlashStart + info.FlashSize;
    for (qsizetype i = 0; i < layout.flashRanges.size(); ++i) {
        const auto [start, end] = layout.flashRanges[i];
        const QByteArray name = layout.flashSlots[i].name.toUtf8();
        if (isOutside(start, info.FlashStart, last) || isOutside(end, info.FlashStart, last)) {
            return reportError("The \"%s\" SlotCli is not in the Flash.", name.constData());
        }
        if (!checkSectorSize(info.FlashSectorSize, "FlashSectorSize")) {
            return false;
        }
        if (start % info.FlashSectorSize != 0 || end % info.FlashSectorSize != 0) {
            return reportError("The SlotCli : \"%s\" does not respect the alignment constraint.", name.constData());
        }
    }
    return true;
}

bool checkOverlap(const QList<SlotRecord>& obkSlots) {
    for (qsizetype i = 0; i + 1 < obkSlots.size(); ++i) {
        if (slotEnd(obkSlots[i]) > addressOf(obkSlots[i + 1].start)) {
            return reportError("Overlap between : \"%s\" and \"%s\".", qUtf8Printable(obkSlots[i].name),
                               qUtf8Printable(obkSlots[i + 1].name));
        }
    }
    return true;
}

bool checkObkSlots(const ObdataTemplate& obdata, const QList<SlotRecord>& obkSlots) {
    if (obkSlots.isEmpty()) {
        return true;
    }
    const bool areAllowed = obdata.authObkRulesActive() ? checkAuthenticatedSlots(obdata.info, obkSlots)
                                                        : checkPlainSlots(obdata.info, obkSlots);
    return areAllowed && checkOverlap(obkSlots);
}

}  // namespace

MemoryLayout collectSlots(const ObdataTemplate& obdata) {
    MemoryLayout layout;
    if (obdata.flashRulesActive()) {
        const SlotTags tags{&ObkeyParam::flashSlotRefs, &ObkeyParam::flashSlotIsStart, obdata.info.FlashStart};
        for (const DescribedSlot& described : describedSlots(obdata.params, tags)) {
            layout.flashSlots.append(described.slot);
            if (described.start->hasTypeSlot) {
                (described.start->slotIsExecution ? layout.executionSlots : layout.downloadSlots)
                    .append(described.slot);
            }
        }
    }
    if (obdata.obkRulesActive()) {
        const SlotTags tags{&ObkeyParam::obkSlotRefs, &ObkeyParam::obkSlotIsStart, obdata.info.OBKStart};
        for (const DescribedSlot& described : describedSlots(obdata.params, tags)) {
            layout.obkSlots.append(described.slot);
        }
    }
    return layout;
}

bool checkLayout(const ObdataTemplate& obdata) {
    if (!checkUniqueNames(obdata.params) || !checkDataValues(obdata.params)) {
        return false;
    }
    MemoryLayout layout = collectSlots(obdata);
    for (const QList<SlotRecord>* const slotList : {&layout.flashSlots, &layout.obkSlots}) {
        if (!std::all_of(slotList->begin(), slotList->end(), checkSlotIsComplete)) {
            return false;
        }
    }
    sortSlots(layout.flashSlots);
    slotRanges(layout.flashSlots, layout.flashRanges);
    sortSlots(layout.obkSlots);
    return checkFlashSlots(obdata.info, layout) && checkObkSlots(obdata, layout.obkSlots);
}

}  // namespace obkey
