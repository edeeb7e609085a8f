// The time that the ledger needs per device of a production run. A batch has 64 devices. Each device is claimed with
// two IVs, and ends with two steps and a record line of 1,200 bytes. The CPU time counts only this thread, so for
// PostgreSQL it is the client's share.
//
// SQLite is measured in a temporary folder of TMPDIR, which should be on a disk. PostgreSQL is measured if
// QVORA_BENCH_LEDGER has the URL of a new ledger.

#include "ledger/Ledger.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <array>
#include <memory>
#include <vector>

namespace {

constexpr qint64 batch = 64;
constexpr qsizetype lineSize = 1200;

void require(bool holds, const ledger::Fault& fault) {
    if (!holds) {
        qFatal("%s", qUtf8Printable(fault.text));
    }
}

// A station whose supply of serial numbers never ends.
class Line {
  public:
    explicit Line(const QString& place) {
        ledger::Fault fault;
        require(ledger_.open(place, ledger::Ledger::Access::station, QStringLiteral("bench"), fault), fault);
        ledger::Head head;
        require(ledger_.head(head, fault), fault);
        device_ = head.claims;
        number_ = head.records;
    }

    void makeBatch() {
        std::array<ledger::ClaimRequest, batch> requests;
        std::array<ledger::ClaimResult, batch> results;
        for (ledger::ClaimRequest& request : requests) {
            const qint64 device = device_++;
            request = {
                QStringLiteral("meter"), QStringLiteral("serial-%1").arg(device), {ivOf(device, 0), ivOf(device, 1)}};
        }
        ledger::Fault fault;
        require(ledger_.claim(requests, results, fault), fault);
        std::array<ledger::Outcome, batch> outcomes;
        std::array<ledger::RecordRow, batch> lines;
        std::array<bool, batch> isFinal{};
        for (std::size_t i = 0; i < batch; ++i) {
            require(results[i].kind == ledger::ClaimResult::Kind::claimed, {});
            const ledger::StepRow step{QStringLiteral("install-image"), QByteArray(32, 'o'), 65536, 3};
            outcomes[i] = {results[i].attempt, ledger::Outcome::Kind::proven, {}, {step, step}};
            lines[i] = nextLine();
        }
        require(ledger_.finish(outcomes, lines, isFinal, fault), fault);
    }
    [[nodiscard]] qint64 devices() const { return device_; }

  private:
    static ledger::IvUse ivOf(qint64 device, int step) {
        return {QByteArray(32, static_cast<char>('a' + step)), QByteArray::number(device).rightJustified(16, '0')};
    }
    ledger::RecordRow nextLine() {
        ledger::RecordRow row;
        row.number = ++number_;
        row.line = R"({"kind":"device","number":)" + QByteArray::number(row.number) + R"(,"text":")";
        row.line = row.line.leftJustified(lineSize - 2, 'x') + "\"}";
        row.hash = QCryptographicHash::hash(row.line, QCryptographicHash::Sha256);
        return row;
    }

    ledger::Ledger ledger_;
    qint64 device_ = 0;
    qint64 number_ = 0;
};

void makeDevices(benchmark::State& state, const QString& place) {
    Line line(place);
    while (line.devices() < state.range(0)) {
        line.makeBatch();
    }
    for (auto iteration : state) {
        line.makeBatch();
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * batch);
}

void sqlite(benchmark::State& state) {
    const QTemporaryDir folder;
    const QString place = folder.filePath(QStringLiteral("ledger"));
    ledger::Fault fault;
    require(ledger::Ledger::create(place, fault), fault);
    makeDevices(state, place);
}

void postgres(benchmark::State& state) {
    const QString place = qEnvironmentVariable("QVORA_BENCH_LEDGER");
    if (place.isEmpty()) {
        state.SkipWithError("QVORA_BENCH_LEDGER isn't set");
        return;
    }
    makeDevices(state, place);
}

// The argument is the number of devices in the ledger before the measurement.
BENCHMARK(sqlite)->Arg(0)->Arg(100000)->Iterations(200)->Unit(benchmark::kMillisecond);
BENCHMARK(postgres)->Arg(0)->Arg(100000)->Iterations(200)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
