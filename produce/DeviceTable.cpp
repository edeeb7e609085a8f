#include "produce/DeviceTable.h"

#include "produce/JsonTokens.h"
#include "produce/ProductionJob.h"

#include <QFile>
#include <QRandomGenerator>

#include <algorithm>
#include <array>
#include <cstring>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace produce {

namespace {

constexpr qsizetype readSize = qsizetype{64} << 10;
constexpr qsizetype longestRow = qsizetype{64} << 10;
constexpr qsizetype longestValue = 8192;  // as in a job
constexpr qsizetype mostColumns = 256;

/// Names in the output folder that the runner uses. A serial can't be one of them.
constexpr std::array reservedNames = {"void", "making", "record.jsonl"};

constexpr char byteOrderMark[] = "\xEF\xBB\xBF";

/// Characters that end the plain part of a field.
constexpr auto isSpecial = [] {
    std::array<bool, 256> special{};
    for (const char c : {',', '"', '\r', '\n'}) {
        special[static_cast<unsigned char>(c)] = true;
    }
    return special;
}();

qint64 charactersIn(QByteArrayView bytes) {
    return std::count_if(bytes.begin(), bytes.end(),
                         [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80; });
}

}  // namespace

QString serialFault(QStringView serial) {
    if (!isName(serial)) {
        return QStringLiteral(
            "A serial has 1 to 64 letters, digits, -, _ and ., and begins with a letter, a digit or _.");
    }
    const bool isReserved = std::any_of(reservedNames.begin(), reservedNames.end(), [&serial](const char* name) {
        return serial.compare(QLatin1String(name), Qt::CaseInsensitive) == 0;
    });
    return isReserved
               ? QStringLiteral("“%1” can't be a serial: the runner has a file or folder of this name.").arg(serial)
               : QString();
}

QByteArrayView DeviceTable::record() const {
    return QByteArrayView(buffer_).sliced(start_, recordEnd_ - start_);
}

/// Fills `fault` with the line and column of the offset `at` in the buffer, which is in the current record. Returns
/// false.
bool DeviceTable::refuse(qsizetype at, const QString& text, TableFault& fault) const {
    const QByteArrayView before = QByteArrayView(buffer_).sliced(start_, std::clamp(at, start_, filled_) - start_);
    const qsizetype lastBreak = before.lastIndexOf('\n');
    fault = {name_, line_ + std::count(before.begin(), before.end(), '\n'),
             charactersIn(before.sliced(lastBreak + 1)) + 1, text};
    return false;
}

