#include "tests/cli/CommandRun.h"
#include "tests/support/TempFolder.h"

#include <QProcess>

#include <gtest/gtest.h>

namespace {

constexpr char secretFiles[] =
    "cp -r $0/firmware/* $0/provisioning/* . && "
    "openssl rand -out key.bin 16 && openssl rand -out secrets.bin 152 && "
    "openssl ecparam -name prime256v1 -genkey -noout -out private.pem && "
    "openssl ec -in private.pem -outform DER 2>/dev/null | dd bs=1 skip=7 count=32 of=scalar 2>/dev/null && "
    "sed -n 2p private.pem | tr -d '\\n' | head -c 64 > line && "
    "openssl genrsa -traditional -out rsa.pem 2048 2>/dev/null && "
    "sed -n 9p rsa.pem | tr -d '\\n' | head -c 64 > rsa-line && "
    // the exponent d, after version, modulus and e
    "openssl rsa -traditional -in rsa.pem -outform DER 2>/dev/null | dd bs=1 skip=300 count=64 of=exponent 2>/dev/null "
    "&& "
    "head -c 64 secrets.bin > blob && "
    "openssl rand -out nonce.bin 12 && openssl rand -out perso.bin 108 && head -c 64 perso.bin > perso && "
    // the key of region 1
    "{ printf 'region\\001'; openssl dgst -sha256 -binary nonce.bin | head -c 12; } | openssl dgst -sha256 -mac HMAC "
    "-macopt hexkey:$(od -An -tx1 key.bin | tr -d ' \\n') -binary | head -c 16 > region-key && "
    "cp -r $0/backup . && openssl rand -out backup/data.bin 32 && openssl rand -out backup/key.bin 16 && "
    "openssl rand -out backup/nonce.bin 16 && "
    "{ printf '\\0\\0\\0\\0\\0\\0\\0\\0\\040\\0\\0\\0'; cat backup/data.bin; printf cut; } > cut.bin && "
    "openssl rand -out body 48 && { printf '\\0\\020\\0\\014\\060\\0\\0\\0\\0\\0\\0\\0'; cat body; } > a.obk && "
    "{ head -c 40 /dev/urandom; cat key.bin; } | tail -c 64 > b.bin && "
    // a password of the template, as bytes and as UTF-16 text
    "printf 'correct-horse-battery' > password && printf '%s\\000' c o r r e c t - h o r s e - b > password16 && "
    "{ head -c 64 /dev/zero; printf '\\221\\051\\067\\043'; } > stack.bin";

// The bytes that imgtool-stand-in.sh prints for a private key.
constexpr char imgtoolKey[] = "000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f2021222324252627";

constexpr char provisioningTemplate[] =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Root><Obdata><Info><GlobalAlign>1</GlobalAlign></Info>"
    "<Text><Name>p</Name><MinWidth>1</MinWidth><Width>64</Width><Default>correct-horse-battery</Default></Text>"
    "<File><Name>f</Name><Align>1</Align><KeyType>k</KeyType><Default>secrets.bin</Default></File>"
    "<File><Name>g</Name><Align>1</Align><KeyType>k</KeyType><Default>private.pem</Default></File>"
    "<Output><Name>o</Name><Default>o.obk</Default></Output></Obdata></Root>";

struct TraceRow {
    const char* secrets;
    const char* arguments;
    int status = 0;
};

constexpr TraceRow rows[] = {
    {"key.bin nonce.bin body", "-tbi -devid 0x455 -fir blink.elf -obkeys a.obk -k key.bin -n nonce.bin -v 1 -o a.tbi"},
    {"region-key", "-tbi -devid 0x455 -firx secrets.bin 0xB0000000 1 1 0x1000 -k key.bin -n nonce.bin -v 1 -o a.tbi"},
    {"key.bin nonce.bin", "-tbu -fir blink.hex -k key.bin -n nonce.bin -v 2 -oh a.tbuh -os a.tbu"},
    {"key.bin blob", "-pvs -b secrets.bin -pk oem-public.pem -k key.bin -n nonce16.bin -o a.pvs"},
    {"backup/data.bin backup/key.bin backup/nonce.bin", "-backupgen -in backup/backup.json -o backup.bin"},
    {"key.bin nonce.bin blob backup/data.bin backup/key.bin backup/nonce.bin",
     "-pvs-tbi -b secrets.bin -backup backup.bin 0x1000 -k key.bin -n nonce.bin -iv 1 -o b.pvs"},
    {"backup/data.bin", "-pvs-tbi -backup cut.bin 0x1000", 1},
    // the run fails at the file after the key
    {"backup/data.bin", "-pvs-tbi -backup backup.bin 0x1000 -backup blink.hex 0x2000", 1},
    // no card answers, so the counter stays missing
    {"key.bin nonce.bin perso", "-hsm -i 7 -k key.bin -n nonce.bin -id F -pd perso.bin", 1},
    {"key.bin", "-dcu -app secrets.bin -key key.bin -directory . -add B0000000 -mode 0"},
    {"perso-key blob", "-gpdata secrets.bin d.bin"},
    {"scalar line", "-sign -bin stack.bin -prvk private.pem -v 1 -o s.bin"},
    {"password password16 blob imgtool-key imgtool-text line", "-obk t.xml"},
    {"password password16 blob imgtool-key", "-obk u.xml"},
    {"password password16", "-obk t.xml"},  // reads the value that the first run wrote into the template
    {"exponent rsa-line", "-signbin -k rsa.pem -f b.bin -o t.bin"},
};

TEST(KeyTraces, NoSecretStaysInMemory) {
    const TempFolder folder;
    // The secret derived from the built-in pair. Its first half is the key of personalization data.
    folder.write("perso-key", QByteArray::fromHex("0963e5379da02b15148c86f014ffc36b"));
    folder.write("imgtool-key", QByteArray::fromHex(imgtoolKey));
    folder.write("imgtool-text", "0x00, 0x01, 0x02, 0x03, 0x04, 0x05,");
    folder.write("t.xml", provisioningTemplate);
    folder.write("u.xml", QByteArray(provisioningTemplate).replace("<Text>", "<DA/><Text>"));
    qputenv("IMGTOOL_RECORD", "imgtool-arguments");
    QProcess maker;
    maker.setWorkingDirectory(folder.path("."));
    maker.start(QStringLiteral("sh"),
                {QStringLiteral("-ec"), QString::fromUtf8(secretFiles), QStringLiteral(QVORA_EXAMPLES)});
    ASSERT_TRUE(maker.waitForFinished() && maker.exitCode() == 0) << maker.readAllStandardError().constData();
    qputenv("QVORA_HSM_MODULE", "none.so");
    for (const TraceRow& row : rows) {
        QProcess run;
        run.setWorkingDirectory(folder.path("."));
        run.setProcessChannelMode(QProcess::MergedChannels);
        run.start(QStringLiteral(KEY_TRACES), splitArguments(QString::fromUtf8(row.secrets))
                                                  << QStringLiteral("--")
                                                  << splitArguments(QString::fromUtf8(row.arguments)));
        ASSERT_TRUE(run.waitForFinished(120000));
        EXPECT_EQ(run.exitCode(), row.status) << row.arguments << '\n' << run.readAll().constData();
    }
}

}  // namespace
