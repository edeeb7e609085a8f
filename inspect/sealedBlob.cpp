#include "inspect/sealedBlob.h"

#include "files/readExactly.h"

#include <algorithm>

namespace inspect {

void addBytesAfterEnd(qint64 size, Description& description) {
    if (size > 0) {
        description.addFinding(FindingCode::bytesBehindEnd, 0, description.rangesEnd(),
                               {numberField("size", static_cast<std::uint64_t>(size))});
        description.addRange(size, Role::unused, Cover::none);
    }
}

void addBlob(Part part, QByteArrayView bytes, std::uint32_t size, Description& description) {
    const qint64 present = std::min<qint64>(bytes.size(), size);
    part.index = 1;
    part.offset = description.rangesEnd();
    part.payloadOffset = part.offset;
    part.size = present;
    part.payloadSize = present;
    description.addRange(present, Role::payload, Cover::tag, part.index);
    addCut(description.findings, size, present, description.rangesEnd(), part.index);
    description.parts.push_back(std::move(part));
    addBytesAfterEnd(bytes.size() - present, description);
}

void proveBlob(const SealedBlob& blob, const Evidence& evidence, Description& description, Contents* contents) {
    if (evidence.key.isEmpty()) {
        description.addUnchecked(CheckCode::tag, Reason::noKey);
        return;
    }
    if (blob.bytes.size() < static_cast<qint64>(blob.size)) {
        description.addUnchecked(CheckCode::tag, Reason::cutOff, 1);
        return;
    }
    Content content;
    const WipeOnExit wiped(content.bytes);
    content = contentOf(description.parts.front(), blob.kind);
    if (contents != nullptr) {
        if (!canAllocate(blob.size)) {
            description.addUnchecked(CheckCode::tag, Reason::noMemory, 1);
            return;
        }
        content.bytes.reserve(blob.size);
    }
    GcmOpener opener(evidence.key);
    const CheckResult result = opener.open(blob.iv, {blob.additional[0], blob.additional[1]},
                                           blob.bytes.first(blob.size), blob.tag, [&](QByteArrayView piece) {
                                               if (contents != nullptr) {
                                                   content.bytes.append(piece);
                                               }
                                           });
    description.addResult(CheckCode::tag, result, 1);
    if (result == CheckResult::good && contents != nullptr) {
        contents->list.push_back(std::move(content));
    }
}

}  // namespace inspect
