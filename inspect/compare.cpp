#include "inspect/compare.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <tuple>

namespace inspect {

namespace {

constexpr std::uint64_t joinedGap = 7;

// Files that differ everywhere are told in coarser ranges, which else took many times their own memory.
constexpr std::size_t fineRanges = 65536;
constexpr std::uint64_t coarseGap = 65535;

void addRange(DifferenceCode code, std::uint64_t from, std::uint64_t to, std::uint64_t gap,
              std::vector<ByteDifference>& ranges) {
    if (!ranges.empty() && ranges.back().code == code && from - ranges.back().to <= gap + 1) {
        ranges.back().to = to;
    } else {
        ranges.push_back({code, from, to});
    }
}

void compareRun(std::uint64_t address, QByteArrayView a, QByteArrayView b, std::vector<ByteDifference>& ranges) {
    constexpr qsizetype step = 4096;
    for (qsizetype at = 0; at < a.size(); at += step) {
        const qsizetype size = std::min(step, a.size() - at);
        if (std::memcmp(a.data() + at, b.data() + at, static_cast<std::size_t>(size)) == 0) {
            continue;
        }
        for (qsizetype i = at; i < at + size; ++i) {
            if (a.at(i) != b.at(i)) {
                const std::uint64_t place = address + static_cast<std::uint64_t>(i);
                // Only inside the run: between two runs there may be bytes that neither side has.
                const std::uint64_t gap = ranges.size() < fineRanges ? joinedGap : coarseGap;
                const bool isInRun = !ranges.empty() && ranges.back().to >= address;
                addRange(DifferenceCode::bytesChanged, place, place, isInRun ? gap : 0, ranges);
            }
        }
    }
}

/// The pieces of one side from the lowest address on.
class Walk {
  public:
    explicit Walk(std::vector<PlacedBytes>& pieces) : pieces_(pieces) {
        std::stable_sort(pieces.begin(), pieces.end(),
                         [](const PlacedBytes& a, const PlacedBytes& b) { return a.address < b.address; });
    }

    /// Passes over what lies in front of `position`; false at the end.
    bool moveTo(std::uint64_t position) {
        while (next_ < pieces_.size() && endOf(pieces_[next_]) <= position) {
            ++next_;
        }
        if (next_ < pieces_.size()) {
            start_ = std::max(position, pieces_[next_].address);
        }
        return next_ < pieces_.size();
    }
    [[nodiscard]] std::uint64_t start() const { return start_; }
    [[nodiscard]] std::uint64_t end() const { return endOf(pieces_[next_]); }
    [[nodiscard]] QByteArrayView bytes(std::uint64_t size) const {
        return pieces_[next_].bytes.sliced(static_cast<qsizetype>(start_ - pieces_[next_].address),
                                           static_cast<qsizetype>(size));
    }

  private:
    static std::uint64_t endOf(const PlacedBytes& piece) {
        return piece.address + static_cast<std::uint64_t>(piece.bytes.size());
    }

