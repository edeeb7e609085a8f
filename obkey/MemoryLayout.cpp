#include "obkey/Obkey.h"

#include "display/Display.h"
#include "obkey/templateNumbers.h"

#include <algorithm>

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

/// A slot is named after the parameter that gives its offset.
QString slotName(const ObkeyParam& record) {
    QString name = record.name.value_or(QString());
    const QLatin1String lowerCase("offset");
    return name.remove(name.contains(lowerCase) ? lowerCase : QLatin1String("Offset"));
}

std::uint32_t recordNumber(const ObkeyParam& record) {
    return static_cast<std::uint32_t>(
        templateNumber(record.value ? *record.value : record.defaultValue.value_or(QString())));
}

void setSize(QList<SlotRecord>& slotList, std::int32_t index, const QString& size) {
    for (SlotRecord& slot : slotList) {
        if (slot.index == index) {
            slot.size = size;
        }
    }
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

/// The slots behind `AuthOBK` tags: both ends of each inside the area and on a sector boundary.
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

/// The slots without `AuthOBK` tags: one aligned end is enough here.
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

}  // namespace

bool Obkey::checkLayout() {
    if (!checkUniqueNames() || !checkDataValues()) {
        return false;
    }
    for (const ObkeyParam& param : params) {
        if (flashRulesActive() && param.kind == QLatin1String("Data")) {
            collectFlashSlots(param);
        }
        if (obkRulesActive() && param.kind == QLatin1String("Data")) {
            collectObkSlots(param);
        }
    }
    const auto isComplete = [](const QList<SlotRecord>& slotList) {
        return std::all_of(slotList.begin(), slotList.end(), checkSlotIsComplete);
    };
    if (!isComplete(flashSlots) || !isComplete(obkSlots)) {
        return false;
    }
    if (flashRulesActive() && !flashSlots.isEmpty()) {
        sortSlots(flashSlots);
        slotRanges(flashSlots, flashRanges);
        if (!checkFlashSlots()) {
            return false;
        }
    }
    return !obkRulesActive() || obkSlots.isEmpty() || checkObkSlots();
}

bool Obkey::checkUniqueNames() const {
    return checkTagList(namesOfKind(params, QLatin1String("Data"))) &&
           checkTagList(namesOfKind(params, QLatin1String("File"))) &&
           checkTagList(namesOfKind(params, QLatin1String("Permission"))) &&
           checkTagList(namesOfKind(params, QLatin1String("Text")));
}

bool Obkey::checkDataValues() const {
    return std::all_of(params.begin(), params.end(), [](const ObkeyParam& param) {
        return param.kind != QLatin1String("Data") ||
               checkDataValue(param.defaultValue.value_or(QString()), param.name.value_or(QString()),
                              static_cast<std::uint32_t>(param.width));
    });
}

void Obkey::collectFlashSlots(const ObkeyParam& record) {
    const std::uint32_t number = recordNumber(record);
    for (const QString& reference : record.flashSlotRefs) {
        const std::int32_t index = slotIndex(reference);
        if (!record.flashSlotIsStart) {
            const QString size = hexText(number);
            setSize(flashSlots, index, size);
            setSize(executionSlots, index, size);
            setSize(downloadSlots, index, size);
            continue;
        }
        const SlotRecord slot{slotName(record), index, hexText(number + info.FlashStart), std::nullopt};
        flashSlots.append(slot);
        if (record.hasTypeSlot) {
            (record.slotIsExecution ? executionSlots : downloadSlots).append(slot);
        }
    }
}

void Obkey::collectObkSlots(const ObkeyParam& record) {
    const std::uint32_t number = recordNumber(record);
    for (const QString& reference : record.obkSlotRefs) {
        const std::int32_t index = slotIndex(reference);
        if (record.obkSlotIsStart) {
            obkSlots.append({slotName(record), index, hexText(number + info.OBKStart), std::nullopt});
        } else {
            setSize(obkSlots, index, hexText(number));
        }
    }
}

bool Obkey::checkFlashSlots() const {
    const std::uint32_t last = info.FlashStart + info.FlashSize;
    const qsizetype count = std::min(flashRanges.size(), flashSlots.size());
    for (qsizetype i = 0; i < count; ++i) {
        const auto [start, end] = flashRanges[i];
        const QByteArray name = flashSlots[i].name.toUtf8();
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

bool Obkey::checkObkSlots() {
    sortSlots(obkSlots);
    const bool areAllowed =
        authObkRulesActive() ? checkAuthenticatedSlots(info, obkSlots) : checkPlainSlots(info, obkSlots);
    if (!areAllowed) {
        return false;
    }
    for (qsizetype i = 0; i + 1 < obkSlots.size(); ++i) {
        if (slotEnd(obkSlots[i]) > addressOf(obkSlots[i + 1].start)) {
            return reportError("Overlap between : \"%s\" and \"%s\".", qUtf8Printable(obkSlots[i].name),
                               qUtf8Printable(obkSlots[i + 1].name));
        }
    }
    return true;
}
