#include "obkey/Imgtool.h"

#include "display/Display.h"
#include "files/wipe.h"
#include "obkey/Interruption.h"

#include <QFile>
#include <QFileInfo>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>
#include <cstring>

namespace obkey {

namespace {

constexpr qsizetype longArgument = 255;
constexpr qint64 maxOutput = qint64{16} << 20;  // the longest correct output has some kilobytes
constexpr int patience = 100;                   // milliseconds between two checks for an interruption

/// Removes `expected` from the start of `rest`. Returns false and leaves `rest` unchanged if it starts differently.
bool take(QByteArrayView& rest, QByteArrayView expected) {
    if (!rest.startsWith(expected)) {
        return false;
    }
    rest = rest.sliced(expected.size());
    return true;
}

bool takeLineEnd(QByteArrayView& rest) {
    return take(rest, "\n") || take(rest, "\r\n");
}

bool isNameCharacter(char character) {
    return (character >= 'a' && character <= 'z') || (character >= '0' && character <= '9') || character == '_';
}

bool takeName(QByteArrayView& rest, QByteArrayView& name) {
    const auto end = std::find_if_not(rest.begin(), rest.end(), isNameCharacter);
    name = rest.first(end - rest.begin());
    rest = rest.sliced(name.size());
    return !name.isEmpty();
}

/// Reads the next value of an array. A row has eight values.
bool takeByte(QByteArrayView& rest, QByteArray& bytes) {
    constexpr qsizetype valuesInRow = 8;
    constexpr QByteArrayView digits("0123456789abcdef");
    QByteArrayView value = rest;
    const bool opensRow = bytes.size() % valuesInRow == 0;
    const bool hasHead = opensRow ? takeLineEnd(value) && take(value, "    0x") : take(value, " 0x");
    if (!hasHead || value.size() < 3 || value.at(2) != ',') {
        return false;
    }
    const qsizetype high = digits.indexOf(value.at(0));
    const qsizetype low = digits.indexOf(value.at(1));
    if (high < 0 || low < 0) {
        return false;
    }
    bytes.append(static_cast<char>(16 * high + low));
    rest = value.sliced(3);
    return true;
}

/// Appends `piece` to `bytes`. If the array has to grow, its old memory is wiped.
void appendSecret(QByteArrayView piece, QByteArray& bytes) {
    if (bytes.capacity() - bytes.size() < piece.size()) {
        QByteArray larger;
        larger.reserve(2 * bytes.size() + piece.size());
        larger.append(bytes);
        wipe(bytes);
        bytes.swap(larger);
    }
    bytes.append(piece);
}

/// Ends a process and all processes that it started. A launcher, for example, starts an imgtool that would otherwise
/// keep writing.
void killTree(qint64 process) {
    const auto id = static_cast<pid_t>(process);
    ::kill(id, SIGSTOP);  // a stopped process starts no further ones
    QFile children(QStringLiteral("/proc/%1/task/%1/children").arg(process));
    if (children.open(QIODevice::ReadOnly)) {
        for (const QByteArray& child : children.readAll().split(' ')) {
            const qint64 childId = child.toLongLong();
            if (childId > 0) {
                killTree(childId);
            }
        }
    }
    ::kill(id, SIGKILL);
}

/// Removes the card's PIN from the environment while another program starts. The destructor puts the same entry back,
/// so that no copy of the PIN is made.
class WithoutPin {
  public:
    WithoutPin() {
        if (char* const pin = std::getenv(name.data())) {
            entry_ = pin - name.size() - 1;
            unsetenv(name.data());
        }
    }
    ~WithoutPin() {
        if (entry_ != nullptr) {
            putenv(entry_);
        }
    }
    WithoutPin(const WithoutPin&) = delete;
    WithoutPin& operator=(const WithoutPin&) = delete;

