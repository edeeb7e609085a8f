#include "tests/images/ItemDocument.h"

#include <numeric>

namespace {

void setValue(const QString& key, QString value, QString& item) {
    const qsizetype zeros = value.startsWith(QLatin1String("0x")) ? value.indexOf(u'z') : -1;
    if (zeros >= 0) {
        value = value.left(zeros) + QString(2 * value.mid(zeros + 1).toInt(), u'0');
    }
    const QString head = QStringLiteral("\"%1\": ").arg(key);
    const QString fieldHead = head + QStringLiteral("{\"BitValue\": ");
    const QString& found = item.contains(fieldHead) ? fieldHead : head;
    const qsizetype start = item.indexOf(found) + found.size() + 1;
    item.replace(start, item.indexOf(u'"', start) - start, value);
}

QString editedItem(const QString& edits) {
    QString item = QString::fromUtf8(fileContent(QStringLiteral(IMAGE_ITEM)));
    for (const QString& edit : edits.split(u';')) {
        const QStringList replacement = edit.trimmed().split(QStringLiteral("->"));
        if (replacement.size() == 2) {
            item.replace(replacement[0], replacement[1]);
        } else if (edit.contains(u'=')) {
            setValue(edit.section(u'=', 0, 0).trimmed(), edit.section(u'=', 1).trimmed(), item);
        }
    }
    return item;
}

}  // namespace

QString writeDocument(const TempFolder& folder, const QByteArray& items) {
    QStringList texts;
    for (const QString& edits : QString::fromUtf8(items).split(QStringLiteral("&&"))) {
        texts.append(editedItem(edits).replace(QStringLiteral("{dir}"), folder.path("")));
    }
    return folder.write("doc.json", "{\"Title\": \"T\", \"Files\": [" + texts.join(u',').toUtf8() + "]}");
}

QByteArray countingBytes(int first, int count) {
    QByteArray bytes(count, '\0');
    std::iota(bytes.begin(), bytes.end(), static_cast<char>(first));
    return bytes;
}
