#include "inspect/library/qvora_inspect.h"
#include "tests/inspect/SealingKit.h"
#include "tests/support/TempFolder.h"
#include "tests/support/outsideTool.h"

#include <QProcess>

#include <gtest/gtest.h>

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <thread>
#include <vector>

namespace {

struct Free {
    void operator()(qvora_inspect_result* result) const { qvora_inspect_free(result); }
};
using Result = std::unique_ptr<qvora_inspect_result, Free>;

Result call(const QByteArrayList& words, bool keepsContents = false) {
    std::vector<const char*> arguments;
    for (const QByteArray& word : words) {
        arguments.push_back(word.constData());
    }
    return Result(qvora_inspect_run(arguments.data(), arguments.size(), keepsContents ? 1 : 0));
}

QByteArray reportOf(const Result& result) {
    std::size_t size = 0;
    const char* const report = qvora_inspect_report(result.get(), &size);
    EXPECT_EQ(std::strlen(report), size);
    return QByteArray(report, static_cast<qsizetype>(size));
}

struct Files {
    TempFolder folder;
    QByteArray image = folder.write("a.tbi", kitMake(kitInstallImage())).toUtf8();
    QByteArray broken = folder.write("b.tbi", kitMake(kitInstallImage()).replace(42, 1, "x")).toUtf8();
    QByteArray key = folder.write("key.bin", kitKey).toUtf8();
};

TEST(InspectLibrary, ReportsLikeTheProgram) {
    const Files files;
    const QByteArrayList rows[] = {
        {},
        {"open"},
        {"show"},
        {"show", "none"},
        {"show", files.image, files.broken},
        {"show", "--key", files.key, "--texts", "2", files.image},
        {"verify", files.image},
        {"verify", "--key", files.key, files.image},
        {"verify", "--key", files.key, files.broken, files.image},
        {"diff", "--key", files.key, files.image, files.broken},
        {"diff", files.image, files.image},
    };
    for (const QByteArrayList& row : rows) {
        QStringList words = {QStringLiteral("--json")};
        for (const QByteArray& word : row) {
            words << QString::fromUtf8(word);
        }
        QProcess program;
        program.start(QStringLiteral(QVORA_INSPECT), words);
        ASSERT_TRUE(program.waitForFinished());
        const Result result = call(row);
        EXPECT_EQ(reportOf(result), program.readAllStandardOutput()) << row.join(' ').constData();
        EXPECT_EQ(qvora_inspect_status(result.get()), program.exitCode());
        EXPECT_EQ(qvora_inspect_content_count(result.get()), 0U);
    }
}

TEST(InspectLibrary, KeepsTheContentsOfProvenFiles) {
    const Files files;
    const KitImage image = kitInstallImage();
    const Result result = call({"verify", "--key", files.key, files.image}, true);
    ASSERT_EQ(qvora_inspect_content_count(result.get()), image.areas.size());
    for (std::size_t i = 0; i < image.areas.size(); ++i) {
        std::size_t size = 0;
        int part = 0;
        std::uint64_t address = 0;
        const void* const bytes = qvora_inspect_content(result.get(), i, &size, &part, &address);
        EXPECT_EQ(QByteArray(static_cast<const char*>(bytes), static_cast<qsizetype>(size)), image.areas[i].payload);
        EXPECT_EQ(part, static_cast<int>(i) + 1);
        EXPECT_EQ(address, image.areas[i].address);
        EXPECT_EQ(qvora_inspect_content(result.get(), i, nullptr, nullptr, nullptr), bytes);
    }
    EXPECT_EQ(qvora_inspect_content(result.get(), image.areas.size(), nullptr, nullptr, nullptr), nullptr);
    KitImage empty = kitInstallImage();
    empty.areas.back().payload.clear();
    const QByteArray path = files.folder.write("empty.tbi", kitMake(empty)).toUtf8();
    EXPECT_NE(
        qvora_inspect_content(call({"verify", "--key", files.key, path}, true).get(), 3, nullptr, nullptr, nullptr),
        nullptr);
    const QByteArrayList without[] = {{"verify", files.image},
                                      {"verify", "--key", files.key, files.broken},
                                      {"show", "--key", files.key, files.image}};
    for (const QByteArrayList& row : without) {
        EXPECT_EQ(qvora_inspect_content_count(call(row, true).get()), 0U) << row.join(' ').constData();
    }
}

TEST(InspectLibrary, ReadsFilesInMemory) {
    const int key = memfd_create("key", 0);
    const int image = memfd_create("image", 0);
    const QByteArray bytes = kitMake(kitInstallImage());
    ASSERT_EQ(write(key, kitKey.constData(), static_cast<std::size_t>(kitKey.size())), kitKey.size());
    ASSERT_EQ(write(image, bytes.constData(), static_cast<std::size_t>(bytes.size())), bytes.size());
    const auto pathOf = [](int file) { return "/proc/self/fd/" + QByteArray::number(file); };
    const Result result = call({"verify", "--key", pathOf(key), pathOf(image)}, true);
    EXPECT_EQ(qvora_inspect_status(result.get()), 0);
    EXPECT_EQ(qvora_inspect_content_count(result.get()), kitInstallImage().areas.size());
    QProcess program;
    program.setStandardInputFile(QString::fromLatin1(pathOf(key)));
    program.start(QStringLiteral(QVORA_INSPECT), {QStringLiteral("verify"), QStringLiteral("--key"),
                                                  QStringLiteral("/proc/self/fd/0"), QStringLiteral("none.tbi")});
    ASSERT_TRUE(program.waitForFinished());
    EXPECT_EQ(program.readAllStandardError(), "qvora-inspect: none.tbi: No such file or directory\n");
    close(key);
    close(image);
}

TEST(InspectLibrary, RefusesFaultyArguments) {
    EXPECT_EQ(qvora_inspect_run(nullptr, 1, 0), nullptr);
    const char* const missing[] = {"show", nullptr};
    for (const char* const second : {missing[1], "\xff"}) {
        const char* const arguments[] = {"show", second};
        const Result result(qvora_inspect_run(arguments, 2, 0));
        EXPECT_EQ(qvora_inspect_status(result.get()), 2);
        EXPECT_TRUE(reportOf(result).contains("argument 2 is not in UTF-8"));
    }
    EXPECT_EQ(qvora_inspect_status(Result(qvora_inspect_run(nullptr, 0, 0)).get()), 2);
    qvora_inspect_free(nullptr);
}

// Each thread makes its own calls, also of extract, which writes folders.
TEST(InspectLibrary, ThreadsShareNothing) {
    const Files files;
    const QByteArray expected = reportOf(call({"verify", "--key", files.key, files.image}));
    std::array<int, 4> faults{};
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < faults.size(); ++i) {
        threads.emplace_back([&, i] {
            for (int turn = 0; turn < 20; ++turn) {
                const QByteArray out =
                    files.folder.path("out").toUtf8() + QByteArray::number(i * 100 + static_cast<std::size_t>(turn));
                const Result proven = call({"verify", "--key", files.key, files.image}, true);
                const Result written = call({"extract", "-o", out, "--key", files.key, files.image});
                const Result faulty = call({"verify", "--key", files.key, "--option-bytes", files.broken, files.image});
                faults[i] += reportOf(proven) != expected ? 1 : 0;
                faults[i] += qvora_inspect_status(written.get()) != 0 ? 1 : 0;
                faults[i] += qvora_inspect_status(faulty.get()) != 2 ? 1 : 0;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(faults, (std::array<int, 4>{}));
}

// Programs that were built with an older release need these names and their version.
TEST(InspectLibrary, ExportsItsFunctionsOnly) {
    QByteArrayList names;
    for (const QByteArray& line :
         outsideTool("nm -D --defined-only --with-symbol-versions " QVORA_LIBRARY).split('\n')) {
        const QByteArray name = line.split(' ').constLast();
        if (name.contains("@@")) {
            names << name;
        }
    }
    std::sort(names.begin(), names.end());
    const QByteArrayList expected = {
        "qvora_inspect_content@@QVORA_INSPECT_2", "qvora_inspect_content_count@@QVORA_INSPECT_2",
        "qvora_inspect_free@@QVORA_INSPECT_2",    "qvora_inspect_report@@QVORA_INSPECT_2",
        "qvora_inspect_run@@QVORA_INSPECT_2",     "qvora_inspect_status@@QVORA_INSPECT_2",
        "qvora_inspect_version@@QVORA_INSPECT_2"};
    EXPECT_EQ(names, expected);
}

TEST(InspectLibrary, WorksInCAndPython) {
    const Files files;
    const QByteArray arguments = " verify --key " + files.key + ' ' + files.image;
    const QByteArray report = reportOf(call({"verify", "--key", files.key, files.image}));
    const QByteArray program = files.folder.path("plain").toUtf8();
    std::size_t size = 0;
    QByteArray parts;
    int part = 0;
    for (const KitArea& area : kitInstallImage().areas) {
        size += static_cast<std::size_t>(area.payload.size());
        parts += "part " + QByteArray::number(++part) + " at 0x" +
                 QByteArray::number(area.address, 16).rightJustified(8, '0') + ": " +
                 QByteArray::number(area.payload.size()) + " bytes\n";
    }
    outsideTool(QVORA_COMPILE_C " -I" QVORA_HEADER_FOLDER " " QVORA_PLAIN_C " -x none " QVORA_LIBRARY " -o " + program);
    EXPECT_EQ(outsideTool("env LD_LIBRARY_PATH=" QVORA_LIBRARY_FOLDER " " + program + arguments),
              report + QByteArray::number(size) + " bytes\n");
    EXPECT_EQ(outsideTool("env " QVORA_PRELOAD " ASAN_OPTIONS=detect_leaks=0 python3 " QVORA_EXAMPLES
                          "/inspect.py " QVORA_LIBRARY +
                          arguments),
              files.image + ": proven\n" + parts);
}

}  // namespace