  private:
    static constexpr QByteArrayView name{"QVORA_HSM_PIN"};
    char* entry_ = nullptr;
};

}  // namespace

void Imgtool::collect(const FileHandle& pipe, QByteArray& output) {
    std::array<char, 4096> piece{};
    while (output.size() <= maxOutput && !Interruption::isPending()) {
        pollfd waited{pipe.get(), POLLIN, 0};
        const int ready = poll(&waited, 1, patience);
        if (ready == 0 && (process_.waitForFinished(0) || process_.state() == QProcess::NotRunning)) {
            break;  // imgtool has ended, but a process that it started still holds the pipe open
        }
        if (ready > 0) {
            const ssize_t count = pipe.read(piece.data(), piece.size());
            if (count <= 0) {
                break;
            }
            appendSecret(QByteArrayView(piece).first(count), output);
        }
    }
    explicit_bzero(piece.data(), piece.size());
}

// The output may contain a private key. It is read through a pipe of our own, because QProcess would leave copies of it
// in memory.
ImgtoolAnswer Imgtool::run(const QStringList& arguments) {
    ImgtoolAnswer answer;
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        return answer;
    }
    const FileHandle pipe(ends[0]);
    FileHandle itsEnd(ends[1]);
    process_.setProcessChannelMode(QProcess::ForwardedChannels);
    process_.setChildProcessModifier([end = ends[1]] {
        dup2(end, STDOUT_FILENO);
        dup2(end, STDERR_FILENO);
    });
    if (process_.state() == QProcess::NotRunning) {
        const WithoutPin withoutPin;
        process_.start(imgtoolPath_, arguments, QIODevice::ReadWrite);
    }
    // imgtool gets no input: if it reads its standard input, it finds the end at once.
    process_.closeWriteChannel();
    const bool isStarted = process_.waitForStarted(-1);
    if (!itsEnd.close() || !isStarted) {
        return answer;
    }
    collect(pipe, answer.output);
    while (answer.output.size() <= maxOutput && !Interruption::isPending() && process_.state() == QProcess::Running &&
           !process_.waitForFinished(patience)) {
    }
    if (process_.state() == QProcess::Running) {
        killTree(process_.processId());
    }
    process_.waitForFinished(-1);
    answer.ended = process_.state() == QProcess::NotRunning;
    answer.failed = process_.exitStatus() != QProcess::NormalExit || process_.exitCode() != 0;
    return answer;
}

void showImgtoolAnswer(const QByteArray& output) {
    if (!output.isEmpty()) {
        displayMessage(MessageKind::normal, "Imgtool : %s", output.trimmed().constData());
    }
}

// imgtool prints a key in this form, with LF or CRLF at the end of each line:
//
//     /* Autogenerated by imgtool.py, do not edit. */
//     const unsigned char ecdsa_pub_key[] = {
//         0x30, 0x59, 0x30, 0x13, 0x06, 0x07, 0x2a, 0x86,
//         0x48, 0xce,
//     };
//     const unsigned int ecdsa_pub_key_len = 10;
//
// Any other line, such as a warning of Python, makes the output invalid: bytes from such a line would give a wrong key.
// The bytes themselves aren't checked, because some releases print a key that isn't complete DER.
QByteArray imgtoolArrayBytes(const QByteArray& output) {
    QByteArrayView rest(output);
    QByteArrayView name;
    QByteArray bytes;
    if (!take(rest, "/* Autogenerated by imgtool.py, do not edit. */") || !takeLineEnd(rest) ||
        !take(rest, "const unsigned char ") || !takeName(rest, name) || !take(rest, "[] = {")) {
        return bytes;
    }
    bytes.reserve(rest.size() / 6 + 1);  // an array that grows would leave copies of the key in memory
    while (takeByte(rest, bytes)) {
    }
    const bool isWhole = takeLineEnd(rest) && take(rest, "};") && takeLineEnd(rest) &&
                         take(rest, "const unsigned int ") && take(rest, name) && take(rest, "_len = ") &&
                         take(rest, QByteArray::number(bytes.size())) && take(rest, ";") && takeLineEnd(rest) &&
                         rest.isEmpty();
    if (!isWhole) {
        wipe(bytes);
    }
    return bytes;
}

void extendedArgument(QString& argument) {
    if (argument.size() < longArgument) {
        return;
    }
    argument.replace(QLatin1Char('/'), QLatin1Char('\\'));
    argument.replace(QLatin1String("\\"), QLatin1String("\\\\"));
    const QFileInfo file(argument);
    if (file.exists() && !file.isRelative()) {
        argument.prepend(QLatin1String("\\\\?\\"));
    }
}

QStringList platformArguments(QStringList arguments) {
#ifdef Q_OS_WIN
    std::for_each(arguments.begin(), arguments.end(), extendedArgument);
#endif
    return arguments;
}

}  // namespace obkey
