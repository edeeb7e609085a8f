// The main function of every fuzz program: replays files, or runs libFuzzer.
//
// "replay" runs the target on every file of the folders: whole, truncated, and with single bytes flipped. The buffer
// always has the exact size, so that a read beyond its end is found. A missing folder counts as empty.

#include "fuzz/FuzzFile.h"

#include <QDir>
#include <QFile>

#include <algorithm>
#include <cstdio>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
#ifdef QVORA_LIBFUZZER
extern "C" int LLVMFuzzerRunDriver(int* argc, char*** argv, int (*callback)(const std::uint8_t*, std::size_t));
#endif

namespace {

constexpr qsizetype mostPlaces = 128;  // offsets per file; the fuzzers themselves try all offsets

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

int replayFolders(int argc, char** argv) {
    int replayed = 0;
    for (int i = 0; i < argc; ++i) {
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
    std::printf("%d files replayed\n", replayed);
    return replayed > 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc > 3) {
        setFuzzTarget(argv[1]);
        if (qstrcmp(argv[2], "replay") == 0) {
            return replayFolders(argc - 3, argv + 3);
        }
#ifdef QVORA_LIBFUZZER
        if (qstrcmp(argv[2], "fuzz") == 0) {
            argv[2] = argv[0];  // libFuzzer expects the program's name before its arguments
            argc -= 2;
            argv += 2;
            return LLVMFuzzerRunDriver(&argc, &argv, LLVMFuzzerTestOneInput);
        }
#endif
    }
    std::fprintf(stderr, "%s TARGET replay FOLDER... | fuzz ARGUMENT...\n", argv[0]);
    return 2;
}
