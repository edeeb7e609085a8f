#include "inspect/lzma2.h"
#include "tests/support/TempFolder.h"
#include "tests/support/outsideTool.h"

#include <QtEndian>

#include <gtest/gtest.h>

#include <vector>

namespace {

// Python's packer makes each stream, with texts, code, noise and runs; long ones have chunks of all kinds. Of each
// file, the first four bytes are the size of the plain bytes, which follow, and the fifth is the filter.
constexpr const char* packer = R"(
import lzma, random, struct, sys
r = random.Random(24)
def thumb(size):
    out = bytearray()
    while len(out) < size:
        if r.random() < .3:
            off = (r.choice([64, 136, 4096]) - len(out) - 4) >> 1
            out += struct.pack('<HH', 0xF000 | off >> 11 & 0x7FF, 0xF800 | off & 0x7FF)
        else:
            out += struct.pack('<H', r.choice([0x4770, 0xB510, 0xBD10, 0x2000]))
    return bytes(out)
plains = [b'', b'a', b'ab' * 3000, bytes(100000), r.randbytes(70000), thumb(30000), b'text ' * 50 + r.randbytes(300) + b'text ' * 50,
          bytes(r.choice(b'abc') for _ in range(50000)), thumb(5000) + r.randbytes(150000) + bytes(2500000) + thumb(20000)]
number = 0
for i, plain in enumerate(plains):
    for lc, lp, pb, dictionary in ((3, 0, 2, 1 << 20), (0, 4, 4, 4096), (4, 0, 0, 1 << 16), (1, 2, 1, 4096)):
        for is_thumb in (False, True):
            if len(plain) > 1000000 and (lp or is_thumb): continue
            filters = [{'id': lzma.FILTER_LZMA2, 'lc': lc, 'lp': lp, 'pb': pb, 'dict_size': dictionary, 'preset': i % 10}]
            if is_thumb: filters.insert(0, {'id': lzma.FILTER_ARMTHUMB})
            packed = lzma.compress(plain, format=lzma.FORMAT_RAW, filters=filters)
            with open(f'{sys.argv[1]}/{number}', 'wb') as f:
                f.write(struct.pack('<I?', len(plain), is_thumb) + plain + packed)
            number += 1
print(number)
)";

struct Stream {
    QByteArray plain;
    QByteArray packed;
    bool isThumb = false;
};

std::vector<Stream> streams() {
    const TempFolder folder;
    const QByteArray script = folder.write("packer.py", packer).toUtf8();
    const int count = outsideTool("python3 " + script + ' ' + folder.path(".").toUtf8()).trimmed().toInt();
    std::vector<Stream> all;
    for (int i = 0; i < count; ++i) {
        constexpr qsizetype head = 5;
        const QByteArray file = folder.read(QByteArray::number(i).constData());
        const qsizetype size = qFromLittleEndian<quint32>(file.constData());
        all.push_back({file.mid(head, size), file.mid(head + size), file.at(4) != 0});
    }
    return all;
}

TEST(InspectLzma2, UnpacksWhatAnotherPackerMakes) {
    const std::vector<Stream> all = streams();
    ASSERT_GT(all.size(), 60U);
    for (std::size_t i = 0; i < all.size(); ++i) {
        const Stream& stream = all[i];
        QByteArray plain;
        EXPECT_TRUE(inspect::unpackLzma2(stream.packed, stream.plain.size(), plain)) << i;
        if (stream.isThumb) {
            inspect::restoreThumbBranches(plain);
        }
        EXPECT_TRUE(plain == stream.plain) << i;
        EXPECT_EQ(inspect::unpackLzma2(stream.packed, stream.plain.size() - 1, plain), stream.plain.isEmpty()) << i;
        EXPECT_FALSE(inspect::unpackLzma2(stream.packed + '\0', stream.plain.size(), plain)) << i;
        EXPECT_FALSE(inspect::unpackLzma2(stream.packed.chopped(1), stream.plain.size(), plain)) << i;
    }
}

// A changed stream may be a stream for other bytes, but it has at most as many as the caller allows.
TEST(InspectLzma2, BrokenStreamsStayWithinTheLimit) {
    int broken = 0;
    for (const Stream& stream : streams()) {
        constexpr qsizetype longest = 20000;
        if (stream.packed.size() > longest) {
            continue;
        }
        for (qsizetype at = 0; at < stream.packed.size(); at += 1 + stream.packed.size() / 25) {
            QByteArray changed = stream.packed;
            changed[at] = static_cast<char>(changed.at(at) ^ (1 << at % 8));
            QByteArray plain;
            broken += inspect::unpackLzma2(changed, stream.plain.size(), plain) ? 0 : 1;
            EXPECT_LE(plain.size(), stream.plain.size());
        }
    }
    EXPECT_GT(broken, 400);
}

}  // namespace
