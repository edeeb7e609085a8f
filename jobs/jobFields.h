#pragma once

#include "jobs/commandLine.h"
#include "jobs/fieldChecks.h"

#include <QtGlobal>

namespace jobs {

// Filters, checks and rows that several jobs share.

inline constexpr const char* firmwareFilter =
    QT_TRANSLATE_NOOP("jobs", "Firmware (*.elf *.axf *.out *.o *.so *.hex *.srec *.s19 *.bin);;All files (*)");
inline constexpr const char* binaryFilter = QT_TRANSLATE_NOOP("jobs", "Binary files (*.bin);;All files (*)");
inline constexpr const char* tableFilter = QT_TRANSLATE_NOOP("jobs", "Tables (*.csv);;All files (*)");
inline constexpr const char* pemFilter = QT_TRANSLATE_NOOP("jobs", "PEM files (*.pem);;All files (*)");
inline constexpr const char* templateFilter = QT_TRANSLATE_NOOP("jobs", "Templates (*.xml);;All files (*)");

inline constexpr const char* output = QT_TRANSLATE_NOOP("jobs", "Output");
inline constexpr const char* protection = QT_TRANSLATE_NOOP("jobs", "Protection");

inline Verdict checkKey16(const QStringList& own) {
    return checkFileSize(pathOf(own), {16});
}

inline Verdict checkImageVersion(const QStringList& own) {
    return checkNumber(own, 255);
}

/// `row` for a required output file.
constexpr FieldRow outputRow(FieldRow row) {
    row.kind = FieldKind::outFile;
    row.required = true;
    row.role = row.role == PathRole::document ? PathRole::output : row.role;
    return row;
}

/// `row` for a required file with a secret.
constexpr FieldRow secretRow(FieldRow row) {
    row.kind = FieldKind::inFile;
    row.required = true;
    row.role = PathRole::key;
    row.secret = true;
    return row;
}

inline constexpr FieldRow keyRow = secretRow(
    {.id = "key",
     .group = protection,
     .label = QT_TRANSLATE_NOOP("jobs", "&Key"),
     .option = "-k",
     .filter = binaryFilter,
     .placeholder = "key.bin",
     .check = checkKey16,
     .tip = QT_TRANSLATE_NOOP(
         "jobs", "A binary file with the secret key (AES-GCM), 16 bytes. The page “Keys and nonces” makes one.")});

constexpr FieldRow nonceRow(const char* placeholder, Verdict (*check)(const QStringList& own), const char* tip,
                            bool (*shownIf)(const JobValues& all) = nullptr) {
    return {.id = "nonce",
            .group = protection,
            .label = QT_TRANSLATE_NOOP("jobs", "&Nonce"),
            .kind = FieldKind::inFile,
            .option = "-n",
            .required = true,
            .role = PathRole::key,
            .filter = binaryFilter,
            .placeholder = placeholder,
            .check = check,
            .shownIf = shownIf,
            .tip = tip};
}

inline constexpr FieldRow nonce12Row = nonceRow(
    "nonce.bin", [](const QStringList& own) { return checkFileSize(pathOf(own), {12}); },
    QT_TRANSLATE_NOOP("jobs",
                      "A binary file of 12 bytes, fresh for each image: never the same twice with one "
                      "key. The page “Keys and nonces” makes one."));

constexpr FieldRow versionRow(const char* placeholder) {
    return {.id = "version",
            .group = protection,
            .label = QT_TRANSLATE_NOOP("jobs", "Image ver&sion"),
            .kind = FieldKind::fixed,
            .option = "-v",
            .required = true,
            .placeholder = placeholder,
            .check = checkImageVersion,
            .tip = QT_TRANSLATE_NOOP(
                "jobs", "A number from 0 to 255: decimal, hexadecimal with 0x, or octal with a leading 0.")};
}

inline constexpr FieldRow templateRow = {.id = "template",
                                         .group = QT_TRANSLATE_NOOP("jobs", "Template"),
                                         .label = QT_TRANSLATE_NOOP("jobs", "Tem&plate"),
                                         .kind = FieldKind::inFile,
                                         .arguments = valueAlone,
                                         .required = true};

}  // namespace jobs
