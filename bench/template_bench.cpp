// The time of the template engine by the number of parameters and of slot references. Each row should take twice the
// time of the row above it. 4,000 parameters or 10,000 references should take less than a tenth of a second.

#include "obkey/Obkey.h"

#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <cstdlib>

namespace {

QByteArray provisioningText(const QByteArray& info, const QByteArray& elements) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Root>\n<Obdata>\n<Info><GlobalAlign>4</GlobalAlign>" + info +
           "</Info>\n" + elements + "<Output><Name>o</Name><Default>o.bin</Default></Output>\n</Obdata>\n</Root>\n";
}

QByteArray manyParameters(qsizetype count) {
    QByteArray elements;
    for (qsizetype i = 0; i < count; ++i) {
        elements += "<Data>\n\t<Name>parameter " + QByteArray::number(i) +
                    "</Name>\n\t<Width>4</Width>\n\t<Default>0x12</Default>\n</Data>\n";
    }
    return provisioningText("", elements);
}

/// Makes a template with slot references in two parameters. One half are starts, the other half sizes.
QByteArray manySlotReferences(qsizetype count) {
    QByteArray starts;
    QByteArray sizes;
    for (qsizetype i = 0; i < count / 2; ++i) {
        const QByteArray number = QByteArray::number(i % 100) + "</SlotCli>";
        starts += "<SlotCli>start#" + number;
        sizes += "<SlotCli>size#" + number;
    }
    return provisioningText(
        "<FlashStart>0</FlashStart><FlashSize>0x100000</FlashSize><FlashSectorSize>16</FlashSectorSize>",
        "<Data><Name>offset</Name><Width>4</Width><Default>16</Default>" + starts +
            "</Data>\n<Data><Name>size</Name><Width>4</Width><Default>32</Default>" + sizes + "</Data>\n");
}

/// Measures all steps for one template: reading it, making the provisioning file, and writing the values back.
void makeProvisioningFile(benchmark::State& state, QByteArray (*makeText)(qsizetype count)) {
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("template.xml"));
    const QByteArray text = makeText(state.range(0));
    for (auto iteration : state) {
        state.PauseTiming();
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size()) {
            std::abort();
        }
        file.close();
        state.ResumeTiming();
        obkey::Obkey engine;
        engine.startObkeyJob(path);
        if (!engine.validateTemplate(path, path) || !engine.loadTemplate(path) || !engine.checkDuplicateTags() ||
            !engine.checkMandatoryTags() || !engine.checkLayout() || !engine.generateObkey()) {
            state.SkipWithError("not made");
        }
    }
}

void parameters(benchmark::State& state) {
    makeProvisioningFile(state, manyParameters);
}

void slotReferences(benchmark::State& state) {
    makeProvisioningFile(state, manySlotReferences);
}

BENCHMARK(parameters)->Arg(1000)->Arg(2000)->Arg(4000)->Unit(benchmark::kMillisecond);
BENCHMARK(slotReferences)->Arg(2500)->Arg(5000)->Arg(10000)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argumentCount, char** arguments) {
    const QCoreApplication application(argumentCount, arguments);
    benchmark::Initialize(&argumentCount, arguments);
    benchmark::RunSpecifiedBenchmarks();
}
