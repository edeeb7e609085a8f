// replay TARGET FOLDER...: gives every file of the folders to a fuzz target, each whole, cut short and with single
// bytes flipped, always from a buffer of the exact size, so that a read beyond it shows. A folder that isn't there has
// no files.

#include "fuzz/FuzzFile.h"

#include <QDir>
#include <QFile>

#include <algorithm>
#include <cstdio>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

constexpr qsizetype mostPlaces = 128;  // of one file; the fuzzers themselves look everywhere

void replay(const QByteArray& bytes) {
    const std::vector<std::uint8_t> exact(bytes.begin(), bytes.end());
    LLVMFuzzerTestOneInput(exact.data(), exact.size());
}

void replayVariants(QByteArray bytes) {
    replay(bytes);
    const qsizetype step = std::max<qsizetype>(1, bytes.size() / mostPlaces);
    for (qsizetype at = 0; at < bytes.size(); at += step) {
        replay(bytes.first(at));
        const char kept = bytes.at(at);
        bytes[at] = static_cast<char>(~kept);
        replay(bytes);
        bytes[at] = kept;
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "replay TARGET FOLDER...\n");
        return 2;
    }
    setFuzzTarget(argv[1]);
    int replayed = 0;
    for (int i = 2; i < argc; ++i) {
        const QDir folder(QDir(QString::fromLocal8Bit(argv[i])).absolutePath());
        for (const QString& name : folder.entryList(QDir::Files)) {
            QFile file(folder.filePath(name));
            if (!file.open(QIODevice::ReadOnly)) {
                std::fprintf(stderr, "cannot read %s\n", qUtf8Printable(file.fileName()));
                return 1;
            }
            replayVariants(file.readAll());
            ++replayed;
        }
    }
    std::printf("%s: %d files replayed\n", argv[1], replayed);
    return replayed > 0 ? 0 : 1;
}
