#include "images/backupGenerator.h"
#include "images/secretsGenerator.h"
#include "tests/images/ItemDocument.h"
#include "tests/support/MessageCapture.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QFileInfo>

namespace {

int makeImage(const QByteArray& kind, const QString& json, const QString& output) {
    if (kind == "backup") {
        return generateBackup(json, output);
    }
    QList<SecretItem> items;
    return parseSecretsJson(json, items) != 0 ? -2 : generateSecrets(kind.toUInt(nullptr, 16), items, output);
}

QByteArray image(const QByteArray& text) {
    QByteArray bytes;
    for (const QByteArray& piece : text.split(' ')) {
        bytes += piece.startsWith('z') ? QByteArray(piece.mid(1).toInt(), '\0') : QByteArray::fromHex(piece);
    }
    return bytes;
}

TEST(ImageCases, MatchTheirLines) {
    const TempFolder folder;
    folder.write("n.bin", countingBytes(0xA0, 16));
    folder.write("n17.bin", countingBytes(0xA0, 17));
    const QString above = QFileInfo(QCoreApplication::applicationDirPath()).absolutePath();
    int cases = 0;
    for (const QByteArray& line : fileContent(QStringLiteral(IMAGE_CASES)).split('\n')) {
        QByteArrayList parts = line.split('|');
        if (parts.size() < 5 || line.startsWith('#')) {
            continue;
        }
        SCOPED_TRACE(line.constData());
        parts.append("6f6c64");  // "old"
        folder.write("a.bin", countingBytes(1, parts[2].trimmed().toInt()));
        const QString json = writeDocument(folder, parts[3]);
        QByteArray expected = parts[4].trimmed().replace("\\n", "\n").replace("\\s", " ");
        expected.replace("{dir}", folder.path("").toUtf8()).replace("{above}", above.toUtf8());
        const int faultKind = expected.startsWith("Warning") ? 4 : 5;
        const MessageCapture messages;
        const int result = makeImage(parts[0].trimmed(), json, folder.write("out.bin", "old"));
        EXPECT_EQ(result, parts[1].trimmed().toInt());
        const std::vector<std::string> none;
        EXPECT_EQ(messages.texts(faultKind), expected.isEmpty() ? none : std::vector{expected.toStdString()});
        EXPECT_EQ(messages.texts(9 - faultKind), none);
        EXPECT_EQ(folder.read("out.bin").toHex(), image(parts[5].trimmed()).toHex());
        EXPECT_EQ(messages.texts(2).size(), result < 0 ? 0U : 1U);
        ++cases;
    }
    EXPECT_GT(cases, 70);
}

}  // namespace
