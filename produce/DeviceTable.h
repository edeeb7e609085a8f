#pragma once

#include "files/FileHandle.h"

#include <QByteArray>
#include <QHash>
#include <QStringList>

namespace produce {

/// A fault with its place; lines and columns count from 1, columns in characters.
struct TableFault {
    QString file;
    qint64 line = 0;
    qint64 column = 0;
    QString text;
};

/// One device of the table.
struct DeviceRow {
    QString serial;
    QStringList values;  ///< values of the columns that the job needs, in the order of the columns
    qint64 line = 0;     ///< the first line of the row
};

/// The reason why `serial` can't be a serial; empty if it can. A serial names a folder and is a key of the ledger.
[[nodiscard]] QString serialFault(QStringView serial);

/// Reads devices one at a time, from CSV (RFC 4180, with a header) or from JSON lines, each an object of texts. The
/// memory that it needs depends on the longest row only. Rows of a pipe are returned as soon as they arrive.
///
/// The table is JSON lines if its name ends in .jsonl or if it begins with "{". Lines end in LF or CRLF, and may be
/// empty. Every row has a serial and a text for every column of the job, and nothing else.
class DeviceTable {
  public:
    enum class Next {
        row,
        badRow,  ///< this row is refused, and the next one can be read
        end,
        fault,  ///< the rest of the table can't be read
    };

    /// Opens the table at `path`, "-" for standard input, and reads its header. `columns` are those that the job needs.
    [[nodiscard]] bool open(const QString& path, const QStringList& columns, TableFault& fault);
    /// Reads the bytes that a pipe has now. False if `next` would wait for a line. If the line ends inside a quoted
    /// field, `next` waits nevertheless.
    [[nodiscard]] bool isReady();
    /// Reads the next row. `row` is unchanged unless the result is `row`.
    [[nodiscard]] Next next(DeviceRow& row, TableFault& fault);
    /// The place of the value with this index in the row that `next` returned last; -1 is the serial. The text of the
    /// result is empty.
    [[nodiscard]] TableFault placeOf(qsizetype value) const;

  private:
    struct Field {
        qsizetype begin = 0;
        qsizetype end = 0;
        bool isQuoted = false;
        bool hasDoubledQuotes = false;
    };
    enum class Record { done, end, fault };  // `done`: its bounds are known

    bool fill(TableFault& fault);
    bool findLineEnd(qsizetype from, qsizetype& end, TableFault& fault);
    bool skipEmptyLines(TableFault& fault);
    Record takeLines(TableFault& fault);
    [[nodiscard]] static bool findClosingQuote(QByteArrayView bytes, Field& field);
    bool splitCsv(qsizetype& end, bool& isWhole, TableFault& fault);
    Record takeCsv(TableFault& fault);
    bool readHeader(TableFault& fault);
    bool readCsvRow(DeviceRow& row, TableFault& fault);
    bool readJsonRow(DeviceRow& row, TableFault& fault);
    [[nodiscard]] bool checkEncoding(TableFault& fault) const;
    bool checkRow(DeviceRow& row, TableFault& fault) const;
    [[nodiscard]] QString textOf(const Field& field) const;
    [[nodiscard]] QByteArrayView record() const;
    [[nodiscard]] bool refuse(qsizetype at, const QString& text, TableFault& fault) const;

    QString name_;  // for messages
    FileHandle file_;
    QStringList columns_;
    bool isJson_ = false;
    QByteArray buffer_;
    qsizetype start_ = 0;      // offset of the current record in the buffer
    qsizetype recordEnd_ = 0;  // offset after the line break of the current record
    qsizetype filled_ = 0;     // bytes of the buffer that were read
    bool isAtEnd_ = false;
    qint64 line_ = 1;             // first line of the current record
    QList<Field> fields_;         // fields of the current record
    QList<qsizetype> positions_;  // of the serial and the columns: indexes of fields
};

/// Finds serials that occur twice, in upper or lower case. Keeps the hash of the serial and the line of each row.
class SerialSet {
  public:
    SerialSet();
    /// Adds a serial. Returns the line of an equal one, or 0 if there is none.
    [[nodiscard]] qint64 add(QStringView serial, qint64 line);

  private:
    struct Entry {
        std::size_t hash = 0;  // 0: empty
        qint64 line = 0;
    };
    void grow();

    std::size_t seed_;
    QList<Entry> entries_;
    qsizetype count_ = 0;
};

}  // namespace produce
