#include "formats/openCsvFile.h"

#include "files/openFile.h"
#include "formats/formatTable.h"
#include "tests/support/MessageCapture.h"
#include "tests/support/TempFolder.h"

#include <QDir>

#include <gtest/gtest.h>

namespace {

TEST(OpenCsvFile, ReadsByKindWhereOpenFileReadsByName) {
    const TempFolder folder;
    const QString path = folder.write("x.csv", "10,010");
    FileLoadContext context;
    context.formats = formatTable();
    FileData* file = nullptr;
    ASSERT_TRUE(openFile(context, path, file));
    ASSERT_TRUE(openFile(context, folder.write("x.KCSV", "10,010"), file));
    for (const CsvKind kind : {CsvKind::optionBytes, CsvKind::keyArea, CsvKind::diversification}) {
        ASSERT_TRUE(openCsvFile(context, path, kind, file));
        EXPECT_EQ(file, context.records.back().get());
    }
    QByteArrayList words;
    for (const std::shared_ptr<FileData>& record : context.records) {
        words += record->segments.front().data.toHex();
    }
    EXPECT_EQ(words.join(' '), "08000000 1000000010000000 08000000 1000000010000000 1000000010000000");
}

TEST(OpenCsvFile, ReportsAFileThatItDoesNotAccept) {
    const TempFolder folder;
    folder.write("x.csv", "10,010");
    folder.write("empty.csv", "");
    QDir(folder.path("")).mkdir(QStringLiteral("folder.csv"));
    const std::tuple<const char*, CsvKind, std::vector<std::string>> rows[] = {
        {"x", CsvKind::keyArea, {"Error: The file x does not have .csv extension, please check the file's path"}},
        {"y.mcsv", CsvKind::keyArea, {"Error: The file y.mcsv does not exist, please check the file's path"}},
        {"folder.csv", CsvKind::keyArea, {"Error: Unable to open the file folder.csv"}},
        {"empty.csv", CsvKind::moduleList, {"Error: The file empty.csv is empty"}},
        {"x.csv", CsvKind{9}, {}},
    };
    for (const auto& [name, kind, messages] : rows) {
        FileLoadContext context;
        FileData* file = nullptr;
        const MessageCapture capture;
        EXPECT_FALSE(openCsvFile(context, folder.path(name), kind, file));
        EXPECT_EQ(capture.texts(), messages);
        EXPECT_EQ(file, nullptr);
    }
}

}  // namespace