    std::vector<PlacedBytes>& pieces_;
    std::size_t next_ = 0;
    std::uint64_t start_ = 0;
};

/// The parts of a file and of what is in it.
void collectParts(const Description& description, std::vector<const Part*>& parts) {
    for (const Part& part : description.parts) {
        parts.push_back(&part);
    }
    for (const Description& inner : description.inner) {
        collectParts(inner, parts);
    }
}

using PartKey = std::tuple<std::string, char, std::uint64_t, int>;  // name, letter, address, turn

std::map<PartKey, const Part*> byKey(const Description& description) {
    std::vector<const Part*> parts;
    collectParts(description, parts);
    std::map<PartKey, const Part*> keyed;
    std::map<PartKey, int> turns;
    for (const Part* const part : parts) {
        PartKey key{part->name, part->letter, part->address, 0};
        std::get<3>(key) = turns[key]++;
        keyed[key] = part;
    }
    return keyed;
}

const Content* contentOfPart(const Contents& contents, const Part& part) {
    // Contents come in the order of their parts.
    const auto found = std::lower_bound(contents.list.begin(), contents.list.end(), part.index,
                                        [](const Content& content, int index) { return content.part < index; });
    const bool isIt = found != contents.list.end() && found->part == part.index;
    return isIt ? &*found : nullptr;
}

QByteArray nameOf(const Part& part) {
    return part.letter == 0 ? QByteArray(part.name) : QByteArray(part.name) + ' ' + part.letter;
}

Difference partDifference(DifferenceCode code, const Part& part) {
    return {code,
            part.index,
            {textField("name", nameOf(part)), addressField("address", part.address),
             numberField("size", static_cast<std::uint64_t>(part.payloadSize))}};
}

bool isSeal(const Field& field) {
    return QByteArrayView(field.name) == "baseIv" || QByteArrayView(field.name) == "nonce";
}

void compareFields(const std::vector<Field>& a, const std::vector<Field>& b, int part, const QByteArray& prefix,
                   std::vector<Difference>& differences) {
    for (const Field& field : a) {
        const auto other = std::find_if(b.begin(), b.end(), [&field](const Field& candidate) {
            return QByteArrayView(candidate.name) == QByteArrayView(field.name);
        });
        if (other == b.end() || (other->number == field.number && other->bytes == field.bytes)) {
            continue;
        }
        const Field name = textField("name", prefix + field.name);
        if (isSeal(field)) {
            differences.push_back({DifferenceCode::sealDiffers, part, {name}});
            continue;
        }
        Field from = field;
        Field to = *other;
        from.name = "a";
        to.name = "b";
        differences.push_back({DifferenceCode::fieldDiffers, part, {name, from, to}});
    }
}

void compareHeads(const Description& a, const Description& b, std::vector<Difference>& differences) {
    compareFields(a.fields, b.fields, 0, {}, differences);
    for (std::size_t i = 0; i < std::min(a.inner.size(), b.inner.size()); ++i) {
        compareHeads(a.inner[i], b.inner[i], differences);
    }
}

QByteArrayView payloadOf(const ComparedFile& file, const Part& part) {
    const QByteArrayView bytes = file.second.isNull() ? file.bytes : file.second;
    const bool isThere = part.payloadOffset >= 0 && part.payloadOffset <= bytes.size() &&
                         part.payloadSize <= bytes.size() - part.payloadOffset;
    return isThere ? bytes.sliced(part.payloadOffset, part.payloadSize) : QByteArrayView();
}

void comparePair(const ComparedFile& fileA, const Part& a, const ComparedFile& fileB, const Part& b,
                 std::vector<Difference>& differences) {
    if (a.payloadSize != b.payloadSize) {
        differences.push_back({DifferenceCode::partResized,
                               b.index,
                               {textField("name", nameOf(a)), addressField("address", a.address),
                                numberField("a", static_cast<std::uint64_t>(a.payloadSize)),
                                numberField("b", static_cast<std::uint64_t>(b.payloadSize))}});
    }
    compareFields(a.fields, b.fields, b.index, nameOf(a) + ' ', differences);
    const Content* const contentA = contentOfPart(fileA.contents, a);
    const Content* const contentB = contentOfPart(fileB.contents, b);
    if (contentA != nullptr && contentB != nullptr) {
        addByteDifferences(nameOf(a).constData(), b.index,
                           compareBytes({{a.address, contentA->bytes}}, {{b.address, contentB->bytes}}), {"A", "B"},
                           differences);
        return;
    }
    const QByteArrayView sealedA = payloadOf(fileA, a);
    if (sealedA.isEmpty() || sealedA != payloadOf(fileB, b)) {
        differences.push_back(partDifference(DifferenceCode::notCompared, a));
    }
}

// What is left of one letter on both sides with one size has moved.
void compareLeft(std::vector<const Part*>& onlyA, std::vector<const Part*>& onlyB,
                 std::vector<Difference>& differences) {
    std::multimap<std::tuple<std::string, char, qint64>, const Part*> left;
    for (const Part* const part : onlyB) {
        left.emplace(std::make_tuple(part->name, part->letter, part->payloadSize), part);
    }
    for (const Part* const part : onlyA) {
        const auto moved = left.find({part->name, part->letter, part->payloadSize});
        if (moved == left.end()) {
            differences.push_back(partDifference(DifferenceCode::partOnlyInA, *part));
            continue;
        }
        differences.push_back({DifferenceCode::partMoved,
                               moved->second->index,
                               {textField("name", nameOf(*part)), addressField("a", part->address),
                                addressField("b", moved->second->address)}});
        left.erase(moved);
    }
    for (const auto& entry : left) {
        differences.push_back(partDifference(DifferenceCode::partOnlyInB, *entry.second));
    }
}

QByteArray withoutSignature(const ComparedFile& file, bool& hasSignature) {
    QByteArray bytes;
    for (const Range& range : file.description.ranges) {
        if (range.role == Role::tag && range.cover == Cover::signature) {
            hasSignature = true;
        } else {
            bytes.append(file.bytes.sliced(range.offset, range.size));
        }
    }
    return bytes;
}

}  // namespace

std::vector<ByteDifference> compareBytes(std::vector<PlacedBytes> a, std::vector<PlacedBytes> b) {
    std::vector<ByteDifference> ranges;
    Walk walkA(a);
    Walk walkB(b);
    std::uint64_t position = 0;
    for (;;) {
        const bool inA = walkA.moveTo(position);
        const bool inB = walkB.moveTo(position);
        if (!inA && !inB) {
            return ranges;
        }
        if (inA && inB && walkA.start() == walkB.start()) {
            position = std::min(walkA.end(), walkB.end());
            const std::uint64_t size = position - walkA.start();
            compareRun(walkA.start(), walkA.bytes(size), walkB.bytes(size), ranges);
        } else if (inA && (!inB || walkA.start() < walkB.start())) {
            position = inB ? std::min(walkA.end(), walkB.start()) : walkA.end();
            addRange(DifferenceCode::bytesOnlyInA, walkA.start(), position - 1, 0, ranges);
        } else {
            position = inA ? std::min(walkB.end(), walkA.start()) : walkB.end();
            addRange(DifferenceCode::bytesOnlyInB, walkB.start(), position - 1, 0, ranges);
        }
    }
}

void addByteDifferences(const char* name, int part, const std::vector<ByteDifference>& ranges,
                        std::array<const char*, 2> sides, std::vector<Difference>& differences) {
    for (const ByteDifference& range : ranges) {
        const char* const where = range.code == DifferenceCode::bytesOnlyInB ? sides[1] : sides[0];
        differences.push_back({range.code,
                               part,
                               {textField("name", name), textField("where", where), addressField("from", range.from),
                                addressField("to", range.to)}});
    }
}

std::vector<Difference> compareFiles(const ComparedFile& a, const ComparedFile& b) {
    std::vector<Difference> differences;
    if (a.bytes == b.bytes && a.second == b.second) {
        return differences;
    }
    if (a.description.format != b.description.format) {
        differences.push_back(
            {DifferenceCode::formatDiffers,
             0,
             {textField("a", a.description.format->name), textField("b", b.description.format->name)}});
        addByteDifferences("file", 0, compareBytes({{0, a.bytes}}, {{0, b.bytes}}), {"A", "B"}, differences);
        return differences;
    }
    compareHeads(a.description, b.description, differences);
    const std::map<PartKey, const Part*> partsA = byKey(a.description);
    const std::map<PartKey, const Part*> partsB = byKey(b.description);
    std::vector<const Part*> onlyA;
    std::vector<const Part*> onlyB;
    for (const auto& [key, part] : partsA) {
        const auto other = partsB.find(key);
        if (other == partsB.end()) {
            onlyA.push_back(part);
        } else {
            comparePair(a, *part, b, *other->second, differences);
        }
    }
    for (const auto& [key, part] : partsB) {
        if (!partsA.contains(key)) {
            onlyB.push_back(part);
        }
    }
    compareLeft(onlyA, onlyB, differences);
    if (differences.empty() && (a.description.parts.empty() || a.bytes.size() != b.bytes.size())) {
        addByteDifferences("file", 0, compareBytes({{0, a.bytes}}, {{0, b.bytes}}), {"A", "B"}, differences);
    }
    return differences;
}

SignatureComparison compareExceptSignature(const ComparedFile& a, const ComparedFile& b) {
    bool hasSignatureA = false;
    bool hasSignatureB = false;
    const QByteArray restA = withoutSignature(a, hasSignatureA);
    const QByteArray restB = withoutSignature(b, hasSignatureB);
    if (!hasSignatureA || !hasSignatureB) {
        return SignatureComparison::noSignature;
    }
    return restA == restB ? SignatureComparison::equal : SignatureComparison::different;
}

}  // namespace inspect
