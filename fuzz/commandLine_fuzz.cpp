// Fuzzes whole command lines. Each byte of the input selects one of the words below. Therefore every path leads to a
// small file, and nothing outside of this fuzzer's folder is written. The driver of the cards can't be loaded: the
// fuzzer must not program the cards of its user, nor find the faults of the installed drivers.

#include "cli/CommandLineTool.h"
#include "display/Display.h"
#include "fuzz/FuzzFile.h"

#include <QDir>
#include <QFile>

#include <array>

namespace {

constexpr std::array words = {
    "-h",        "-l",         "-gpdata",   "-tbi",        "-sign",      "-tbu",      "-dcu",     "-pvs",
    "-signbin",  "-hsm",       "-pb",       "-obk",        "-ptbi",      "-ppvs-tbi", "-pvs-tbi", "-backupgen",
    "--tbi",     "--tbu",      "-devid",    "-fir",        "-firx",      "-k",        "-n",       "-v",
    "-kx",       "-ob",        "-m",        "-rs",         "-ct",        "-o",        "-hash",    "-obkeys",
    "-xtbi",     "-mcsv",      "-ecsv",     "-diver",      "-oh",        "-os",       "-b",       "-pk",
    "-backup",   "-iv",        "-bin",      "-a",          "-prvk",      "-info",     "-mc",      "-id",
    "-i",        "-pd",        "-app",      "-key",        "-directory", "-add",      "-mode",    "-f",
    "-in",       "-x",         "0x455",     "0x450",       "0x484",      "0",         "1",        "256",
    "0x8000000", "0xFFFFFFFF", "a.tbi",     "a.tbix",      "a.pvs",      "a.tbu",     "a.tbuh",   "a.bin",
    "run.log",   "key.bin",    "nonce.bin", "blob.bin",    "fw.bin",     "fw.hex",    "mod.kmd",  "ob.csv",
    "list.mcsv", "list.ecsv",  "file.obk",  "backup.json", "backup.bin", "key.pem",   "x.xml",    ".",
    "",
};

void writeFile(const char* name, const QByteArray& content) {
    QFile file(QString::fromLatin1(name));
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size()) {
        qFatal("cannot write %s", name);
    }
}

void makeFiles() {
    writeFile("key.bin", QByteArray(16, 'k'));
    writeFile("nonce.bin", QByteArray(12, 'n'));
    writeFile("blob.bin", QByteArray(152, 'b'));
    writeFile("fw.bin", QByteArray(100, 'f'));
    writeFile("fw.hex", ":020000040800F2\n:10000000000102030405060708090A0B0C0D0E0F78\n:00000001FF\n");
    writeFile("mod.kmd", QByteArray("KMDMAGIC") + QByteArray(40, '\1'));
    writeFile("ob.csv", "a,0x1,b,0x2\n");
    writeFile("list.mcsv", "./fw.bin,none,0x08100000\n");
    writeFile("list.ecsv", "./fw.bin,Chip,0xB0000000,1,2,0x08001000\n");
    writeFile("file.obk", QByteArray(44, 'o'));
    writeFile("backup.json", "{\"Files\": []}");
    writeFile("backup.bin", QByteArray::fromHex("0000000000000000040000000102030405"));
    writeFile("key.pem", QByteArray(178, 'p'));
    writeFile("x.xml", "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Root><Obdata/></Root>");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const FuzzFile scratch(data, 0, ".txt");
    static const bool ready =
        QDir::setCurrent(scratch.path().section(u'/', 0, -2)) && qputenv("QVORA_HSM_MODULE", "./no-driver.so");
    if (!ready) {
        return 0;
    }
    makeFiles();
    constexpr std::size_t longest = 40;
    QStringList arguments = {QStringLiteral("QVORASealedBundleBuilder_CLI")};
    for (std::size_t i = 0; i < size && i < longest; ++i) {
        arguments.append(QString::fromLatin1(words[data[i] % words.size()]));
    }
    cli::CommandLineTool tool;
    static_cast<void>(tool.runArguments(arguments));
    Display::getInstance()->closeLog();
    return 0;
}
