#include "jobs/jobTable.h"

#include "files/outputFile.h"
#include "jobs/fieldChecks.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>
#include <QXmlStreamReader>

namespace jobs {

namespace {

// Templates are small. A larger file isn't searched for the name of its output.
constexpr qint64 largestTemplate = qint64{1} << 18;

struct Texts {
    Q_DECLARE_TR_FUNCTIONS(jobs)
};

constexpr FieldRow logRow = {
    .id = "log",
    .group = QT_TRANSLATE_NOOP("jobs", "Messages"),
    .label = QT_TRANSLATE_NOOP("jobs", "Lo&g file"),
    .kind = FieldKind::outFile,
    .option = "-l",
    .role = PathRole::output,
    .filter = QT_TRANSLATE_NOOP("jobs", "Logs (*.log);;All files (*)"),
    .placeholder = "run.log",
    .tip = QT_TRANSLATE_NOOP(
        "jobs", "Receives every message of the run, with time stamps. If the field is empty, no log is written.")};

/// The file that a template names in its `Output`; empty if the name can't be read.
QString outputOfTemplate(const QString& path) {
    QFile file(path);
    if (!QFileInfo(path).isFile() || file.size() > largestTemplate || !file.open(QIODevice::ReadOnly)) {
        return {};
    }
    QXmlStreamReader reader(&file);
    QString proposed;
    QString chosen;
    bool inside = false;
    while (!reader.atEnd()) {
        const QXmlStreamReader::TokenType token = reader.readNext();
        if (reader.name() == QLatin1String("Output")) {
            inside = token == QXmlStreamReader::StartElement;
        } else if (inside && token == QXmlStreamReader::StartElement) {
            const QString tag = reader.name().toString();
            const QString text = reader.readElementText(QXmlStreamReader::SkipChildElements).trimmed();
            if (tag == QLatin1String("Value")) {
                chosen = text;
            } else if (tag == QLatin1String("Default")) {
                proposed = text;
            }
        }
    }
    const QString output = chosen.isEmpty() ? proposed : chosen;
    return output.isEmpty() ? QString() : QFileInfo(path).dir().filePath(output);
}

QStringList outputsOfTemplates(const JobValues& values) {
    QStringList outputs;
    const QStringList more = values.value(QStringLiteral("more-templates"));
    outputs.append(outputOfTemplate(pathOf(values.value(QStringLiteral("template")))));
    for (qsizetype i = 0; i < more.size(); i += 2) {
        outputs.append(outputOfTemplate(more.at(i)));
    }
    outputs.removeAll(QString());
    return outputs;
}

QStringList encryptedImage(const JobValues& values) {
    return {pathOf(values.value(QStringLiteral("folder"))) + QStringLiteral("/Encrypted_Image.bin")};
}

bool hasImgtool() {
    return !QStandardPaths::findExecutable(QStringLiteral("imgtool")).isEmpty();
}

QString imgtoolHint(const JobValues& /*values*/) {
    return hasImgtool() ? QString()
                        : Texts::tr(
                              "There is no imgtool on the PATH. Install the MCUboot image tool, for example with: pip "
                              "install imgtool");
}

QString privateKeyHint(const JobValues& /*values*/) {
    return hasImgtool() ? QString()
                        : Texts::tr(
                              "There is no imgtool on the PATH, which a template with a private key needs. Install it, "
                              "for example with: pip install imgtool");
}

/// Whether p11-kit has a driver configured, in addition to its own module of trusted certificates.
bool hasDriver() {
    const QString own = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation);
    for (const QString& folder : {own + QStringLiteral("/pkcs11/modules"), QStringLiteral("/etc/pkcs11/modules"),
                                  QStringLiteral("/usr/share/p11-kit/modules")}) {
        QStringList modules = QDir(folder).entryList({QStringLiteral("*.module")}, QDir::Files);
        modules.removeAll(QStringLiteral("p11-kit-trust.module"));
        if (!modules.isEmpty()) {
            return true;
        }
    }
    return false;
}

QString cardHint(const JobValues& values) {
    const QByteArray named = qgetenv("QVORA_HSM_MODULE");
    if (!named.isEmpty() && !QFileInfo(QFile::decodeName(named)).exists() && named.contains('/')) {
        return Texts::tr("There is no card driver “%1”, which QVORA_HSM_MODULE names.").arg(QFile::decodeName(named));
    }
    if (named.isEmpty() && !hasDriver()) {
        return Texts::tr(
            "No card driver is configured. Set QVORA_HSM_MODULE to the PKCS #11 driver of your card and "
            "start this program again.");
    }
    if (textOf(values, "action") == QLatin1String("read")) {
        return Texts::tr("The tool ends with status 1 when it has only read a card.");
    }
    if (qEnvironmentVariableIsEmpty("QVORA_HSM_PIN")) {
        return Texts::tr(
            "Programming needs the user PIN of the card in QVORA_HSM_PIN. Set it and start this program "
            "again.");
    }
    return {};
}

/// Looks for the keys in the same place as -gpdata.
QString personalizationHint(const JobValues& /*values*/) {
    const QDir keys(QCoreApplication::applicationDirPath() + QStringLiteral("/Keys"));
    const bool isPrivateThere = keys.exists(QStringLiteral("perso_private.pem"));
    if (isPrivateThere != keys.exists(QStringLiteral("card_public.pem"))) {
        return Texts::tr(
            "The folder Keys beside the tool has only one of perso_private.pem and card_public.pem; "
            "the tool needs both.");
    }
    return isPrivateThere
               ? QString()
               : Texts::tr(
                     "There is no perso_private.pem and card_public.pem in the folder Keys beside the tool. "
                     "Without them the data is encrypted with a development pair, which is public and protects "
                     "nothing.");
}

/// The first other field of the job that names the file at `path`; null if there is none.
const FieldRow* otherFieldOf(const JobRow& job, const FieldRow& own, const JobValues& values, const QString& path) {
    for (const FieldRow* const row : fieldsOf(job)) {
        if (row == &own || !isPath(*row) || !isShown(*row, values)) {
            continue;
        }
        const QStringList named = values.value(QLatin1String(row->id));
        for (qsizetype i = 0; i < named.size(); i += 2) {
            if (isSameFile(path, named.at(i))) {
                return row;
            }
        }
    }
    return nullptr;
}

constexpr const char* images = QT_TRANSLATE_NOOP("pageTable", "Images");
constexpr const char* secrets = QT_TRANSLATE_NOOP("pageTable", "Secrets");
constexpr const char* keysAndCards = QT_TRANSLATE_NOOP("pageTable", "Keys and cards");
constexpr const char* memoryAndWireless = QT_TRANSLATE_NOOP("pageTable", "Memory and wireless");

}  // namespace

