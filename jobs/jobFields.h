#pragma once

#include "jobs/fieldChecks.h"

#include <QtGlobal>

// Filters, checks and rows that several jobs share.

inline constexpr const char* firmwareFilter =
    QT_TRANSLATE_NOOP("jobs", "Firmware (*.elf *.axf *.out *.o *.so *.hex *.srec *.s19 *.bin);;All files (*)");
inline constexpr const char* binaryFilter = QT_TRANSLATE_NOOP("jobs", "Binary files (*.bin);;All files (*)");
inline constexpr const char* tableFilter = QT_TRANSLATE_NOOP("jobs", "Tables (*.csv);;All files (*)");
inline constexpr const char* pemFilter = QT_TRANSLATE_NOOP("jobs", "PEM files (*.pem);;All files (*)");
inline constexpr const char* templateFilter = QT_TRANSLATE_NOOP("jobs", "Templates (*.xml);;All files (*)");

inline Verdict checkKey16(const QStringList& own, const JobValues& /*all*/) {
    return checkFileSize(pathOf(own), {16});
}

inline Verdict checkAnyNumber(const QStringList& own, const JobValues& /*all*/) {
    return checkNumber(own);
}

inline Verdict checkImageVersion(const QStringList& own, const JobValues& /*all*/) {
    return checkNumber(own, 255);
}

inline constexpr const char* protection = QT_TRANSLATE_NOOP("jobs", "Protection");

inline constexpr FieldRow keyRow = {
    .id = "key",
    .group = protection,
    .label = QT_TRANSLATE_NOOP("jobs", "&Key"),
    .kind = FieldKind::inFile,
    .option = "-k",
    .required = true,
    .role = PathRole::key,
    .secret = true,
    .filter = binaryFilter,
    .placeholder = "key.bin",
    .check = checkKey16,
    .tip = QT_TRANSLATE_NOOP(
        "jobs", "A binary file with the secret key (AES-GCM), 16 bytes. The page “Keys and nonces” makes one.")};
