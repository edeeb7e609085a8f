#include "produce/RecordFile.h"

#include "record/chain.h"

#include <QFile>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace produce {

namespace {

constexpr qsizetype pieceSize = 64 << 10;
constexpr qsizetype longestLine = 64 << 20;
constexpr qsizetype linesAtOnce = 1000;

bool refuse(QString& fault, const QString& text) {
    fault = text;
    return false;
}

}  // namespace

qint64 numberOf(QByteArrayView line) {
    QJsonObject object;
    QString fault;
    return record::parseCanonicalJson(line, object, fault) ? object.value(QLatin1String("number")).toInteger() : 0;
}

bool RecordFile::fail(QString& fault, const char* what) const {
    return refuse(fault, QStringLiteral("%1 can't be %2: %3")
                             .arg(path_, QLatin1String(what), QString::fromLocal8Bit(std::strerror(errno))));
}

bool RecordFile::open(const QString& path, ledger::Ledger& ledger, QString& fault) {
    path_ = path;
    file_ = FileHandle(::open(QFile::encodeName(path).constData(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC, 0644));
    if (!file_.isOpen()) {
        return fail(fault, "opened");
    }
    if (flock(file_.get(), LOCK_EX | LOCK_NB) != 0) {
        return refuse(fault, QStringLiteral("%1 is in use by another run").arg(path));
    }
    QByteArray last;
    qint64 end = 0;
    if (!findEnd(last, end, fault)) {
        return false;
    }
    const qint64 number = last.isEmpty() ? 0 : numberOf(last);
    if (!last.isEmpty()) {
        ledger::Fault reason;
        QList<ledger::RecordRow> lines;
        if (number == 0 || !ledger.recordAfter(number - 1, 1, lines, reason)) {
            return refuse(fault, number == 0 ? QStringLiteral("%1 isn't a record").arg(path) : reason.text);
        }
        if (lines.isEmpty()) {
            return refuse(fault,
                          QStringLiteral("%1 has line %2, which the ledger doesn't have: the ledger is older than "
                                         "the record, or another one")
                              .arg(path)
                              .arg(number));
        }
        if (lines.constFirst().line != last) {
            return refuse(fault,
                          QStringLiteral("line %2 of %1 isn't the ledger's line %2: it is the record of another ledger")
                              .arg(path)
                              .arg(number));
        }
    }
    struct stat status {};
    if (fstat(file_.get(), &status) != 0 || (status.st_size > end && ftruncate(file_.get(), end) != 0)) {
        return fail(fault, "shortened to its last whole line");
    }
    return addMissing(number, ledger, fault);
}

/// Finds the last line that ends with a line break, and the offset after it.
bool RecordFile::findEnd(QByteArray& lastLine, qint64& end, QString& fault) const {
    struct stat status {};
    if (fstat(file_.get(), &status) != 0 || !S_ISREG(status.st_mode)) {
        return refuse(fault, QStringLiteral("%1 isn't a file").arg(path_));
    }
    QByteArray tail;
    qint64 start = status.st_size;
    end = 0;
    while (start > 0 && tail.size() < longestLine) {
        const qint64 size = qMin<qint64>(pieceSize, start);
        QByteArray piece(size, Qt::Uninitialized);
        if (pread(file_.get(), piece.data(), static_cast<std::size_t>(size), start - size) != size) {
            return fail(fault, "read");
        }
        start -= size;
        tail.prepend(piece);
        const qsizetype breakAt = tail.lastIndexOf('\n');
        const qsizetype before = breakAt > 0 ? tail.lastIndexOf('\n', breakAt - 1) : -1;
        if (breakAt >= 0 && (before >= 0 || start == 0)) {
            lastLine = tail.sliced(before + 1, breakAt - before - 1);
            end = start + breakAt + 1;
            return true;
        }
    }
    return start == 0 || refuse(fault, QStringLiteral("%1 isn't a record").arg(path_));
}

bool RecordFile::addMissing(qint64 after, ledger::Ledger& ledger, QString& fault) {
    for (;;) {
        QList<ledger::RecordRow> lines;
        ledger::Fault reason;
        if (!ledger.recordAfter(after, linesAtOnce, lines, reason)) {
            return refuse(fault, reason.text);
        }
        if (lines.isEmpty()) {
            return true;
        }
        if (!append(lines, fault)) {
            return false;
        }
        after = lines.constLast().number;
    }
}

bool RecordFile::append(std::span<const ledger::RecordRow> lines, QString& fault) {
    QByteArray bytes;
    for (const ledger::RecordRow& row : lines) {
        bytes += row.line;
        bytes += '\n';
    }
    return file_.write(bytes) || fail(fault, "written");
}

bool RecordFile::flush(QString& fault) const {
    return fdatasync(file_.get()) == 0 || fail(fault, "flushed");
}

}  // namespace produce