const QList<JobRow>& jobTable() {
    static const QList<JobRow> jobs = {
        {.id = "install-image",
         .group = images,
         .title = QT_TRANSLATE_NOOP("pageTable", "Install image"),
         .summary = QT_TRANSLATE_NOOP("pageTable", "Encrypts and authenticates firmware for its first installation."),
         .words = QT_TRANSLATE_NOOP("pageTable",
                                    "-tbi --tbi tbix make firmware encrypt modules external memory elf hex srec bin "
                                    "kmd xtbi mcsv ecsv option bytes diversification"),
         .command = "-tbi",
         .rows = installImageRows()},
        {.id = "update-image",
         .group = images,
         .title = QT_TRANSLATE_NOOP("pageTable", "Update image"),
         .summary = QT_TRANSLATE_NOOP("pageTable", "Encrypts and authenticates firmware for devices in the field."),
         .words = QT_TRANSLATE_NOOP("pageTable", "-tbu --tbu tbuh make firmware encrypt elf hex srec bin field"),
         .command = "-tbu",
         .rows = updateImageRows()},
        {.id = "sign",
         .group = images,
         .title = QT_TRANSLATE_NOOP("pageTable", "Signed image"),
         .summary = QT_TRANSLATE_NOOP("pageTable", "Signs a binary image with an elliptic-curve key."),
         .words = QT_TRANSLATE_NOOP("pageTable", "-sign --sign signature ECDSA ECC elliptic curve wireless stack"),
         .command = "-sign",
         .rows = signRows()},
        {.id = "imgtool-image",
         .words = "-pb --pb",
         .page = templatePage,
         .command = "-pb",
         .rows = imgtoolImageRows(),
         .moreOutputs = outputsOfTemplates,
         .hint = imgtoolHint},
        {.id = "payload",
         .group = secrets,
         .title = QT_TRANSLATE_NOOP("pageTable", "Provisioning payload"),
         .summary = QT_TRANSLATE_NOOP("pageTable", "Encrypts secrets for provisioning, bound to your public key."),
         .words = QT_TRANSLATE_NOOP("pageTable", "-pvs --pvs encrypt secrets OEM root key hash"),
         .command = "-pvs",
         .rows = payloadRows()},
        {.id = "provisioning-image",
         .group = secrets,
         .title = QT_TRANSLATE_NOOP("pageTable", "Provisioning image"),
         .summary =
             QT_TRANSLATE_NOOP("pageTable", "Makes an image of secrets, optionally with images for the backup memory."),
         .words = QT_TRANSLATE_NOOP("pageTable", "-pvs-tbi --pvs-tbi make encrypt secrets backup memory"),
         .command = "-pvs-tbi",
         .rows = provisioningImageRows()},
        {.id = "backup-image",
         .group = secrets,
         .title = QT_TRANSLATE_NOOP("pageTable", "Backup image"),
         .summary = QT_TRANSLATE_NOOP("pageTable",
                                      "Combines files into the image of a backup memory, for a provisioning image."),
         .words = QT_TRANSLATE_NOOP("pageTable", "-backupgen --backup-gen make json"),
         .command = "-backupgen",
         .rows = backupImageRows()},
        {.id = "provisioning-file",
         .words = "-obk --obk",
         .page = templatePage,
         .command = "-obk",
         .rows = provisioningFileRows(),
         .moreOutputs = outputsOfTemplates,
         .hint = privateKeyHint},
        {.id = "key-pair",
         .group = keysAndCards,
         .title = QT_TRANSLATE_NOOP("pageTable", "Key pair"),
         .summary = QT_TRANSLATE_NOOP("pageTable", "Makes a private and a public key through imgtool."),
         .words = QT_TRANSLATE_NOOP("pageTable",
                                    "-genkey --generatekey make private public PEM through imgtool ecdsa rsa ed25519"),
         .command = "-genkey",
         .rows = keyPairRows(),
         .hint = imgtoolHint},
        {.id = "card",
         .group = keysAndCards,
         .title = QT_TRANSLATE_NOOP("pageTable", "Card"),
         .summary = QT_TRANSLATE_NOOP("pageTable", "Programs a card with key, nonce and licences, or reads it."),
         .words = QT_TRANSLATE_NOOP(
             "pageTable",
             "-hsm --hsm -info program read smart card smartcard hardware security module PKCS#11 PKCS11 "
             "token PIN licences licenses counter"),
         .command = "-hsm",
         .rows = cardRows(),
         .hint = cardHint},
        {.id = "personalization",
         .group = keysAndCards,
         .title = QT_TRANSLATE_NOOP("pageTable", "Personalization data"),
         .summary = QT_TRANSLATE_NOOP("pageTable", "Encrypts personalization data for a card."),
         .words = QT_TRANSLATE_NOOP("pageTable", "-gpdata --gpdata encrypt perso"),
         .command = "-gpdata",
         .rows = personalizationRows(),
         .hint = personalizationHint},
        {.id = "external-memory",
         .group = memoryAndWireless,
         .title = QT_TRANSLATE_NOOP("pageTable", "External memory"),
         .summary = QT_TRANSLATE_NOOP(
             "pageTable", "Encrypts an application for external memory, where the device decrypts it as it runs."),
         .words = QT_TRANSLATE_NOOP("pageTable", "-dcu --dcu encrypt cipher AES Noekeon flash"),
         .command = "-dcu",
         .rows = externalMemoryRows(),
         .moreOutputs = encryptedImage},
        {.id = "wireless-keys",
         .group = memoryAndWireless,
         .title = QT_TRANSLATE_NOOP("pageTable", "Wireless keys"),
         .summary = QT_TRANSLATE_NOOP(
             "pageTable", "Makes an RSA key pair for wireless chips, and source files with its public key."),
         .words = QT_TRANSLATE_NOOP("pageTable", "-keygen --keygen make RSA private public wireless-chip Tarnwave"),
         .command = "-keygen",
         .rows = wirelessKeysRows()},
        {.id = "wireless-sign",
         .group = memoryAndWireless,
         .title = QT_TRANSLATE_NOOP("pageTable", "Wireless signature"),
         .summary = QT_TRANSLATE_NOOP("pageTable", "Signs a binary for wireless chips with an RSA key."),
         .words = QT_TRANSLATE_NOOP("pageTable", "-signbin --signbin sign binary RSA wireless-chip Tarnwave"),
         .command = "-signbin",
         .rows = wirelessSignRows()},
        {.id = "print-image",
         .words = "-ptbi --parse-tbi -ppvs-tbi --parse-pvs-tbi",
         .page = inspectPage,
         .command = "",
         .rows = printImageRows()},
    };
    return jobs;
}

