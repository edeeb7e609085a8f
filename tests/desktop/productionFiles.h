#pragma once

#include "jobs/jobFile.h"
#include "tests/desktop/DesktopKit.h"

#ifdef QVORA_PRODUCE
#include "tests/produce/sampleLedger.h"
#endif

/// Saves a job that makes an install image of the example firmware, with its inputs in the kit's folder.
inline QString saveInstallJob(DesktopKit& kit, const char* name = "install.json") {
    const QString examples = QStringLiteral(QVORA_EXAMPLES "/firmware/");
    for (const char* const file : {"blink.elf", "option-bytes.csv"}) {
        (void)QFile::copy(examples + QLatin1String(file), kit.folder.path(file));
    }
    const QString key = kit.folder.write("image key.bin", QByteArray::fromHex("8f1d0c5a6be2794413a7d05ef982c61b"));
    QFile::setPermissions(key, QFile::ReadOwner | QFile::WriteOwner);
    jobs::Job job{jobs::findJob(QStringLiteral("install-image")), {}};
    job.values = jobs::initialValues(*job.row);
    const QList<std::pair<const char*, QStringList>> values = {{"device", {QStringLiteral("0x455")}},
                                                               {"firmware", {kit.folder.path("blink.elf"), QString()}},
                                                               {"option-bytes", {kit.folder.path("option-bytes.csv")}},
                                                               {"version", {QStringLiteral("3")}},
                                                               {"key", {key}},
                                                               {"nonce", {kit.folder.path("nonce.bin")}},
                                                               {"out", {kit.folder.path("blink.tbi")}}};
    for (const auto& [id, value] : values) {
        job.values.insert(QLatin1String(id), value);
    }
    QString fault;
    if (!jobs::writeJobFile(kit.folder.path(name), job, fault)) {
        qFatal("%s", qUtf8Printable(fault));
    }
    return kit.folder.path(name);
}
