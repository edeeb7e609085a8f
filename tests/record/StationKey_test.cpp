#include "record/StationKey.h"

#include "tests/record/RecordKit.h"
#include "tests/support/outsideTool.h"

#include <QDir>

#include <sys/stat.h>

#include <gtest/gtest.h>

namespace {

using record::StationKey;
using record::StationPublicKey;

mode_t modeOf(const QString& path) {
    struct stat status {};
    return stat(QFile::encodeName(path).constData(), &status) == 0 ? status.st_mode & 07777 : 0;
}

QStringList entries(const TempFolder& folder) {
    return QDir(folder.path("")).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
}

StationPublicKey kitPublicKey() {
    StationPublicKey key;
    QString fault;
    EXPECT_TRUE(key.parse(kitPublicPem(), fault)) << qUtf8Printable(fault);
    return key;
}

QByteArray derNumber(QByteArray bytes) {
    bytes.prepend('\0');
    while (bytes.size() > 1 && bytes.at(0) == 0 && bytes.at(1) >= 0) {
        bytes.remove(0, 1);
    }
    return QByteArray(1, '\2') + static_cast<char>(bytes.size()) + bytes;
}

QByteArray derOf(const QByteArray& raw) {
    const QByteArray numbers = derNumber(raw.first(32)) + derNumber(raw.sliced(32));
    return QByteArray(1, '\x30') + static_cast<char>(numbers.size()) + numbers;
}

// The order of the group minus a number of 32 bytes, digit by digit.
QByteArray negated(const QByteArray& number) {
    const QByteArray order = QByteArray::fromHex("ffffffff00000000ffffffffffffffffbce6faada7179e84f3b9cac2fc632551");
    QByteArray result(32, '\0');
    int borrow = 0;
    for (qsizetype i = 31; i >= 0; --i) {
        const int digit = static_cast<uchar>(order.at(i)) - static_cast<uchar>(number.at(i)) - borrow;
        borrow = digit < 0;
        result[i] = static_cast<char>(digit + 256 * borrow);
    }
    return result;
}

}  // namespace

TEST(StationKey, SignsWhatOpensslVerifies) {
    const TempFolder folder;
    const QString publicPath = folder.write("public.pem", kitPublicPem());
    const StationPublicKey publicKey = kitPublicKey();
    for (int i = 0; i < 20; ++i) {  // the chance is even that a signature must be normalized
        const QByteArray message = "message " + QByteArray::number(i);
        QByteArray signature;
        ASSERT_TRUE(kitStationKey().sign(message, signature));
        ASSERT_EQ(signature.size(), 64);
        EXPECT_LT(static_cast<uchar>(signature.at(32)), 0x80);
        EXPECT_TRUE(opensslVerifies(publicPath, derOf(signature), message));
        EXPECT_EQ(publicKey.verify(message, signature), StationPublicKey::Check::holds);
        EXPECT_EQ(publicKey.verify(message + '.', signature), StationPublicKey::Check::doesNotHold);

        const QByteArray other = signature.first(32) + negated(signature.sliced(32));
        EXPECT_TRUE(opensslVerifies(publicPath, derOf(other), message)) << "the other value of s";
        EXPECT_EQ(publicKey.verify(message, other), StationPublicKey::Check::doesNotHold);
    }
}

TEST(StationKey, RefusesOtherSignatures) {
    const StationPublicKey key = kitPublicKey();
    QByteArray signature;
    ASSERT_TRUE(kitStationKey().sign("m", signature));
    for (const QByteArray& wrong : {QByteArray(), signature.first(63), signature + '\0', QByteArray(64, '\0'),
                                    QByteArray(64, '\xFF'), derOf(signature)}) {
        EXPECT_NE(key.verify("m", wrong), StationPublicKey::Check::holds) << wrong.toHex().constData();
    }
}

TEST(StationKey, WithoutAKeySignsNothing) {
    const StationKey key;
    QByteArray signature = "kept";
    EXPECT_FALSE(key.sign("m", signature));
    EXPECT_EQ(signature, "kept");
    EXPECT_EQ(key.id(), QString());
    EXPECT_EQ(StationPublicKey().verify("m", QByteArray(64, '\1')), StationPublicKey::Check::failed);
}

