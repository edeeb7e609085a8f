#include "fuzz/FuzzFile.h"
#include "record/canonicalJson.h"
#include "record/exportRecord.h"
#include "record/verify.h"
#include "tests/record/RecordKit.h"

#include <QFile>
#include <QJsonDocument>

#include <cstdlib>

// The first byte of an input decides how the rest becomes a record. A hash or a signature would stop a fuzzer, so the
// target makes them itself:
//   'r'  the rest is the record
//   'b'  each line is the body of a line, which is chained
//   's'  the rest is a statement, which is signed after two lines

namespace {

QByteArray recordOf(const QByteArray& input) {
    const QByteArray rest = input.mid(1);
    KitWriter writer;
    switch (input.isEmpty() ? 'r' : input.at(0)) {
        case 'b':
            for (const QByteArray& line : rest.split('\n')) {
                const QJsonObject body = QJsonDocument::fromJson(line).object();
                if (!record::canonicalJson(body).isEmpty()) {
                    writer.add(body);
                }
            }
            return writer.bytes();
        case 's':
            writer.add(kitStart());
            writer.add(kitDevice());
            writer.addSigned(rest);
            return writer.bytes();
        default:
            return rest;
    }
}

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QByteArray bytes = recordOf(QByteArray(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size)));
    const FuzzFile file(reinterpret_cast<const std::uint8_t*>(bytes.constData()),
                        static_cast<std::size_t>(bytes.size()), ".jsonl");
    const record::Verdict verdict = record::verifyRecord(file.path(), kitPublicPem());
    require(verdict.isGood == verdict.fault.isEmpty());
    require(verdict.unsignedLines + verdict.checkpoints <= verdict.lines);
    require(!verdict.isGood || verdict.lines == bytes.count('\n'));

    // Without the key, an export can't find more faults than verifyRecord does.
    QByteArray table;
    qint64 envelopes = 0;
    QString fault;
    const bool isTable = record::exportCsv(
        file.path(),
        [&table](QByteArrayView piece) {
            table.append(piece);
            return true;
        },
        fault);
    const bool isInToto = record::exportInToto(
        file.path(), [&envelopes](QByteArrayView) { return ++envelopes > 0; }, fault);
    require(isTable == isInToto && (isTable || !verdict.isGood));
    require(!verdict.isGood || envelopes == verdict.checkpoints);
    for (const char* formula : {"\n=", ",=", "\n@", ",@", ",+", ",-"}) {
        require(table.contains('"') || !table.contains(formula));
    }

    // A good record continues where it ended.
    if (verdict.isGood && verdict.lines > 0) {
        record::ChainHead head{verdict.lines, verdict.lastHash};
        const QByteArray longer =
            bytes + record::nextLine(kitWith(kitStart(), "station", verdict.station), head) + '\n';
        const FuzzFile next(reinterpret_cast<const std::uint8_t*>(longer.constData()),
                            static_cast<std::size_t>(longer.size()), ".jsonl");
        require(verdict.station.isEmpty() || record::verifyRecord(next.path(), kitPublicPem(), head).isGood);
    }
    return 0;
}
