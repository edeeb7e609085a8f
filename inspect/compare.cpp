#include "inspect/compare.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <set>
#include <span>
#include <tuple>

namespace inspect {

namespace {

constexpr std::uint64_t joinedGap = 7;

// If the files have more differences than this, ranges become coarser, because fine ranges would need many times the
// memory of the files.
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
                // Close ranges of one run are joined. Ranges of two runs are joined only if they touch, because the
                // bytes between two runs may be on neither side.
                const std::uint64_t gap = ranges.size() < fineRanges ? joinedGap : coarseGap;
                const bool isInRun = !ranges.empty() && ranges.back().to >= address;
                addRange(DifferenceCode::bytesChanged, place, place, isInRun ? gap : 0, ranges);
            }
        }
    }
}

/// Walks the pieces of one side from the lowest address to the highest.
class Walk {
  public:
    explicit Walk(std::vector<PlacedBytes>& pieces) : pieces_(pieces) {
        std::stable_sort(pieces.begin(), pieces.end(),
                         [](const PlacedBytes& a, const PlacedBytes& b) { return a.address < b.address; });
    }

    /// Skips the bytes before `position`; returns false at the end.
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

/// A description with the bytes that it describes: a file, its inner file, or the second file of a pair.
struct Layer {
    const ComparedFile& file;
    const Description& description;
    QByteArrayView bytes;
    const char* name;           ///< the name of its bytes in differences
    bool isBroken;              ///< whether it has a finding that is an error
    std::vector<Range> ranges;  ///< sorted by part
    std::vector<int> faulty;    ///< the parts with findings, in order
};

Layer makeLayer(const ComparedFile& file, const Description& description, QByteArrayView bytes, const char* name) {
    Layer layer{file, description, bytes, name, hasErrors(description), description.ranges, {}};
    std::stable_sort(layer.ranges.begin(), layer.ranges.end(),
                     [](const Range& a, const Range& b) { return a.part < b.part; });
    for (const Finding& finding : description.findings) {
        layer.faulty.push_back(finding.part);
    }
    std::sort(layer.faulty.begin(), layer.faulty.end());
    return layer;
}

/// The layers of a file, the outer one first.
std::vector<Layer> layersOf(const ComparedFile& file) {
    std::vector<Layer> layers = {makeLayer(file, file.description, file.bytes, "file")};
    for (const Description& inner : file.description.inner) {
        const QByteArrayView bytes = file.second.isNull() ? file.bytes : file.second;
        layers.push_back(
            makeLayer(file, inner, bytes.first(std::min<qsizetype>(inner.size, bytes.size())), inner.format->name));
    }
    return layers;
}

/// The ranges of one part. If `part` is null, the ranges that belong to no part.
std::span<const Range> rangesOf(const Layer& layer, const Part* part) {
    const auto [first, last] = std::equal_range(layer.ranges.begin(), layer.ranges.end(),
                                                Range{0, 0, {}, {}, part != nullptr ? part->index : 0},
                                                [](const Range& a, const Range& b) { return a.part < b.part; });
    return {first, last};
}

using PartKey = std::tuple<std::string, char, std::uint64_t, int>;  // name, letter, address, turn

std::map<PartKey, const Part*> byKey(const Description& description) {
    std::map<PartKey, const Part*> keyed;
    std::map<PartKey, int> turns;
    for (const Part& part : description.parts) {
        PartKey key{part.name, part.letter, part.address, 0};
        std::get<3>(key) = turns[key]++;
        keyed[key] = &part;
    }
    return keyed;
}

const Content* contentOfPart(const Contents& contents, const Part& part) {
    // Contents are in the order of their parts.
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

Difference fieldDifference(int part, QByteArrayView name, Field a, Field b) {
    a.name = "a";
    b.name = "b";
    return {DifferenceCode::fieldDiffers, part, {textField("name", name), std::move(a), std::move(b)}};
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
        if (field.secret || other == b.end() || (other->number == field.number && other->bytes == field.bytes)) {
            continue;
        }
        const QByteArray name = prefix + field.name;
        differences.push_back(isSeal(field) ? Difference{DifferenceCode::sealDiffers, part, {textField("name", name)}}
                                            : fieldDifference(part, name, field, *other));
    }
}

/// Adds the differences between two ranges of bytes, by offset. `hidden` contains the fields that are compared already.
void compareRange(const Layer& a, const Range& rangeA, const Layer& b, const Range& rangeB,
                  const std::array<const std::vector<Field>*, 2>& hidden, std::vector<Difference>& differences) {
    QByteArray bytesA;
    QByteArray bytesB;
    QByteArrayView viewA = a.bytes.sliced(rangeA.offset, rangeA.size);
    QByteArrayView viewB = b.bytes.sliced(rangeB.offset, rangeB.size);
    if (rangeA.role == Role::header) {
        const auto withoutFields = [&hidden](QByteArrayView view, qint64 start) {
            QByteArray bytes = view.toByteArray();
            for (const std::vector<Field>* const fields : hidden) {
                for (const Field& field : *fields) {
                    const qint64 from = std::max<qint64>(field.offset - start, 0);
                    const qint64 to = std::min<qint64>(field.offset + field.size - start, bytes.size());
                    if (field.offset >= 0 && from < to) {
                        std::fill(bytes.begin() + from, bytes.begin() + to, '\0');
                    }
                }
            }
            return bytes;
        };
        viewA = bytesA = withoutFields(viewA, rangeA.offset);
        viewB = bytesB = withoutFields(viewB, rangeB.offset);
    }
    const auto start = static_cast<std::uint64_t>(rangeA.offset);
    addByteDifferences(a.name, 0, compareBytes({{start, viewA}}, {{start, viewB}}), {"A", "B"}, differences);
}

/// Adds the differences between the ranges of one role and part, pair by pair. A range that only one side has is
/// compared with an empty one.
void compareRanges(const Layer& a, const Part* partA, const Layer& b, const Part* partB, Role role,
                   std::vector<Difference>& differences) {
    const auto select = [role](const Layer& layer, const Part* part) {
        std::vector<Range> selected;
        const std::span<const Range> ranges = rangesOf(layer, part);
        std::copy_if(ranges.begin(), ranges.end(), std::back_inserter(selected),
                     [role](const Range& range) { return range.role == role; });
        return selected;
    };
    const std::vector<Range> rangesA = select(a, partA);
    const std::vector<Range> rangesB = select(b, partB);
    static const std::vector<Field> none;
    const std::array<const std::vector<Field>*, 2> hidden = {&a.description.fields,
                                                             partA != nullptr ? &partA->fields : &none};
    for (std::size_t i = 0; i < std::max(rangesA.size(), rangesB.size()); ++i) {
        const Range rangeA = i < rangesA.size() ? rangesA[i] : Range{a.description.size, 0, role, Cover::none, 0};
        const Range rangeB = i < rangesB.size() ? rangesB[i] : Range{b.description.size, 0, role, Cover::none, 0};
        // The format's rules fix these bytes, so they differ only if a rule is broken.
        const bool isFixed = rangeA.cover == Cover::structure && rangeB.cover == Cover::structure;
        if (!isFixed || a.isBroken || b.isBroken) {
            compareRange(a, rangeA, b, rangeB, hidden, differences);
        }
    }
}

QByteArrayView payloadOf(const Layer& layer, const Part& part) {
    const QByteArrayView bytes = layer.bytes;
    const bool isThere = part.payloadOffset >= 0 && part.payloadOffset <= bytes.size() &&
                         part.payloadSize <= bytes.size() - part.payloadOffset;
    return isThere ? bytes.sliced(part.payloadOffset, part.payloadSize) : QByteArrayView();
}

/// The IVs and nonces under which a part was encrypted, as the file states them. If two parts have different ones,
/// equal or different ciphertexts say nothing about their contents.
QByteArrayList sealOf(const Layer& layer, const Part& part) {
    QByteArrayList seal;
    const std::vector<UsedIv>& ivs = layer.description.ivs;  // in the order of their parts
    const auto iv = std::lower_bound(ivs.begin(), ivs.end(), part.index,
                                     [](const UsedIv& used, int index) { return used.part < index; });
    if (iv != ivs.end() && iv->part == part.index) {
        seal << iv->iv;
    }
    for (const Field& field : layer.file.description.fields) {
        if (isSeal(field)) {
            seal << field.bytes;
        }
    }
    return seal;
}

void compareContents(const Layer& layerA, const Part& a, const Layer& layerB, const Part& b,
                     std::vector<Difference>& differences) {
    const Content* const contentA = contentOfPart(layerA.file.contents, a);
    const Content* const contentB = contentOfPart(layerB.file.contents, b);
    const QByteArrayView payloadA = payloadOf(layerA, a);
    const QByteArrayView payloadB = payloadOf(layerB, b);
    if (contentA != nullptr && contentB != nullptr) {
        addByteDifferences(nameOf(a).constData(), b.index,
                           compareBytes({{a.address, contentA->bytes}}, {{b.address, contentB->bytes}}), {"A", "B"},
                           differences);
    } else if (a.isPlain) {
        addByteDifferences(nameOf(a).constData(), b.index, compareBytes({{0, payloadA}}, {{0, payloadB}}), {"A", "B"},
                           differences);
    } else if (payloadA != payloadB || sealOf(layerA, a) != sealOf(layerB, b)) {
        differences.push_back(partDifference(DifferenceCode::notCompared, a));
    }
}

bool hasFinding(const Layer& layer, const Part& part) {
    return std::binary_search(layer.faulty.begin(), layer.faulty.end(), part.index);
}

/// Whether the payload is a tag, digest or signature, which is computed from the rest of the file.
bool isTag(const Layer& layer, const Part& part) {
    const std::span<const Range> ranges = rangesOf(layer, &part);
    return std::any_of(ranges.begin(), ranges.end(), [&part](const Range& range) {
        return range.role == Role::tag && range.offset == part.payloadOffset;
    });
}

void comparePair(const Layer& layerA, const Part& a, const Layer& layerB, const Part& b,
                 std::vector<Difference>& differences) {
    compareFields(a.fields, b.fields, b.index, nameOf(a) + ' ', differences);
    if (hasFinding(layerA, a) || hasFinding(layerB, b)) {
        compareRanges(layerA, &a, layerB, &b, Role::header, differences);
    }
    if (isTag(layerA, a) && isTag(layerB, b)) {
        return;
    }
    if (a.payloadSize != b.payloadSize) {
        differences.push_back({DifferenceCode::partResized,
                               b.index,
                               {textField("name", nameOf(a)), addressField("address", a.address),
                                numberField("a", static_cast<std::uint64_t>(a.payloadSize)),
                                numberField("b", static_cast<std::uint64_t>(b.payloadSize))}});
    }
    if (a.index != b.index && layerA.description.parts.size() == layerB.description.parts.size()) {
        differences.push_back(fieldDifference(b.index, nameOf(a) + " number",
                                              numberField("a", static_cast<std::uint64_t>(a.index)),
                                              numberField("b", static_cast<std::uint64_t>(b.index))));
    }
    compareContents(layerA, a, layerB, b, differences);
}

// Compares the parts without a counterpart. A part of A and a part of B with the same name, letter and size are one
// part that was moved.
void compareLeft(const std::vector<const Part*>& onlyA, const std::vector<const Part*>& onlyB,
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

void compareParts(const Layer& a, const Layer& b, std::vector<Difference>& differences) {
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
}

/// Compares fields, parts, and the bytes that belong to no part. If there is an inner file, its own comparison covers
/// the payload.
void compareLayer(const Layer& a, const Layer& b, bool hasInner, std::vector<Difference>& differences) {
    compareFields(a.description.fields, b.description.fields, 0, {}, differences);
    compareParts(a, b, differences);
    for (const Role role : {Role::header, Role::payload, Role::unused, Role::unread}) {
        if (role != Role::payload || !hasInner) {
            compareRanges(a, nullptr, b, nullptr, role, differences);
        }
    }
}

// Tags and signatures are computed from the rest, so they are compared only if nothing in the rest differs.
void compareTags(const Layer& a, const Layer& b, std::vector<Difference>& differences) {
    compareRanges(a, nullptr, b, nullptr, Role::tag, differences);
    const std::size_t parts = std::min(a.description.parts.size(), b.description.parts.size());
    for (std::size_t i = 0; i < parts; ++i) {
        compareRanges(a, &a.description.parts[i], b, &b.description.parts[i], Role::tag, differences);
    }
}

bool isRecordFile(const ComparedFile& file) {
    return file.description.format->describe == describeRecords;
}

// Records may have any order and length, so only their content is compared.
void compareRecordFiles(const ComparedFile& a, const ComparedFile& b, std::vector<Difference>& differences) {
    std::array<std::vector<PlacedBytes>, 2> sides;
    for (std::size_t i = 0; i < sides.size(); ++i) {
        for (const Content& content : (i == 0 ? a : b).contents.list) {
            sides[i].push_back({content.address, content.bytes});
        }
    }
    addByteDifferences("segment", 0, compareBytes(std::move(sides[0]), std::move(sides[1])), {"A", "B"}, differences);
}

bool lacksSecondFile(const ComparedFile& file) {
    return std::any_of(file.description.findings.begin(), file.description.findings.end(),
                       [](const Finding& finding) { return finding.code == FindingCode::secondFileMissing; });
}

void compareLayers(const ComparedFile& a, const ComparedFile& b, bool areProven, std::vector<Difference>& differences) {
    const std::vector<Layer> layersA = layersOf(a);
    const std::vector<Layer> layersB = layersOf(b);
    const bool isAlike = std::equal(
        layersA.begin(), layersA.end(), layersB.begin(), layersB.end(),
        [](const Layer& one, const Layer& other) { return one.description.format == other.description.format; });
    const std::size_t count = isAlike ? layersA.size() : 1;
    for (std::size_t i = 0; i < count; ++i) {
        compareLayer(layersA[i], layersB[i], i + 1 < count, differences);
    }
    if (lacksSecondFile(a) || lacksSecondFile(b)) {
        Part segment;
        segment.name = "segment";
        differences.push_back(partDifference(DifferenceCode::notCompared, segment));
    }
    for (std::size_t i = 0; i < count && differences.empty() && !areProven; ++i) {
        compareTags(layersA[i], layersB[i], differences);
    }
}

/// Returns the file without its signatures. The size of a signature in an MCUboot image varies. The result therefore
/// also omits the length of each signature's entry and the length of the TLV block. If `isInSlot`, both files have the
/// size of one slot, so the size of the fill after the image varies, too. The result then also omits the fill: the
/// first unused byte and the bytes directly after it that are equal to it.
QByteArray withoutSignature(const ComparedFile& file, bool isInSlot, bool& hasSignature) {
    constexpr qint64 typeSize = 2;
    const auto isSignature = [](const Range& range) {
        return range.role == Role::tag && range.cover == Cover::signature;
    };
    std::set<int> entries;
    for (const Range& range : file.description.ranges) {
        if (isSignature(range)) {
            hasSignature = true;
            entries.insert(range.part);
        }
    }
    const bool isSound = !hasErrors(file.description);
    QByteArray bytes;
    for (const Range& range : file.description.ranges) {
        const bool isHeader = range.role == Role::header && isSound;
        const bool isOfEntry = isHeader && range.part != 0 && entries.contains(range.part);
        QByteArrayView kept = file.bytes.sliced(range.offset, range.size);
        if (isSignature(range) || (isHeader && range.cover == Cover::structure)) {
            continue;
        }
        if (isOfEntry) {
            kept = kept.first(std::min(typeSize, range.size));
        } else if (range.role == Role::unused && isInSlot) {
            const auto* const end =
                std::find_if(kept.begin(), kept.end(), [kept](char byte) { return byte != kept.front(); });
            kept = kept.sliced(end - kept.begin());
        }
        bytes.append(kept);
    }
    return bytes;
}

// Files of different formats are compared as memory, if the contents of both are known.
void compareFormats(const ComparedFile& a, const ComparedFile& b, const Summary& summary,
                    std::vector<Difference>& differences) {
    const bool areWrong =
        judge(a.description).verdict == Verdict::wrong || judge(b.description).verdict == Verdict::wrong;
    const bool areMemory = summary.memory != Summary::Memory::absent && !areWrong;
    differences.push_back({areMemory ? DifferenceCode::otherFormat : DifferenceCode::formatDiffers,
                           0,
                           {textField("a", a.description.format->name), textField("b", b.description.format->name)}});
    if (!areMemory) {
        compareAsBytes(a, b, differences);
        return;
    }
    if (summary.memory == Summary::Memory::closed) {
        Part memory;
        memory.name = "memory";
        differences.push_back(partDifference(DifferenceCode::notCompared, memory));
    }
    std::vector<ByteDifference> ranges;
    for (const MemoryDifference& difference : summary.ranges) {
        ranges.push_back(difference.range);
    }
    addByteDifferences("memory", 0, ranges, {"A", "B"}, differences);
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

int statusOf(const std::vector<Difference>& differences) {
    const auto has = [&differences](bool (*is)(const Difference& difference)) {
        return std::any_of(differences.begin(), differences.end(), is);
    };
    if (has([](const Difference& difference) { return rowOf(difference.code).counts; })) {
        return statusWrong;
    }
    return has([](const Difference& difference) { return difference.code == DifferenceCode::notCompared; })
               ? statusUndecided
               : statusGood;
}

void compareAsBytes(const ComparedFile& a, const ComparedFile& b, std::vector<Difference>& differences) {
    addByteDifferences("file", 0, compareBytes({{0, a.bytes}}, {{0, b.bytes}}), {"A", "B"}, differences);
    addByteDifferences("secondFile", 0, compareBytes({{0, a.second}}, {{0, b.second}}), {"A", "B"}, differences);
}

std::vector<Difference> compareFiles(const ComparedFile& a, const ComparedFile& b, const Summary& summary) {
    std::vector<Difference> differences;
    if (a.bytes == b.bytes && a.second == b.second && a.second.isNull() == b.second.isNull()) {
        return differences;
    }
    const bool areRecords = isRecordFile(a) && isRecordFile(b);
    if (a.description.format != b.description.format) {
        compareFormats(a, b, summary, differences);
        return differences;
    }
    const Verdict verdictA = judge(a.description).verdict;
    const Verdict verdictB = judge(b.description).verdict;
    const bool areProven = verdictA == Verdict::proven && verdictB == Verdict::proven;
    if ((verdictA == Verdict::wrong) != (verdictB == Verdict::wrong)) {
        differences.push_back(
            fieldDifference(0, "verdict", textField("a", nameOf(verdictA)), textField("b", nameOf(verdictB))));
    }
    if (areRecords) {
        compareRecordFiles(a, b, differences);
    } else {
        compareLayers(a, b, areProven, differences);
    }
    const bool isSettled = areProven || (areRecords && verdictA != Verdict::wrong && verdictB != Verdict::wrong);
    if (!isSettled && statusOf(differences) == statusGood) {
        compareAsBytes(a, b, differences);
    }
    return differences;
}

SignatureComparison compareExceptSignature(const ComparedFile& a, const ComparedFile& b) {
    bool hasSignatureA = false;
    bool hasSignatureB = false;
    const bool isInSlot = a.bytes.size() == b.bytes.size();
    const QByteArray restA = withoutSignature(a, isInSlot, hasSignatureA);
    const QByteArray restB = withoutSignature(b, isInSlot, hasSignatureB);
    if (!hasSignatureA || !hasSignatureB) {
        return SignatureComparison::noSignature;
    }
    const bool isSame = restA == restB && hasErrors(a.description) == hasErrors(b.description);
    return isSame ? SignatureComparison::equal : SignatureComparison::different;
}

}  // namespace inspect
