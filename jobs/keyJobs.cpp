// The jobs for keys, cards, external memory and wireless chips.

#include "jobs/commandLine.h"
#include "jobs/counted.h"
#include "jobs/jobFields.h"
#include "jobs/jobTable.h"

#include <QCoreApplication>
#include <QFileInfo>

#include <array>
#include <limits>

namespace jobs {

namespace {

struct Texts {
    Q_DECLARE_TR_FUNCTIONS(jobs)
};

constexpr const char* keyGroup = QT_TRANSLATE_NOOP("jobs", "Key");
constexpr const char* cardGroup = QT_TRANSLATE_NOOP("jobs", "Card");
constexpr const char* dataGroup = QT_TRANSLATE_NOOP("jobs", "Data");
constexpr const char* memory = QT_TRANSLATE_NOOP("jobs", "Memory");
constexpr const char* sources = QT_TRANSLATE_NOOP("jobs", "Public key as source text");

constexpr std::array keyKinds = {
    ChoiceRow{"ecdsa-p256", QT_TRANSLATE_NOOP("jobs", "ecdsa-p256 – elliptic curve, 256 bits")},
    ChoiceRow{"ecdsa-p384", QT_TRANSLATE_NOOP("jobs", "ecdsa-p384 – elliptic curve, 384 bits")},
    ChoiceRow{"rsa-2048", QT_TRANSLATE_NOOP("jobs", "rsa-2048 – RSA, 2048 bits")},
    ChoiceRow{"rsa-3072", QT_TRANSLATE_NOOP("jobs", "rsa-3072 – RSA, 3072 bits")},
    ChoiceRow{"ed25519", QT_TRANSLATE_NOOP("jobs", "ed25519 – Edwards curve, for signatures")},
    ChoiceRow{"x25519", QT_TRANSLATE_NOOP("jobs", "x25519 – for encryption, signs nothing")},
};

Verdict checkNewKey(const QStringList& own) {
    return {Verdict::Kind::good, QFileInfo(pathOf(own)).isFile()
                                     ? Texts::tr("The older key is kept beside it, under a name with .bak.")
                                     : QString()};
}

constexpr std::array keyPair = {
    outputRow({.id = "key",
               .group = keyGroup,
               .label = QT_TRANSLATE_NOOP("jobs", "Private &key"),
               .option = "-inkey",
               .keepsOld = true,
               .role = PathRole::key,
               .filter = pemFilter,
               .placeholder = "new.pem",
               .check = checkNewKey,
               .tip = QT_TRANSLATE_NOOP("jobs",
                                        "The PEM file to make. Its public key is written beside it, as "
                                        "NAME_pub.pem.")}),
    FieldRow{.id = "kind",
             .group = keyGroup,
             .label = QT_TRANSLATE_NOOP("jobs", "Kin&d"),
             .kind = FieldKind::choice,
             .option = "-keytype",
             .required = true,
             .choices = keyKinds,
             .tip = QT_TRANSLATE_NOOP("jobs", "The kind of key, as imgtool names it.")},
};

constexpr char readOnly[] = "read";

bool programs(const JobValues& all) {
    return textOf(all, "action") != QLatin1String(readOnly);
}

constexpr std::array cardActions = {
    ChoiceRow{"program", QT_TRANSLATE_NOOP("jobs", "Program the card")},
    ChoiceRow{readOnly, QT_TRANSLATE_NOOP("jobs", "Read the card")},
    ChoiceRow{"both", QT_TRANSLATE_NOOP("jobs", "Read it, then program it")},
};

void cardAction(const FieldRow& row, const JobValues& values, QStringList& arguments) {
    const QString action = textOf(values, row.id);
    if (!action.isEmpty() && action != QLatin1String("program")) {
        arguments.append(QLatin1String(row.option));
    }
}

constexpr std::array card = {
    FieldRow{.id = "action",
             .group = cardGroup,
             .label = QT_TRANSLATE_NOOP("jobs", "Wh&at to do"),
             .kind = FieldKind::choice,
             .option = "-info",
             .arguments = cardAction,
             .choices = cardActions,
             .tip = QT_TRANSLATE_NOOP("jobs",
                                      "Reading needs no PIN. The tool ends with status 1 when it has only "
                                      "read.")},
    FieldRow{.id = "slot",
             .group = cardGroup,
             .label = QT_TRANSLATE_NOOP("jobs", "&Slot"),
             .kind = FieldKind::fixed,
             .option = "-i",
             .initial = "0",
             .check = [](const QStringList& own) { return checkNumber(own, std::numeric_limits<std::int32_t>::max()); },
             .tip = QT_TRANSLATE_NOOP("jobs",
                                      "The position among the slots that hold a card, from 0: with one card it is 0. "
                                      "Left empty it is 2.")},
    FieldRow{.id = "firmware-id",
             .group = cardGroup,
             .label = QT_TRANSLATE_NOOP("jobs", "Firm&ware identifier"),
             .kind = FieldKind::text,
             .option = "-id",
             .required = true,
             .placeholder = "Product-1",
             .check = [](const QStringList& own) { return checkLength(own, 15); },
             .shownIf = programs,
             .tip = QT_TRANSLATE_NOOP("jobs", "The name of the firmware that the card is for, up to 15 bytes.")},
    FieldRow{.id = "licences",
             .group = cardGroup,
             .label = QT_TRANSLATE_NOOP("jobs", "Li&cences"),
             .kind = FieldKind::fixed,
             .option = "-mc",
             .required = true,
             .placeholder = "1000",
             .check = [](const QStringList& own) { return checkNumber(own, 1000000); },
             .shownIf = programs,
             .tip = QT_TRANSLATE_NOOP("jobs", "How many devices the card may license, up to 1,000,000.")},
    secretRow({.id = "key",
               .group = protection,
               .label = QT_TRANSLATE_NOOP("jobs", "&Key"),
               .option = "-k",
               .filter = binaryFilter,
               .placeholder = "key.bin",
               .check = checkKey16,
               .shownIf = programs,
               .tip = QT_TRANSLATE_NOOP("jobs", "The secret key that the image was made with, 16 bytes.")}),
    nonceRow(
        "nonce.bin",
        [](const QStringList& own) {
            return checkFileSize(pathOf(own), {12, 16});
        },
        QT_TRANSLATE_NOOP("jobs", "The nonce that the image was made with, 12 or 16 bytes."), programs),
    FieldRow{.id = "personalization",
             .group = protection,
             .label = QT_TRANSLATE_NOOP("jobs", "&Personalization data"),
             .kind = FieldKind::inFile,
             .option = "-pd",
             .role = PathRole::key,
             .secret = true,
             .filter = binaryFilter,
             .placeholder = "data.enc.bin",
             .check = [](const QStringList& own) { return checkFileSize(pathOf(own), {108}); },
             .shownIf = programs,
             .tip = QT_TRANSLATE_NOOP("jobs",
                                      "Encrypted personalization data of 108 bytes, for cards of the second "
                                      "generation. The page “Personalization data” encrypts it.")},
};

constexpr std::array personalization = {
    secretRow({.id = "data",
               .group = dataGroup,
               .label = QT_TRANSLATE_NOOP("jobs", "&Data"),
               .arguments = valueAlone,
               .filter = binaryFilter,
               .placeholder = "data.bin",
               .check = [](const QStringList& own) { return checkFirmware(pathOf(own)); },
               .tip = QT_TRANSLATE_NOOP("jobs",
                                        "The personalization data to encrypt: raw binary, or the first segment "
                                        "of ELF, HEX or S-Record.")}),
    outputRow({.id = "out",
               .group = output,
               .label = QT_TRANSLATE_NOOP("jobs", "&Output"),
               .arguments = valueAlone,
               .filter = binaryFilter,
               .placeholder = "data.enc.bin",
               .tip = QT_TRANSLATE_NOOP("jobs", "The encrypted data to make, for the page “Card”.")}),
};

constexpr std::array cipherModes = {
    ChoiceRow{"0", QT_TRANSLATE_NOOP("jobs", "0 – AES block, normal")},
    ChoiceRow{"1", QT_TRANSLATE_NOOP("jobs", "1 – AES block, fast")},
    ChoiceRow{"2", QT_TRANSLATE_NOOP("jobs", "2 – Noekeon")},
};

/// A longer file is good, since the tool reads only its first 16 bytes.
Verdict checkCipherKey(const QStringList& own) {
    Verdict verdict = checkFileSuffix(pathOf(own), ".bin");
    const QFileInfo file(pathOf(own));
    if (verdict.kind != Verdict::Kind::good || !file.isFile()) {
        return verdict;
    }
    return file.size() < 16 ? fault(Texts::tr("A key has 16 bytes; this file has %1.").arg(file.size()))
                            : checkFileSize(pathOf(own));
}

/// The cipher works on groups of 32 bytes. The bytes of an incomplete last group are lost.
Verdict checkApplication(const QStringList& own) {
    constexpr qint64 groupSize = 32;
    Verdict verdict = checkFileSuffix(pathOf(own), ".bin");
    const QFileInfo file(pathOf(own));
    const qint64 rest = file.isFile() ? file.size() % groupSize : 0;
    if (verdict.kind == Verdict::Kind::good && rest > 0) {
        verdict.text =
            counted(rest, Texts::tr("The last byte becomes zero: pad the file to a multiple of 32 bytes to keep it."),
                    Texts::tr("The last %1 bytes become zeros: pad the file to a multiple of 32 bytes to keep them."));
    }
    return verdict;
}

Verdict checkCipherFolder(const QStringList& own) {
    const QFileInfo folder(pathOf(own));
    const QFileInfo image(pathOf(own) + QStringLiteral("/Encrypted_Image.bin"));
    if (image.exists()) {
        return image.isWritable()
                   ? Verdict{Verdict::Kind::good, Texts::tr("Encrypted_Image.bin in it will be replaced; "
                                                            "its bytes after the new length stay.")}
                   : fault(Texts::tr("You have no right to overwrite Encrypted_Image.bin in it."));
    }
    return folder.isWritable() ? Verdict() : fault(Texts::tr("You have no right to make files in this folder."));
}

constexpr std::array externalMemory = {
    FieldRow{.id = "application",
             .group = memory,
             .label = QT_TRANSLATE_NOOP("jobs", "&Application"),
             .kind = FieldKind::inFile,
             .option = "-app",
             .required = true,
             .role = PathRole::firmware,
             .filter = binaryFilter,
             .placeholder = "app.bin",
             .check = checkApplication,
             .tip = QT_TRANSLATE_NOOP("jobs", "The raw binary to encrypt, with the ending .bin.")},
    FieldRow{.id = "address",
             .group = memory,
             .label = QT_TRANSLATE_NOOP("jobs", "&Start address"),
             .kind = FieldKind::fixed,
             .option = "-add",
             .required = true,
             .placeholder = "B0000000",
             .check = checkHexAddress,
             .tip = QT_TRANSLATE_NOOP(
                 "jobs",
                 "Where the image is programmed, in hexadecimal with or without 0x: usually a multiple of 32 (0x20).")},
    secretRow({.id = "key",
               .group = protection,
               .label = QT_TRANSLATE_NOOP("jobs", "&Key"),
               .option = "-key",
               .filter = binaryFilter,
               .placeholder = "key.bin",
               .check = checkCipherKey,
               .tip = QT_TRANSLATE_NOOP(
                   "jobs", "A file that begins with the 16 bytes of the secret key, with the ending .bin.")}),
    FieldRow{.id = "mode",
             .group = protection,
             .label = QT_TRANSLATE_NOOP("jobs", "&Mode"),
             .kind = FieldKind::choice,
             .option = "-mode",
             .choices = cipherModes,
             .tip = QT_TRANSLATE_NOOP("jobs", "The cipher that the device's memory controller is set to.")},
    FieldRow{.id = "folder",
             .group = output,
             .label = QT_TRANSLATE_NOOP("jobs", "Output f&older"),
             .kind = FieldKind::folder,
             .option = "-directory",
             .required = true,
             .role = PathRole::output,
             .check = checkCipherFolder,
             .tip = QT_TRANSLATE_NOOP("jobs", "Encrypted_Image.bin is written into this folder.")},
};

constexpr std::array wirelessKeys = {
    outputRow({.id = "private-key",
               .group = keyGroup,
               .label = QT_TRANSLATE_NOOP("jobs", "Private &key"),
               .option = "-k",
               .role = PathRole::key,
               .filter = pemFilter,
               .placeholder = "rsa-private.pem",
               .check = [](const QStringList& own) { return checkNewOutput(pathOf(own), {".pem"}); },
               .tip = QT_TRANSLATE_NOOP("jobs", "The new private key, with the ending .pem.")}),
    outputRow({.id = "public-key",
               .group = keyGroup,
               .label = QT_TRANSLATE_NOOP("jobs", "&Public key"),
               .arguments = valueAlone,
               .role = PathRole::key,
               .filter = pemFilter,
               .placeholder = "rsa-public.pem",
               .check = [](const QStringList& own) { return checkNewOutput(pathOf(own), {".pem"}); },
               .tip = QT_TRANSLATE_NOOP("jobs", "The new public key, with the ending .pem.")}),
    outputRow({.id = "c-source",
               .group = sources,
               .label = QT_TRANSLATE_NOOP("jobs", "C s&ource"),
               .option = "-f",
               .filter = QT_TRANSLATE_NOOP("jobs", "C sources (*.c)"),
               .placeholder = "key.c",
               .check = [](const QStringList& own) { return checkNewOutput(pathOf(own), {".c"}); },
               .tip = QT_TRANSLATE_NOOP("jobs", "The public key for firmware in C, with the ending .c.")}),
    outputRow({.id = "python-source",
               .group = sources,
               .label = QT_TRANSLATE_NOOP("jobs", "Pytho&n source"),
               .arguments = valueAlone,
               .filter = QT_TRANSLATE_NOOP("jobs", "Python sources (*.py)"),
               .placeholder = "key.py",
               .check = [](const QStringList& own) { return checkNewOutput(pathOf(own), {".py"}); },
               .tip = QT_TRANSLATE_NOOP("jobs", "The public key for scripts in Python, with the ending .py.")}),
    outputRow({.id = "text",
               .group = sources,
               .label = QT_TRANSLATE_NOOP("jobs", "Te&xt"),
               .arguments = valueAlone,
               .filter = QT_TRANSLATE_NOOP("jobs", "Texts (*.txt)"),
               .placeholder = "key.txt",
               .check = [](const QStringList& own) { return checkNewOutput(pathOf(own), {".txt"}); },
               .tip = QT_TRANSLATE_NOOP("jobs", "The public key as plain text, with the ending .txt.")}),
};

Verdict checkWirelessKey(const QStringList& own) {
    constexpr qint64 largestKeyFile = 1679;
    Verdict verdict = checkFileSuffix(pathOf(own), ".pem");
    return verdict.kind == Verdict::Kind::good && QFileInfo(pathOf(own)).size() > largestKeyFile
               ? fault(Texts::tr("The file is too large for a key of 2048 bits."))
               : verdict;
}

constexpr std::array wirelessSign = {
    secretRow({.id = "key",
               .group = keyGroup,
               .label = QT_TRANSLATE_NOOP("jobs", "Private &key"),
               .option = "-k",
               .filter = pemFilter,
               .placeholder = "rsa-private.pem",
               .check = checkWirelessKey,
               .tip = QT_TRANSLATE_NOOP("jobs", "The private key that the page “Wireless keys” made.")}),
    FieldRow{.id = "binary",
             .group = dataGroup,
             .label = QT_TRANSLATE_NOOP("jobs", "&Binary"),
             .kind = FieldKind::inFile,
             .option = "-f",
             .required = true,
             .role = PathRole::firmware,
             .filter = binaryFilter,
             .placeholder = "stack.bin",
             .check = [](const QStringList& own) { return checkFileSuffix(pathOf(own), ".bin"); },
             .tip = QT_TRANSLATE_NOOP("jobs", "The binary to sign, with the ending .bin.")},
    outputRow({.id = "out",
               .group = output,
               .label = QT_TRANSLATE_NOOP("jobs", "Signed &output"),
               .option = "-o",
               .filter = binaryFilter,
               .placeholder = "stack-rsa.bin",
               .check = [](const QStringList& own) { return checkNewOutput(pathOf(own), {".bin"}); },
               .tip = QT_TRANSLATE_NOOP("jobs", "The signed binary to make, with the ending .bin.")}),
};

}  // namespace

std::span<const FieldRow> keyPairRows() {
    return keyPair;
}

std::span<const FieldRow> cardRows() {
    return card;
}

std::span<const FieldRow> personalizationRows() {
    return personalization;
}

std::span<const FieldRow> externalMemoryRows() {
    return externalMemory;
}

std::span<const FieldRow> wirelessKeysRows() {
    return wirelessKeys;
}

std::span<const FieldRow> wirelessSignRows() {
    return wirelessSign;
}

}  // namespace jobs