TEST(StationKey, MakesAPairThatOpensslAccepts) {
    const TempFolder folder;
    const QString privatePath = folder.path("station.pem");
    const QString publicPath = folder.path("station.pub");
    QString fault;
    ASSERT_TRUE(record::makeStationKey(privatePath, publicPath, fault)) << qUtf8Printable(fault);
    EXPECT_EQ(modeOf(privatePath), 0600U);
    EXPECT_EQ(modeOf(publicPath), 0444U);
    EXPECT_EQ(entries(folder), (QStringList{QStringLiteral("station.pem"), QStringLiteral("station.pub")}));
    const QByteArray shown = openssl(QStringLiteral("pkey -text -noout -check -in ") + privatePath);
    EXPECT_TRUE(shown.contains("Key is valid") && shown.contains("P-256")) << shown.constData();
    EXPECT_EQ(openssl(QStringLiteral("pkey -pubout -in ") + privatePath), folder.read("station.pub"));

    StationKey key;
    ASSERT_TRUE(key.read(privatePath, fault)) << qUtf8Printable(fault);
    folder.write("der", openssl(QStringLiteral("pkey -pubin -outform DER -in ") + publicPath));
    EXPECT_EQ(key.id().toLatin1(), outsideTool("sha256sum " + folder.path("der").toUtf8()).left(64));
    StationPublicKey publicKey;
    ASSERT_TRUE(publicKey.parse(folder.read("station.pub"), fault));
    EXPECT_EQ(publicKey.id(), key.id());
}

TEST(StationKey, MakesOnlyNewFiles) {
    const TempFolder folder;
    const QString privatePath = folder.path("station.pem");
    const QString publicPath = folder.path("station.pub");
    const auto faultOf = [](const QString& first, const QString& second) {
        QString fault;
        EXPECT_FALSE(record::makeStationKey(first, second, fault));
        return fault;
    };
    folder.write("station.pub", "old");
    EXPECT_EQ(faultOf(privatePath, publicPath),
              QStringLiteral("The new key file %1 can't be written: File exists").arg(publicPath));
    EXPECT_EQ(entries(folder), QStringList{QStringLiteral("station.pub")}) << "the private key stayed";
    EXPECT_EQ(folder.read("station.pub"), "old");

    QFile::rename(publicPath, privatePath);
    EXPECT_EQ(faultOf(privatePath, publicPath),
              QStringLiteral("The new key file %1 can't be written: File exists").arg(privatePath));
    EXPECT_EQ(folder.read("station.pem"), "old");
    EXPECT_EQ(
        faultOf(folder.path("no/a"), publicPath),
        QStringLiteral("The new key file %1 can't be written: No such file or directory").arg(folder.path("no/a")));
    EXPECT_EQ(entries(folder), QStringList{QStringLiteral("station.pem")});
}

TEST(StationKey, ReportsWhyAKeyCantBeRead) {
    const TempFolder folder;
    const auto make = [&folder](const char* name, const char* algorithm) {
        const QString path = folder.path(name);
        opensslMakeKey(path, algorithm);
        EXPECT_TRUE(QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner));
        return path;
    };
    const auto keep = [&folder](const char* name, const QByteArray& content, QFile::Permissions more = {}) {
        const QString path = folder.write(name, content);
        EXPECT_TRUE(QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | more));
        return path;
    };
    const QString encrypted = folder.path("encrypted");
    openssl(QStringLiteral("pkcs8 -topk8 -passout pass:word -in %1 -out %2")
                .arg(keep("plain", kitPrivatePem()), encrypted));
    EXPECT_TRUE(QFile::setPermissions(encrypted, QFile::ReadOwner));
    const struct {
        QString path;
        QString fault;
    } cases[] = {
        {folder.path("missing"), QStringLiteral("The station key %1 can't be opened: No such file or directory")},
        {keep("group", kitPrivatePem(), QFile::ReadGroup),
         QStringLiteral("The station key %1 can be used by others; its mode must be 0600")},
        {keep("others", kitPrivatePem(), QFile::ReadOther),
         QStringLiteral("The station key %1 can be used by others; its mode must be 0600")},
        {keep("writers", kitPrivatePem(), QFile::WriteOther),
         QStringLiteral("The station key %1 can be used by others; its mode must be 0600")},
        {keep("long", QByteArray(65537, ' ')),
         QStringLiteral("The station key %1 can't be read, or has more than 65536 bytes")},
        {keep("empty", ""), QStringLiteral("%1 is not a valid P-256 private key in PEM form")},
        {keep("public", kitPublicPem()), QStringLiteral("%1 is not a valid P-256 private key in PEM form")},
        {make("rsa", "RSA"), QStringLiteral("%1 is not a valid P-256 private key in PEM form")},
        {make("curve", "EC -pkeyopt ec_paramgen_curve:P-384"),
         QStringLiteral("%1 is not a valid P-256 private key in PEM form")},
        {encrypted, QStringLiteral("The key %1 is encrypted, a key without a passphrase is needed")},
    };
    for (const auto& row : cases) {
        StationKey key;
        QString fault;
        EXPECT_FALSE(key.read(row.path, fault));
        EXPECT_EQ(fault, row.fault.arg(row.path));
        EXPECT_EQ(key.id(), QString());
    }
    StationPublicKey key;
    QString fault;
    EXPECT_FALSE(key.parse("no key", fault));
    EXPECT_EQ(fault, QStringLiteral("The public key is not a valid P-256 public key in PEM form"));
}
