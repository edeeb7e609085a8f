#include "inspect/Call.h"

#include "files/parseNumber.h"
#include "inspect/devicePolicy.h"
#include "inspect/input.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>

namespace inspect {

bool Call::fail(const char* code, const QString& file, const QString& text) {
    report_.failures.push_back({code, file, text});
    return false;
}

bool Call::claimStandardInput(const QString& path) {
    if (path != QLatin1String("-")) {
        return true;
    }
    if (isStandardInputTaken_) {
        return fail("usage", {}, QStringLiteral("standard input can be given once only"));
    }
    return isStandardInputTaken_ = true;
}

bool Call::readSecret(const char* option, SecretReader read, QByteArray& secret) {
    const QString name = QString::fromLatin1(option);
    if (!parser_.isSet(name)) {
        return true;
    }
    const QString path = parser_.value(name);
    QString fault;
    QString warning;
    if (!claimStandardInput(path)) {
        return false;
    }
    if (!read(path, secret, fault, warning)) {
        return fail("badKey", path, fault);
    }
    if (!warning.isEmpty() && name != QLatin1String("public")) {
        report_.warnings.push_back({"openKey", path, warning});
    }
    return true;
}

bool Call::readWhole(const char* option, std::optional<QByteArray>& bytes) {
    const QString name = QString::fromLatin1(option);
    if (!parser_.isSet(name)) {
        return true;
    }
    const QString path = parser_.value(name);
    QString fault;
    if (!claimStandardInput(path)) {
        return false;
    }
    if (!readInput(path, bytes.emplace(), fault)) {
        return fail("unreadable", path, fault);
    }
    return true;
}

bool Call::readKeys() {
    constexpr qsizetype siteSecretSize = 32;
    QString fault;
    if (has("keys") && (has("key") || has("key-b") || has("public"))) {
        return fail("usage", {}, QStringLiteral("--keys excludes --key, --key-b and --public"));
    }
    if (has("keys") && !keys_.read(value("keys"), fault)) {
        return fail("badKey", value("keys"), fault);
    }
    if (!readSecret("site-secret", readKeyFile, siteSecret_)) {
        return false;
    }
    return !has("site-secret") || siteSecret_.size() == siteSecretSize ||
           fail("badKey", value("site-secret"),
                QStringLiteral("a site secret has 32 bytes, not %1").arg(siteSecret_.size()));
}

bool Call::readMemoryUse() {
    const QString address = parser_.value(QStringLiteral("address"));
    const QString mode = parser_.value(QStringLiteral("mode"));
    if (address.isEmpty() && mode.isEmpty()) {
        return !evidence_.app || fail("usage", {}, QStringLiteral("--app needs --address and --mode"));
    }
    MemoryUse use;
    if (!parseNumber(address, 16, use.address) || !parseNumber(mode, 10, use.mode)) {
        return fail("usage", {}, QStringLiteral("--address needs a hexadecimal number, --mode a decimal one"));
    }
    evidence_.memory = use;
    return true;
}

bool Call::readEvidence() {
    std::optional<QByteArray> nonce;
    const bool isForMemory = has("address") || has("mode") || has("app") ||
                             value("as").compare(QLatin1String("memoryImage"), Qt::CaseInsensitive) == 0;
    const SecretReader readImageKey = isForMemory ? readMemoryKey : readKey;
    if (!readKeys() || !readSecret("key", readImageKey, evidence_.key) ||
        !readSecret("key-b", readImageKey, evidenceB_.key) || !readWhole("nonce", nonce) ||
        !readSecret("public", readKeyFile, evidence_.publicKey) ||
        !readSecret("private", readKeyFile, evidence_.privateKey) || !readWhole("app", evidence_.app)) {
        return false;
    }
    evidence_.keyFile = value("key");
    evidence_.publicKeyFile = value("public");
    evidence_.hasNonce = nonce.has_value();
    evidence_.nonce = nonce.value_or(QByteArray());
    if (!has("key-b")) {
        evidenceB_.key = QByteArray(evidence_.key.constData(), evidence_.key.size());
    }
    evidenceB_.publicKey = evidence_.publicKey;
    evidenceB_.privateKey = QByteArray(evidence_.privateKey.constData(), evidence_.privateKey.size());
    if (!readMemoryUse()) {
        return false;
    }
    evidenceB_.memory = evidence_.memory;
    return true;
}

const Evidence& Call::evidenceFor(const Opened& opened, bool isSecond) {
    Evidence& evidence = isSecond ? evidenceB_ : evidence_;
    if (has("keys") && opened.description.format != nullptr) {
        keys_.fit(opened.source, opened.description, evidence);
        if (QFileInfo(evidence.keyFile).permission(QFile::ReadOther)) {
            report_.warnings.push_back(
                {"openKey", evidence.keyFile, QStringLiteral("every user can read the key file")});
        }
    }
    return evidence;
}

bool Call::readAll(const char* option, FileReader read, std::vector<QByteArray>& files) {
    for (const QString& path : parser_.values(QLatin1String(option))) {
        QString fault;
        files.emplace_back();
        if (!claimStandardInput(path)) {
            return false;
        }
        if (!read(path, files.back(), fault)) {
            return fail("unreadable", path, fault);
        }
    }
    return true;
}

bool Call::readSources() {
    QString fault;
    sources_.hasFirmware = has("firmware");
    for (const QString& argument : parser_.values(QStringLiteral("firmware"))) {
        if (!readFirmware(argument, sources_.firmware, fault)) {
            return fail("unreadable", argument, fault);
        }
    }
    sources_.hasOptionBytes = has("option-bytes");
    if (sources_.hasOptionBytes && !readOptionBytes(value("option-bytes"), sources_.optionBytes, fault)) {
        return fail("unreadable", value("option-bytes"), fault);
    }
    for (const QString& argument : parser_.values(QStringLiteral("backup"))) {
        if (!readBackup(argument, sources_.backups.emplace_back(), fault)) {
            return fail("unreadable", argument, fault);
        }
    }
    if (!readAll("module", readModule, sources_.modules) || !readAll("blob", readInput, sources_.blobs)) {
        return false;
    }
    if (has("against") && sources_.isEmpty()) {
        return fail("usage", {}, QStringLiteral("--against needs what to compare with, such as --firmware"));
    }
    return true;
}

template <typename Value>
bool Call::readEach(const char* option, bool (*parse)(const QString& text, Value& value), const char* expected,
                    std::vector<Value>& values) {
    for (const QString& text : parser_.values(QLatin1String(option))) {
        if (!parse(text, values.emplace_back())) {
            return fail("usage", {},
                        QStringLiteral("--%1 needs %2").arg(QLatin1String(option), QLatin1String(expected)));
        }
    }
    return true;
}

bool Call::readDump() {
    if (!has("dump")) {
        const bool isAlone = has("erased") || has("protected");
        return !isAlone || fail("usage", {}, QStringLiteral("--erased and --protected need --dump"));
    }
    std::uint32_t erased = 0xFF;
    if (has("erased") && (!parseNumber(value("erased"), 16, erased) || erased > 0xFF)) {
        return fail("usage", {}, QStringLiteral("--erased needs a hexadecimal byte"));
    }
    dump_.erased = static_cast<std::uint8_t>(erased);
    if (!readEach("protected", parseSpan, "two hexadecimal addresses: FROM-TO", dump_.unreadable)) {
        return false;
    }
    for (const QString& argument : parser_.values(QStringLiteral("dump"))) {
        QString fault;
        if (!inspect::readDump(argument, dump_, fault)) {
            return fail("unreadable", argument, fault);
        }
    }
    return true;
}

bool Call::readRules(Policy& policy) {
    constexpr const char* fingerprint = "a fingerprint of 64 hexadecimal digits";
    std::vector<QByteArray> imageKeys;
    std::vector<QByteArray> publicKeys;
    std::vector<Span> memory;
    if (!readEach("require", parseProof, "digest, signature, tag or comparison", policy.proofs) ||
        !readEach("image-key", parseFingerprint, fingerprint, imageKeys) ||
        !readEach("public-key", parseFingerprint, fingerprint, publicKeys) ||
        !readEach("memory", parseSpan, "two hexadecimal addresses: FROM-TO", memory) ||
        !readEach("option-word", parseOptionRule,
                  "WORD=VALUE, WORD/MASK=VALUE or REGISTER.FIELD=VALUE, the value inside the mask", policy.options)) {
        return false;
    }
    if (has("image-key")) {
        policy.imageKeys = imageKeys;
    }
    if (has("public-key")) {
        policy.publicKeys = publicKeys;
    }
    if (has("memory")) {
        policy.memory = memory;
    }
    if (has("least-version") && !parseVersion(value("least-version"), policy.leastVersion.emplace())) {
        return fail("usage", {}, QStringLiteral("--least-version needs a version such as 3 or 1.2.3"));
    }
    bool isNumber = true;
    if (has("largest-size")) {
        policy.largestSize = value("largest-size").toULongLong(&isNumber);
    }
    policy.forbidsOverlap = has("no-overlap");
    policy.isForDeviceMemory = has("device-memory");
    return isNumber || fail("usage", {}, QStringLiteral("--largest-size needs a number of bytes"));
}

bool Call::readPolicies() {
    constexpr std::array rules = {"require", "image-key",     "public-key", "least-version", "largest-size",
                                  "memory",  "device-memory", "no-overlap", "option-word"};
    if (has("policy")) {
        std::optional<QByteArray> document;
        QString fault;
        if (!readWhole("policy", document)) {
            return false;
        }
        if (!readPolicy(*document, policies_.emplace_back(), fault)) {
            return fail("unreadable", value("policy"), fault);
        }
    }
    const bool hasRules = std::any_of(rules.begin(), rules.end(), [this](const char* option) { return has(option); });
    if (has("allow-irreversible") && !has("policy")) {
        return fail("usage", {}, QStringLiteral("--allow-irreversible needs --policy"));
    }
    return (!hasRules || readRules(policies_.emplace_back())) &&
           std::all_of(policies_.begin(), policies_.end(), [this](Policy& policy) { return resolve(policy); });
}

bool Call::resolve(Policy& policy) {
    const RegisterNames& registers = decoding_.registers;
    const std::optional<std::uint32_t> id = policy.device ? policy.device : registers.deviceId;
    const devices::Device* const device = id ? registers.devices.find(*id) : nullptr;
    QString fault;
    return applyDevice(device, policy, fault) || fail("usage", {}, QStringLiteral("policy: ") + fault);
}

bool Call::readDecoding() {
    decoding_.siteSecret = siteSecret_;
    decoding_.revealsSecrets = has("reveal");
    bool isNumber = true;
    decoding_.texts = has("texts") ? value("texts").toUInt(&isNumber) : kept_ != nullptr ? kept_->texts : 0;
    if (!isNumber) {
        return fail("usage", {}, QStringLiteral("--texts needs a number"));
    }
    RegisterNames& registers = decoding_.registers;
    if (has("device") && !parseNumber(value("device"), 16, registers.deviceId.emplace())) {
        return fail("usage", {}, QStringLiteral("--device needs a hexadecimal number"));
    }
    if (!has("devices")) {
        return !has("device") || fail("usage", {}, QStringLiteral("--device needs --devices"));
    }
    const QString folder = value("devices");
    registers.devices = devices::findDevices(folder, {});
    for (const QString& remark : registers.devices.remarks) {
        report_.warnings.push_back({"unreadable", {}, remark});
    }
    if (registers.devices.devices.isEmpty()) {
        return fail("unreadable", folder, QStringLiteral("no device description"));
    }
    const bool isKnown = !registers.deviceId || registers.devices.find(*registers.deviceId) != nullptr;
    return isKnown || fail("usage", {}, QStringLiteral("no description of device %1").arg(value("device")));
}

bool Call::open(const QString& path, Opened& opened, const char* payload, QStringList* others) {
    QString fault;
    if (!claimStandardInput(path)) {
        return false;
    }
    if (!readInput(path, opened.bytes, fault)) {
        return fail("unreadable", path, fault);
    }
    opened.source.path = path;
    opened.source.bytes = opened.bytes;
    const FormatRow* as = nullptr;
    if (parser_.isSet(QStringLiteral("as"))) {
        as = formatByName(parser_.value(QStringLiteral("as")));
    } else if (evidence_.app) {
        as = formatByName(QStringLiteral("memoryImage"));
    }
    if (!openSecond(as, payload, others, opened)) {
        return false;
    }
    opened.description = describe(opened.source, as);
    opened.isSecret = opened.description.format != nullptr && opened.description.format->isSecret;
    if (kept_ != nullptr) {
        kept_->files.push_back({opened.bytes, opened.secondBytes, opened.source, {}, opened.isSecret});
    }
    if (opened.description.format == nullptr) {
        const bool fitsSeveral = !opened.description.findings.empty();
        return fail("unknownFormat", path,
                    fitsSeveral ? QStringLiteral("fits several formats; choose one with --as")
                                : QStringLiteral("no known format; choose one with --as"));
    }
    return true;
}

namespace {

QString besideOf(const QString& path, const QString& suffix) {
    const QFileInfo first(path);
    return QDir::cleanPath(first.path() + u'/' + first.completeBaseName() + u'.' + suffix);
}

// Finds the second file of a pair among `others`: the file at `beside` or, if it isn't in the list, the first file with
// the suffix that isn't beside another file. Returns its index, or -1.
qsizetype findSecond(const QString& beside, const QString& suffix, const QStringList& others) {
    qsizetype found = -1;
    for (qsizetype i = 0; i < others.size(); ++i) {
        const QString path = QDir::cleanPath(others.at(i));
        if (path == beside) {
            return i;
        }
        const bool isOfAnother = std::any_of(others.begin(), others.end(), [&](const QString& other) {
            return QDir::cleanPath(other) != path && besideOf(other, suffix) == path;
        });
        const bool hasSuffix = QFileInfo(path).suffix().compare(suffix, Qt::CaseInsensitive) == 0;
        found = found < 0 && hasSuffix && !isOfAnother ? i : found;
    }
    return found;
}

// Finds the second file of a pair: the file that the option names, otherwise one of `others`, otherwise the file with
// the suffix beside the first one. Removes a file that it finds in `others` from the list. Returns an empty path if
// there is no second file.
QString secondPath(const QString& first, const QString& suffix, const QString& named, QStringList* others) {
    const QString beside = besideOf(first, suffix);
    if (!named.isEmpty()) {
        return named;
    }
    const qsizetype found = others != nullptr ? findSecond(beside, suffix, *others) : -1;
    if (found >= 0) {
        return others->takeAt(found);
    }
    // A pipe is read only if an option or argument names it. If stat fails for another reason than a missing file, the
    // result is the path: reading the file then reports the reason.
    struct stat status {};
    const bool isThere = stat(QFile::encodeName(beside).constData(), &status) == 0
                             ? S_ISREG(status.st_mode)
                             : errno != ENOENT && errno != ENOTDIR;
    return isThere ? beside : QString();
}

}  // namespace

bool Call::openSecond(const FormatRow* as, const char* payload, QStringList* others, Opened& opened) {
    Description probe;
    const FormatRow* const row = as != nullptr ? as : findFormat(opened.source, probe);
    if (row == nullptr || row->secondSuffix == nullptr) {
        return true;
    }
    const QString path = secondPath(opened.source.path, QLatin1String(row->secondSuffix), value(payload), others);
    QString fault;
    if (path.isEmpty()) {
        return true;
    }
    if (!claimStandardInput(path)) {
        return false;
    }
    if (!readInput(path, opened.secondBytes, fault)) {
        return fail("unreadable", path, fault);
    }
    opened.source.secondPath = path;
    opened.source.second = opened.secondBytes;
    return true;
}

}  // namespace inspect
