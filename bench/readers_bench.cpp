// The speed of the firmware readers. Our own writers write the inputs to a temporary folder.

#include "files/openFile.h"
#include "files/recordFiles.h"
#include "files/recordParser.h"
#include "files/segments.h"

#include <QBuffer>
#include <QFileInfo>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <array>
#include <random>

namespace {

constexpr std::uint32_t imageSize = 16 << 20;

constexpr std::array formats = {
    FormatRow{".hex", readRecordFile},
    FormatRow{".s19", readRecordFile},
};

const QTemporaryDir& folder() {
    static const QTemporaryDir made;
    return made;
}

FileSegment randomSegment(std::uint32_t address, std::uint32_t size) {
    std::mt19937 generator(address);
    FileSegment segment{address, size, QByteArray(static_cast<qsizetype>(size), Qt::Uninitialized)};
    for (char& byte : segment.data) {
        byte = static_cast<char>(generator());
    }
    return segment;
}

FileData wholeImage() {
    FileData file;
    file.segmentCount = 1;
    file.segments.push_back(randomSegment(0x08000000, imageSize));
    return file;
}

// Segments with large gaps between them, in the order of descending addresses.
FileData scatteredImage() {
    constexpr std::uint32_t count = 20000;
    FileData file;
    file.segmentCount = count;
    for (std::uint32_t i = count; i > 0; --i) {
        file.segments.push_back(randomSegment(0x08000000 + i * 0x100, 32));
    }
    return file;
}

QString write(const char* name, const FileData& file,
              bool (*writer)(const FileLoadContext&, const FileData&, const QString&)) {
    const QString path = folder().filePath(QString::fromUtf8(name));
    if (!writer({}, file, path)) {
        std::abort();
    }
    return path;
}

qint64 writeBinary(const QString& path) {
    return writeBinFile({}, wholeImage(), path);
}

void readWhole(benchmark::State& state, const QString& path) {
    for (auto iteration : state) {
        FileLoadContext context;
        context.formats = formats;
        FileData* file = nullptr;
        if (!openFile(context, path, file)) {
            state.SkipWithError("not read");
        }
        benchmark::DoNotOptimize(file);
    }
    state.SetBytesProcessed(state.iterations() * QFileInfo(path).size());
}

void hexFile(benchmark::State& state) {
    readWhole(state, write("whole.hex", wholeImage(), writeHexFile));
}
BENCHMARK(hexFile)->Unit(benchmark::kMillisecond);

void srecFile(benchmark::State& state) {
    readWhole(state, write("whole.s19", wholeImage(), writeSrecFile));
}
BENCHMARK(srecFile)->Unit(benchmark::kMillisecond);

void scatteredHexFile(benchmark::State& state) {
    readWhole(state, write("scattered.hex", scatteredImage(), writeHexFile));
}
BENCHMARK(scatteredHexFile)->Unit(benchmark::kMillisecond);

void binaryFile(benchmark::State& state) {
    const QString path = folder().filePath(QStringLiteral("whole.bin"));
    if (writeBinary(path) != imageSize) {
        std::abort();
    }
    readWhole(state, path);
}
BENCHMARK(binaryFile)->Unit(benchmark::kMillisecond);

// Measures only the parser. The text is in memory, and the bytes aren't stored.
void hexParser(benchmark::State& state) {
    QFile source(write("parser.hex", wholeImage(), writeHexFile));
    if (!source.open(QIODevice::ReadOnly)) {
        std::abort();
    }
    QByteArray text = source.readAll();
    FileData file;
    const RecordCallbacks callbacks = {&file,
                                       [](FileData&, std::uint32_t) {},
                                       [](FileData& counted, const RecordBlock& current) {
                                           counted.segmentCount += static_cast<std::uint32_t>(current.bytes.size());
                                           return true;
                                       },
                                       [](FileData&) {},
                                       [](FileData&, int, const char*) {},
                                       [](FileData&) {}};
    for (auto iteration : state) {
        QBuffer device(&text);
        if (!device.open(QIODevice::ReadOnly) || !parseRecords(device, callbacks)) {
            state.SkipWithError("not parsed");
        }
    }
    benchmark::DoNotOptimize(file.segmentCount);
    state.SetBytesProcessed(state.iterations() * text.size());
}
BENCHMARK(hexParser)->Unit(benchmark::kMillisecond);

// Two images of 20,000 segments each that interleave without touching.
void mergeScattered(benchmark::State& state) {
    FileData first = scatteredImage();
    FileData second = scatteredImage();
    for (FileSegment& segment : second.segments) {
        segment.address += 0x80;
    }
    for (auto iteration : state) {
        FileLoadContext context;
        FileData* merged = nullptr;
        if (!mergeFiles(context, {&first, &second}, merged)) {
            state.SkipWithError("not merged");
        }
    }
}
BENCHMARK(mergeScattered)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
