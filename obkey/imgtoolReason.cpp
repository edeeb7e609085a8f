#include "obkey/imgtoolReason.h"

#include <QRegularExpression>
#include <QString>

#include <cstring>

namespace obkey {

namespace {

constexpr qsizetype longestLine = 1000;

/// Whether a line may contain bytes, in base64, as a row of numbers, or escaped.
bool mayHoldBytes(const QString& line) {
    static const QRegularExpression bytes(
        QStringLiteral("(?=[A-Za-z+]*[0-9])[A-Za-z0-9+]{24}|(?:(?:0x)?[0-9A-Fa-f]{1,3}[:, ]+){4}|\\\\x|-----"));
    return bytes.match(line).hasMatch();
}

bool isReportedError(const QString& line) {
    return line.startsWith(QLatin1String("Error")) || line.startsWith(QLatin1String("Exception: "));
}

/// Whether a line is an exception ("ValueError: ...", "package.Unsupported: ...") or a sentence without digits.
bool isLastWord(const QString& line) {
    static const QRegularExpression exception(
        QStringLiteral("^(?:[\\w.]*(?:Error|Exception)|\\w+(?:\\.\\w+)+)(?:$|: )"));
    static const QRegularExpression sentence(
        QStringLiteral("^[A-Za-z][A-Za-z',.;:()?-]*(?:!$| [A-Za-z',.;:()?! -]*$)"));
    return exception.match(line).hasMatch() || sentence.match(line).hasMatch();
}

}  // namespace

QByteArray imgtoolReason(const QByteArray& output) {
    const QByteArrayView text = QByteArrayView(output).trimmed();
    QByteArray lines;
    qsizetype end = 0;
    for (qsizetype begin = 0; begin < text.size(); begin = end + 1) {
        end = text.indexOf('\n', begin);
        const bool isLast = end < 0;
        end = isLast ? text.size() : end;
        if (end - begin > longestLine) {
            continue;
        }
        QString line = QString::fromLocal8Bit(text.sliced(begin, end - begin).trimmed());
        if ((isReportedError(line) || (isLast && isLastWord(line))) && !mayHoldBytes(line)) {
            lines.append(line.toUtf8()).append('\n');
        }
        explicit_bzero(line.data(), static_cast<std::size_t>(line.size()) * sizeof(QChar));
    }
    return lines;
}

}  // namespace obkey
