#include "tests/desktop/jobForms.h"

#include <QDir>
#include <QProcess>

QStringList JobForm::outputs() const {
    return QString::fromLatin1(made).split(u' ', Qt::SkipEmptyParts);
}

const QList<JobForm>& jobForms() {
    static const QList<JobForm> forms = {
        {"install-image",
         {{"device", "0x455"},
          {"firmware", "blink.elf"},
          {"key", "key.bin"},
          {"nonce", "nonce.bin"},
          {"version", "1"},
          {"option-bytes", "option-bytes.csv"},
          {"out", "blink.tbi"}},
         "blink.tbi",
         0,
         true},
        {"inspect", {{"image", "blink.tbi"}}, "", 0, false, "print-image"},
        {"update-image",
         {{"firmware", "blink.hex"},
          {"key", "key.bin"},
          {"nonce", "nonce.bin"},
          {"version", "2"},
          {"header", "blink.tbuh"},
          {"image", "blink.tbu"}},
         "blink.tbuh blink.tbu",
         0,
         true},
        {"payload",
         {{"secrets", "secrets.bin"},
          {"public-key", "oem-public.pem"},
          {"key", "key.bin"},
          {"nonce", "nonce16.bin"},
          {"out", "payload.pvs"}},
         "payload.pvs",
         0,
         true},
        {"backup-image", {{"description", "backup/backup.json"}, {"out", "backup.bin"}}, "backup.bin", 0, true},
        {"provisioning-image",
         {{"secrets", "secrets.bin"},
          {"backup", "backup.bin"},
          {"backupBeside", "0x50000000"},
          {"key", "key.bin"},
          {"nonce", "nonce.bin"},
          {"version", "1"},
          {"out", "secrets.pvs"}},
         "secrets.pvs",
         0,
         true},
        {"inspect", {{"image", "secrets.pvs"}}, "", 0, false, "print-image"},
        {"sign",
         {{"binary", "stack.bin"}, {"key", "private.pem"}, {"version", "1"}, {"out", "stack-signed.bin"}},
         "stack-signed.bin private_pub.bin"},
        {"card",
         {{"slot", "0"},
          {"key", "key.bin"},
          {"nonce", "nonce.bin"},
          {"firmware-id", "Product-1"},
          {"licences", "1000"}},
         ""},
        {"card", {{"action", "Read"}}, "", 1},
        {"personalization", {{"data", "data.bin"}, {"out", "data.enc.bin"}}, "data.enc.bin", 0, true},
        {"template", {{"template", "provisioning.xml"}}, "provisioning.obk", 0, false, "provisioning-file"},
        {"template", {{"template", "image.xml"}}, "imgtool-arguments", 0, false, "imgtool-image"},
        {"key-pair", {{"key", "keys/new.pem"}, {"kind", "ecdsa-p256"}}, "keys/new.pem keys/new_pub.pem"},
        {"external-memory",
         {{"application", "app.bin"}, {"address", "B0000000"}, {"key", "key.bin"}, {"mode", "0"}, {"folder", "out"}},
         "out/Encrypted_Image.bin",
         0,
         true},
        {"wireless-keys",
         {{"private-key", "rsa-private.pem"},
          {"public-key", "rsa-public.pem"},
          {"c-source", "key.c"},
          {"python-source", "key.py"},
          {"text", "key.txt"}},
         "rsa-private.pem rsa-public.pem key.c key.py key.txt"},
        {"wireless-sign",
         {{"key", "rsa-private.pem"}, {"binary", "stack.bin"}, {"out", "stack-rsa.bin"}},
         "stack-rsa.bin",
         0,
         true},
    };
    return forms;
}

void fillIn(DesktopKit& kit, const JobForm& form) {
    for (const auto& [field, value] : form.fields) {
        kit.type(field, QLatin1String(value));
    }
}

bool copyExamples(const TempFolder& folder) {
    // These commands are the same as in examples/demo.
    const QByteArray script = R"(
        set -e
        cp "$1"/firmware/* "$1"/provisioning/* "$1"/templates/* .
        cp -r "$1/backup" .
        mkdir -p keys out
        openssl ecparam -name prime256v1 -genkey -noout -out private.pem
        openssl ecparam -name prime256v1 -genkey -noout | openssl pkcs8 -topk8 -nocrypt -out keys/authentication.pem
        openssl pkey -in keys/authentication.pem -pubout -out keys/authentication_pub.pem
        head -c 4096 /dev/zero | openssl enc -aes-128-ctr -K 00112233445566778899aabbccddeeff -iv 0 2>/dev/null >app.bin
        { head -c 1020 app.bin; printf '\221\051\067\043'; } >stack.bin
        head -c 108 app.bin >data.bin
    )";
    QProcess shell;
    shell.setWorkingDirectory(folder.path(""));
    shell.start(QStringLiteral("sh"), {QStringLiteral("-c"), QString::fromLatin1(script), QStringLiteral("sh"),
                                       QStringLiteral(QVORA_EXAMPLES)});
    return shell.waitForFinished() && shell.exitCode() == 0;
}
