// The time of a signature with a key in SoftHSM and one login. A bare loop of C_SignInit and C_Sign is compared with
// token::SigningKey, which also verifies each signature. Compare the items per second.

#include "token/OpenToken.h"
#include "token/SigningKey.h"

#include <QFile>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>

namespace {

/// A SoftHSM in a folder of its own, with a P-256 key "ec" and an RSA key "rsa".
class SoftToken {
  public:
    SoftToken() {
        for (const char* path :
             {"/usr/lib/softhsm/libsofthsm2.so", "/usr/lib/x86_64-linux-gnu/softhsm/libsofthsm2.so"}) {
            driver_ = QFile::exists(QString::fromLatin1(path)) ? QByteArray(path) : driver_;
        }
        write("softhsm2.conf", "directories.tokendir = " + folder_.path().toUtf8() + "\nlog.level = ERROR\n");
        write("pin", "1234\n");
        QFile::setPermissions(folder_.filePath(QStringLiteral("pin")), QFile::ReadOwner | QFile::WriteOwner);
        qputenv("SOFTHSM2_CONF", folder_.filePath(QStringLiteral("softhsm2.conf")).toUtf8());
        qputenv("QVORA_HSM_MODULE", driver_);
        run("softhsm2-util --init-token --free --label bench --pin 1234 --so-pin 5678");
        const QByteArray make =
            "pkcs11-tool --module " + driver_ + " --token-label bench --login --pin 1234 --keypairgen ";
        run(make + "--key-type EC:prime256v1 --label ec --id 01 --usage-sign");
        run(make + "--key-type rsa:2048 --label rsa --id 02 --usage-sign");
    }
    [[nodiscard]] QString uri(const char* label) const {
        return QStringLiteral("pkcs11:token=bench;object=%1?pin-source=%2")
            .arg(QLatin1String(label), folder_.filePath(QStringLiteral("pin")));
    }

  private:
    void write(const char* name, const QByteArray& content) const {
        QFile file(folder_.filePath(QLatin1String(name)));
        if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size()) {
            std::abort();
        }
    }
    static void run(const QByteArray& command) {
        if (std::system((command + " >/dev/null 2>&1").constData()) != 0) {
            std::fprintf(stderr, "failed: %s\n", command.constData());
            std::abort();
        }
    }

    QTemporaryDir folder_;
    QByteArray driver_;
};

const SoftToken& softToken() {
    static const SoftToken made;
    return made;
}

constexpr qsizetype signaturesAtOnce = 1000;
const QByteArray digest(32, 'd');

void BareCalls(benchmark::State& state, const char* label, CK_MECHANISM_TYPE mechanism) {
    token::KeyUri uri;
    token::OpenToken place;
    token::TokenKey key;
    if (!uri.parse(softToken().uri(label), CKO_PRIVATE_KEY) || !place.open(uri) ||
        !place.findKey(uri, CKO_PRIVATE_KEY, key)) {
        state.SkipWithError("no key");
        return;
    }
    for (auto _ : state) {
        QByteArray signature;
        benchmark::DoNotOptimize(place.session().sign({mechanism, key.object, nullptr}, digest, 256, signature));
    }
    state.SetItemsProcessed(state.iterations());
}

void SigningKey(benchmark::State& state, const char* label) {
    token::SigningKey key;
    if (!key.open({softToken().uri(label), {}})) {
        state.SkipWithError("no key");
        return;
    }
    const QList<QByteArray> digests(signaturesAtOnce, digest);
    for (auto _ : state) {
        QList<QByteArray> signatures;
        benchmark::DoNotOptimize(key.sign(digests, signatures));
    }
    state.SetItemsProcessed(state.iterations() * signaturesAtOnce);
}

BENCHMARK_CAPTURE(BareCalls, ec, "ec", CKM_ECDSA)->UseRealTime();
BENCHMARK_CAPTURE(SigningKey, ec, "ec")->UseRealTime();
BENCHMARK_CAPTURE(BareCalls, rsa, "rsa", CKM_RSA_PKCS)->UseRealTime();
BENCHMARK_CAPTURE(SigningKey, rsa, "rsa")->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