bool DeviceTable::open(const QString& path, const QStringList& columns, TableFault& fault) {
    const bool isInput = path == QLatin1String("-");
    name_ = isInput ? QStringLiteral("standard input") : path;
    file_ = FileHandle(isInput ? ::dup(STDIN_FILENO)
                               : ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
    columns_ = columns;
    if (!file_.isOpen()) {
        fault = {name_, 0, 0,
                 QStringLiteral("The table can't be read: %1.").arg(QString::fromLocal8Bit(std::strerror(errno)))};
        return false;
    }
    buffer_.resize(readSize);
    // A byte order mark at the beginning isn't a part of the first name.
    while (filled_ < 3 && !isAtEnd_) {
        if (!fill(fault)) {
            return false;
        }
    }
    if (QByteArrayView(buffer_).first(filled_).startsWith(byteOrderMark)) {
        start_ = 3;
    }
    recordEnd_ = start_;
    isJson_ =
        path.endsWith(QLatin1String(".jsonl"), Qt::CaseInsensitive) || (start_ < filled_ && buffer_.at(start_) == '{');
    return isJson_ || readHeader(fault);
}

/// Reads more bytes. If the buffer has little room, first moves the current record to its start.
bool DeviceTable::fill(TableFault& fault) {
    if (start_ > 0 && buffer_.size() - filled_ < readSize) {
        char* const bytes = buffer_.data();
        std::memmove(bytes, bytes + start_, static_cast<std::size_t>(filled_ - start_));
        filled_ -= start_;
        recordEnd_ -= start_;
        start_ = 0;
    }
    if (filled_ == buffer_.size()) {
        buffer_.resize(buffer_.size() + readSize);
    }
    const ssize_t count = file_.read(buffer_.data() + filled_, static_cast<std::size_t>(buffer_.size() - filled_));
    if (count < 0) {
        fault = {name_, line_, 0,
                 QStringLiteral("The table can't be read: %1.").arg(QString::fromLocal8Bit(std::strerror(errno)))};
        return false;
    }
    filled_ += count;
    isAtEnd_ = count == 0;
    return true;
}

/// Finds the next line break at or after `from`, an offset relative to the record's start. At the end of the table,
/// `end` is the end of the bytes.
bool DeviceTable::findLineEnd(qsizetype from, qsizetype& end, TableFault& fault) {
    while (true) {
        const QByteArrayView rest = QByteArrayView(buffer_).sliced(start_, filled_ - start_);
        const qsizetype found = rest.indexOf('\n', from);
        if ((found < 0 ? rest.size() : found) > longestRow) {
            return refuse(start_, QStringLiteral("The row has more than %1 bytes.").arg(longestRow), fault);
        }
        if (found >= 0 || isAtEnd_) {
            end = found < 0 ? rest.size() : found + 1;
            return true;
        }
        from = rest.size();
        if (!fill(fault)) {
            return false;
        }
    }
}

/// Moves to the next record and skips empty lines.
bool DeviceTable::skipEmptyLines(TableFault& fault) {
    const QByteArrayView last = record();
    line_ += std::count(last.begin(), last.end(), '\n');
    start_ = recordEnd_;
    while (true) {
        if (filled_ - start_ < 2 && !isAtEnd_) {
            recordEnd_ = start_;
            if (!fill(fault)) {
                return false;
            }
            continue;
        }
        const QByteArrayView rest = QByteArrayView(buffer_).sliced(start_, filled_ - start_);
        const qsizetype size = rest.startsWith('\n') ? 1 : rest.startsWith("\r\n") ? 2 : 0;
        if (size == 0) {
            recordEnd_ = start_;
            return true;
        }
        start_ += size;
        ++line_;
    }
}

DeviceTable::Record DeviceTable::takeLines(TableFault& fault) {
    if (!skipEmptyLines(fault)) {
        return Record::fault;
    }
    qsizetype end = 0;
    if (!findLineEnd(0, end, fault)) {
        return Record::fault;
    }
    recordEnd_ = start_ + end;
    if (end == 0) {
        return Record::end;
    }
    return Record::done;
}

/// Finds the end of a quoted field from its beginning. False if it is after the end of `bytes`.
bool DeviceTable::findClosingQuote(QByteArrayView bytes, Field& field) {
    qsizetype at = bytes.indexOf('"', field.begin);
    while (at >= 0 && at + 1 < bytes.size() && bytes.at(at + 1) == '"') {
        field.hasDoubledQuotes = true;
        at = bytes.indexOf('"', at + 2);
    }
    field.end = at;
    return at >= 0;
}

/// Splits the record at its commas. `end` is the end of the last line that was read, relative to the record's start. If
/// a quoted field reaches beyond it, `isWhole` becomes false.
bool DeviceTable::splitCsv(qsizetype& end, bool& isWhole, TableFault& fault) {
    const char* const bytes = buffer_.constData();
    const qsizetype limit = start_ + end;
    fields_.clear();
    isWhole = true;
    qsizetype at = start_;
    while (true) {
        Field field{at, at, false, false};
        if (at < limit && bytes[at] == '"') {
            field = {at + 1, at + 1, true, false};
            if (!findClosingQuote(QByteArrayView(buffer_).first(limit), field)) {
                isWhole = false;
                return !isAtEnd_ || limit < filled_ ||
                       refuse(at, QStringLiteral("The quotation mark has no partner."), fault);
            }
            at = field.end + 1;
        } else {
            while (at < limit && !isSpecial[static_cast<unsigned char>(bytes[at])]) {
                ++at;
            }
            field.end = at;
        }
        if (fields_.size() == mostColumns) {
            return refuse(at, QStringLiteral("A table has at most %1 columns.").arg(mostColumns), fault);
        }
        fields_.append(field);
        if (at == limit) {
            return true;
        }
        if (bytes[at] == ',') {
            ++at;
            continue;
        }
        if (bytes[at] == '\n' || (bytes[at] == '\r' && at + 1 < limit && bytes[at + 1] == '\n')) {
            end = at + (bytes[at] == '\n' ? 1 : 2) - start_;
            return true;
        }
        return refuse(at,
                      bytes[at] == '\r' ? QStringLiteral("A carriage return isn't followed by a line feed.")
                      : field.isQuoted
                          ? QStringLiteral("Only a comma or the end of the line can follow a quoted field.")
                          : QStringLiteral("A quotation mark is inside a field that isn't quoted."),
                      fault);
    }
}

DeviceTable::Record DeviceTable::takeCsv(TableFault& fault) {
    if (!skipEmptyLines(fault)) {
        return Record::fault;
    }
    qsizetype end = 0;
    bool isWhole = false;
    while (!isWhole) {
        if (!findLineEnd(end, end, fault)) {
            return Record::fault;
        }
        if (end == 0) {
            return Record::end;
        }
        if (!splitCsv(end, isWhole, fault)) {
            return Record::fault;
        }
    }
    recordEnd_ = start_ + end;
    return Record::done;
}

QString DeviceTable::textOf(const Field& field) const {
    const QByteArrayView bytes = QByteArrayView(buffer_).sliced(field.begin, field.end - field.begin);
    QString text = QString::fromUtf8(bytes);
    return field.hasDoubledQuotes ? text.replace(QLatin1String("\"\""), QLatin1String("\"")) : text;
}

bool DeviceTable::readHeader(TableFault& fault) {
    const Record record = takeCsv(fault);
    if (record != Record::done) {
        return record != Record::fault && refuse(start_, QStringLiteral("The table is empty."), fault);
    }
    if (!checkEncoding(fault)) {
        return false;
    }
    const QStringList wanted = QStringList(QStringLiteral("serial")) + columns_;
    positions_.fill(-1, wanted.size());
    for (qsizetype i = 0; i < fields_.size(); ++i) {
        const QString name = textOf(fields_.at(i));
        const qsizetype index = wanted.indexOf(name);
        if (index < 0) {
            return refuse(fields_.at(i).begin, QStringLiteral("The job uses no column “%1”.").arg(name), fault);
        }
        if (positions_.at(index) >= 0) {
            return refuse(fields_.at(i).begin, QStringLiteral("There are two columns “%1”.").arg(name), fault);
        }
        positions_[index] = i;
    }
    const qsizetype missing = positions_.indexOf(-1);
    return missing < 0 ||
           refuse(start_, QStringLiteral("The table has no column “%1”.").arg(wanted.at(missing)), fault);
}

bool DeviceTable::checkEncoding(TableFault& fault) const {
    return record().isValidUtf8() || refuse(start_, QStringLiteral("The row isn't UTF-8."), fault);
}

bool DeviceTable::checkRow(DeviceRow& row, TableFault& fault) const {
    const auto at = [this](qsizetype index) { return fields_.at(positions_.at(index)).begin; };
    const QString bad = serialFault(row.serial);
    if (!bad.isEmpty()) {
        return refuse(at(0), bad, fault);
    }
    for (qsizetype i = 0; i < row.values.size(); ++i) {
        const QString& value = row.values.at(i);
        if (value.size() > longestValue || value.contains(QChar::Null)) {
            return refuse(at(i + 1), QStringLiteral("A value has at most %1 characters and no NUL.").arg(longestValue),
                          fault);
        }
    }
    return true;
}

bool DeviceTable::readCsvRow(DeviceRow& row, TableFault& fault) {
    if (fields_.size() != positions_.size()) {
        return refuse(start_,
                      QStringLiteral("The row and the header have different numbers of fields: %1 and %2.")
                          .arg(fields_.size())
                          .arg(positions_.size()),
                      fault);
    }
    row.serial = textOf(fields_.at(positions_.constFirst()));
    for (qsizetype i = 1; i < positions_.size(); ++i) {
        row.values.append(textOf(fields_.at(positions_.at(i))));
    }
    return true;
}

bool DeviceTable::readJsonRow(DeviceRow& row, TableFault& fault) {
    JsonTokens tokens(record());
    using Kind = JsonTokens::Kind;
    const auto here = [&] { return start_ + tokens.offset(); };
    const auto broken = [&] {
        return refuse(here(), QStringLiteral("A row is an object of texts: {\"serial\": \"...\", ...}."), fault);
    };
    row.values.resize(columns_.size());
    positions_.fill(-1, columns_.size() + 1);
    fields_.clear();
    Kind kind = tokens.next();
    if (kind != Kind::objectStart) {
        return broken();
    }
    for (kind = tokens.next(); kind != Kind::objectEnd; kind = tokens.next()) {
        QString name;
        if (!fields_.isEmpty()) {
            if (kind != Kind::comma) {
                return broken();
            }
            kind = tokens.next();
        }
        const qsizetype nameAt = here();
        if (kind != Kind::string || !tokens.string(name) || tokens.next() != Kind::colon) {
            return broken();
        }
        const qsizetype index = name == QLatin1String("serial") ? 0 : columns_.indexOf(name) + 1;
        if (index == 0 && name != QLatin1String("serial")) {
            return refuse(nameAt, QStringLiteral("The job uses no column “%1”.").arg(name), fault);
        }
        if (positions_.at(index) >= 0) {
            return refuse(nameAt, QStringLiteral("There are two columns “%1”.").arg(name), fault);
        }
        if (tokens.next() != Kind::string || !tokens.string(index == 0 ? row.serial : row.values[index - 1])) {
            return refuse(here(), QStringLiteral("The value of “%1” must be a text.").arg(name), fault);
        }
        positions_[index] = fields_.size();
        fields_.append({here(), here(), true, false});
    }
    if (tokens.next() != Kind::end) {
        return broken();
    }
    const qsizetype missing = positions_.indexOf(-1);
    return missing < 0 || refuse(start_,
                                 QStringLiteral("The row has no “%1”.")
                                     .arg(missing == 0 ? QStringLiteral("serial") : columns_.at(missing - 1)),
                                 fault);
}

bool DeviceTable::isReady() {
    pollfd input{file_.get(), POLLIN, 0};
    TableFault fault;  // `next` reports it
    while (true) {
        QByteArrayView rest = QByteArrayView(buffer_).sliced(recordEnd_, filled_ - recordEnd_);
        while (rest.startsWith('\n') || rest.startsWith('\r')) {
            rest = rest.sliced(1);
        }
        if (isAtEnd_ || rest.contains('\n') || rest.size() > longestRow) {
            return true;
        }
        if (poll(&input, 1, 0) <= 0) {
            return false;
        }
        if (!fill(fault)) {
            return true;
        }
    }
}

DeviceTable::Next DeviceTable::next(DeviceRow& row, TableFault& fault) {
    const Record record = isJson_ ? takeLines(fault) : takeCsv(fault);
    if (record != Record::done) {
        return record == Record::end ? Next::end : Next::fault;
    }
    DeviceRow read;
    read.line = line_;
    if (!checkEncoding(fault) || !(isJson_ ? readJsonRow(read, fault) : readCsvRow(read, fault)) ||
        !checkRow(read, fault)) {
        return Next::badRow;
    }
    row = std::move(read);
    return Next::row;
}

TableFault DeviceTable::placeOf(qsizetype value) const {
    TableFault place;
    static_cast<void>(refuse(fields_.at(positions_.at(value + 1)).begin, {}, place));
    return place;
}

SerialSet::SerialSet() : seed_(QRandomGenerator::system()->generate64()) {
    entries_.resize(qsizetype{1} << 10);
}

qint64 SerialSet::add(QStringView serial, qint64 line) {
    if (count_ * 4 >= entries_.size() * 3) {
        grow();
    }
    std::array<char, 64> folded{};
    const qsizetype size = std::min<qsizetype>(serial.size(), static_cast<qsizetype>(folded.size()));
    std::transform(serial.begin(), serial.begin() + size, folded.begin(), [](QChar c) {
        return static_cast<char>(c >= u'A' && c <= u'Z' ? c.unicode() + ('a' - 'A') : c.unicode());
    });
    // Equal hashes count as equal serials. The seed is random: of 10^9 tables with 100,000 serials each, about one has
    // two different serials with the same hash.
    const std::size_t hash = std::max<std::size_t>(qHashBits(folded.data(), static_cast<std::size_t>(size), seed_), 1);
    const auto mask = static_cast<std::size_t>(entries_.size() - 1);
    for (std::size_t at = hash & mask;; at = (at + 1) & mask) {
        Entry& entry = entries_[static_cast<qsizetype>(at)];
        if (entry.hash == hash) {
            return entry.line;
        }
        if (entry.hash == 0) {
            entry = {hash, line};
            ++count_;
            return 0;
        }
    }
}

void SerialSet::grow() {
    QList<Entry> larger(entries_.size() * 2);
    const auto mask = static_cast<std::size_t>(larger.size() - 1);
    for (const Entry& entry : std::as_const(entries_)) {
        if (entry.hash != 0) {
            std::size_t at = entry.hash & mask;
            while (larger.at(static_cast<qsizetype>(at)).hash != 0) {
                at = (at + 1) & mask;
            }
            larger[static_cast<qsizetype>(at)] = entry;
        }
    }
    entries_ = larger;
}

}  // namespace produce