const JobRow* findJob(const QString& id) {
    for (const JobRow& job : jobTable()) {
        if (id == QLatin1String(job.id)) {
            return &job;
        }
    }
    return nullptr;
}

QList<const FieldRow*> fieldsOf(const JobRow& job) {
    QList<const FieldRow*> fields;
    for (const FieldRow& row : job.rows) {
        fields.append(&row);
    }
    fields.append(&logRow);
    return fields;
}

Verdict judgeInJob(const JobRow& job, const FieldRow& row, const JobValues& values) {
    Verdict verdict = judge(row, values);
    const QString path = pathOf(values.value(QLatin1String(row.id)));
    const FieldRow* const other =
        row.kind == FieldKind::outFile && verdict.kind == Verdict::Kind::good && !path.isEmpty()
            ? otherFieldOf(job, row, values, path)
            : nullptr;
    if (other == nullptr) {
        return verdict;
    }
    const QString label = Texts::tr(other->label).remove(u'&');
    // The tool reads these files completely before it writes, so it can replace them.
    const bool mayReplace =
        &row != &logRow && (other->role == PathRole::firmware || qstrcmp(job.command, "-gpdata") == 0);
    return mayReplace
               ? Verdict{Verdict::Kind::good, Texts::tr("This is the file of “%1”, which will be replaced.").arg(label)}
               : fault(Texts::tr("This is the file of “%1”, which the tool doesn't overwrite.").arg(label));
}

JobValues initialValues(const JobRow& job) {
    JobValues values;
    for (const FieldRow* const row : fieldsOf(job)) {
        const char* const first = row->choices.empty() ? "" : row->choices.front().value;
        const QString initial = QLatin1String(*row->initial != '\0' ? row->initial : first);
        if (!initial.isEmpty()) {
            values.insert(QLatin1String(row->id), {initial});
        }
    }
    return values;
}

QStringList outputsOf(const JobRow& job, const JobValues& values) {
    QStringList outputs;
    for (const FieldRow& row : job.rows) {
        const QString path = pathOf(values.value(QLatin1String(row.id)));
        if (row.kind == FieldKind::outFile && isShown(row, values) && !path.isEmpty()) {
            outputs.append(path);
        }
    }
    return job.moreOutputs == nullptr ? outputs : outputs + job.moreOutputs(values);
}

}  // namespace jobs
