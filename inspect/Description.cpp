#include "inspect/Description.h"

#include <algorithm>

namespace inspect {

Field numberField(const char* name, std::uint64_t value) {
    Field field;
    field.name = name;
    field.number = value;
    return field;
}

Field addressField(const char* name, std::uint64_t value) {
    Field field = numberField(name, value);
    field.kind = FieldKind::address;
    return field;
}

Field textField(const char* name, QByteArrayView value) {
    Field field;
    field.name = name;
    field.kind = FieldKind::text;
    field.bytes = value.toByteArray();
    return field;
}

Field bytesField(const char* name, QByteArrayView value) {
    Field field = textField(name, value);
    field.kind = FieldKind::bytes;
    return field;
}

void Description::addNumber(const char* name, std::uint64_t value, qint64 at, qint64 width) {
    fields.push_back(numberField(name, value));
    fields.back().offset = at;
    fields.back().size = width;
}

void Description::addBytes(const char* name, QByteArrayView value, qint64 at) {
    fields.push_back(bytesField(name, value));
    fields.back().offset = at;
    fields.back().size = value.size();
}

void Description::addRange(qint64 length, Role role, Cover cover, int part) {
    if (length > 0) {
        ranges.push_back({rangesEnd(), length, role, cover, part});
    }
}

void Description::addFinding(FindingCode code, int part, qint64 at, std::vector<Field> arguments) {
    findings.push_back({code, part, at, std::move(arguments)});
}

void Description::addCheck(CheckCode code, bool good, int part, std::vector<Field> arguments) {
    checks.push_back(
        {code, good ? CheckResult::good : CheckResult::bad, Reason::none, part, true, std::move(arguments)});
}

void Description::addResult(CheckCode code, CheckResult result, int part) {
    if (result == CheckResult::unchecked) {
        addUnchecked(code, Reason::notOffered, part);
    } else {
        addCheck(code, result == CheckResult::good, part);
    }
}

void Description::addUnchecked(CheckCode code, Reason reason, int part, bool needed) {
    checks.push_back({code, CheckResult::unchecked, reason, part, needed, {}});
}

qint64 Description::rangesEnd() const {
    return ranges.empty() ? 0 : ranges.back().offset + ranges.back().size;
}

void addCut(std::vector<Finding>& findings, qint64 wanted, qint64 present, qint64 offset, int part) {
    if (present < wanted) {
        findings.push_back({FindingCode::cutOff,
                            part,
                            offset,
                            {numberField("missing", static_cast<std::uint64_t>(wanted - present)),
                             numberField("wanted", static_cast<std::uint64_t>(wanted))}});
    }
}

void addCutHeader(qint64 present, qint64 wanted, Description& description) {
    description.addRange(present, Role::unread, Cover::none);
    addCut(description.findings, wanted, present, present);
}

void findWrap(const Part& part, Description& description) {
    constexpr std::uint64_t addressLimit = std::uint64_t{1} << 32;
    if (part.memorySize > addressLimit - part.address) {
        description.addFinding(FindingCode::addressWraps, part.index, part.offset);
    }
}

std::vector<const Part*> partsByAddress(const Description& description, char letter) {
    std::vector<const Part*> parts;
    for (const Part& part : description.parts) {
        if (letter == 0 || part.letter == letter) {
            parts.push_back(&part);
        }
    }
    std::stable_sort(parts.begin(), parts.end(), [](const Part* a, const Part* b) { return a->address < b->address; });
    return parts;
}

void findOverlaps(Description& description, char letter) {
    const Part* furthest = nullptr;
    for (const Part* const part : partsByAddress(description, letter)) {
        if (part->memorySize == 0) {
            continue;
        }
        findWrap(*part, description);
        if (furthest != nullptr && part->address - furthest->address < furthest->memorySize) {
            description.addFinding(FindingCode::overlap, part->index, part->offset,
                                   {numberField("other", static_cast<std::uint64_t>(furthest->index)),
                                    addressField("address", part->address)});
        }
        if (furthest == nullptr || part->address + part->memorySize > furthest->address + furthest->memorySize) {
            furthest = part;
        }
    }
}

void findWraps(Description& description, char letter) {
    for (const Part& part : description.parts) {
        if (part.letter == letter) {
            findWrap(part, description);
        }
    }
}

bool isTiled(const Description& description) {
    qint64 end = 0;
    for (const Range& range : description.ranges) {
        if (range.offset != end || range.size <= 0) {
            return false;
        }
        end += range.size;
    }
    for (const Description& inner : description.inner) {
        if (!isTiled(inner)) {
            return false;
        }
    }
    return end == description.size;
}

}  // namespace inspect
