// Memory cipher image: raw ciphertext for one address, key and mode. It contains nothing that could be checked. Only a
// comparison with the application proves it.

#include "inspect/cipher.h"
#include "inspect/compare.h"
#include "inspect/formats.h"
#include "inspect/memoryCipher.h"

namespace inspect {

namespace {

constexpr std::uint32_t lastAesMode = 1;

/// Adds the differences between the plaintext and the application, and returns whether there are none. The
/// application's bytes after the last whole group count as differences, because the tool leaves them out of the image.
bool compare(const Source& source, QByteArrayView plain, QByteArrayView application, std::uint32_t address,
             Description& description) {
    const std::vector<ByteDifference> differences = compareBytes({{address, plain}}, {{address, application}});
    addByteDifferences("application", 1, differences, {"image", "source"}, description.differences);
    // These bytes are left over from an older, longer file of that name.
    const qint64 rest = source.bytes.size() - application.size();
    if (rest > 0) {
        description.addFinding(FindingCode::bytesBehindEnd, 0, application.size(),
                               {numberField("size", static_cast<std::uint64_t>(rest))});
    }
    return differences.empty() && rest <= 0;
}

}  // namespace

void describeMemoryImage(const Source& source, Description& description) {
    const qsizetype size = source.bytes.size() / memoryGroupSize * memoryGroupSize;
    Part part;
    part.name = "groups";
    part.index = 1;
    part.payloadSize = size;
    part.size = size;
    part.fields = {numberField("count", static_cast<std::uint64_t>(size / memoryGroupSize))};
    part.fields.back().state = FieldState::derived;
    description.parts.push_back(std::move(part));
    description.addRange(size, Role::payload, Cover::none, 1);
    description.addRange(source.bytes.size() - size, Role::unused, Cover::none);
}

void proveMemoryImage(const Source& source, const Evidence& evidence, Description& description, Contents* contents) {
    if (evidence.key.isEmpty() || !evidence.memory) {
        description.addUnchecked(CheckCode::against, evidence.key.isEmpty() ? Reason::noKey : Reason::noAddress);
        return;
    }
    QByteArray plain = decryptMemory(source.bytes, evidence.key, evidence.memory->address, evidence.memory->mode);
    const WipeOnExit wiped(plain);
    if (plain.size() != source.bytes.size() / memoryGroupSize * memoryGroupSize) {
        const bool isOffered = evidence.memory->mode > lastAesMode || isCipherOffered("AES-128-ECB");
        description.addUnchecked(CheckCode::against, isOffered ? Reason::noMemory : Reason::notOffered);
        return;
    }
    Part& part = description.parts.front();
    part.hasAddress = true;
    part.address = evidence.memory->address;
    part.memorySize = static_cast<std::uint64_t>(plain.size());
    if (evidence.app) {
        const bool isSame = compare(source, plain, *evidence.app, evidence.memory->address, description);
        description.addCheck(CheckCode::against, isSame, 1);
        for (Range& range : description.ranges) {
            range.cover = isSame ? Cover::comparison : range.cover;
        }
    } else {
        description.addUnchecked(CheckCode::against, Reason::noProtection, 1);
    }
    if (contents != nullptr) {
        Content content = contentOf(part, ContentKind::firmware);
        content.bytes = std::move(plain);
        contents->list.push_back(std::move(content));
    }
}

}  // namespace inspect
