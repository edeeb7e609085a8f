#include "token/pin.h"

#include "display/Display.h"
#include "files/FileHandle.h"
#include "files/wipe.h"
#include "token/secretFile.h"

#include <fcntl.h>
#include <termios.h>

namespace token {

namespace {

constexpr qsizetype maxPin = 255;
constexpr char endOfText = 0x03;  // Ctrl-C
constexpr char endOfInput = 0x04;
constexpr char backspace = 0x08;
constexpr char eraseLine = 0x15;
constexpr char deleted = 0x7f;

/// Switches off echo, lines and signal keys of a terminal. The destructor switches them on again. Because the signal
/// keys arrive as characters, Ctrl-C doesn't end the process while the terminal is silent.
class SilentTerminal {
  public:
    explicit SilentTerminal(int descriptor) : descriptor_(descriptor) {
        termios silent{};
        if (tcgetattr(descriptor_, &before_) != 0) {
            return;
        }
        silent = before_;
        silent.c_lflag &= ~static_cast<tcflag_t>(ECHO | ECHONL | ICANON | ISIG);
        silent.c_cc[VMIN] = 1;
        silent.c_cc[VTIME] = 0;
        isSilent_ = tcsetattr(descriptor_, TCSAFLUSH, &silent) == 0;
    }
    ~SilentTerminal() {
        if (isSilent_) {
            static_cast<void>(tcsetattr(descriptor_, TCSAFLUSH, &before_));
        }
    }
    SilentTerminal(const SilentTerminal&) = delete;
    SilentTerminal& operator=(const SilentTerminal&) = delete;

    [[nodiscard]] bool isSilent() const { return isSilent_; }

  private:
    int descriptor_;
    termios before_{};
    bool isSilent_ = false;
};

/// Removes the last character, which has up to four bytes in UTF-8.
void removeCharacter(QByteArray& line) {
    while (!line.isEmpty()) {
        const bool isContinued = (static_cast<unsigned char>(line.back()) & 0xC0U) == 0x80U;
        line[line.size() - 1] = '\0';
        line.chop(1);
        if (!isContinued) {
            return;
        }
    }
}

/// Reads the line that the user types. False if the user interrupts it.
bool readLine(const FileHandle& terminal, QByteArray& line) {
    line.reserve(maxPin);
    char typed = 0;
    while (terminal.read(&typed, 1) == 1 && typed != endOfText && typed != endOfInput) {
        if (typed == '\n' || typed == '\r') {
            return true;
        }
        if (typed == backspace || typed == deleted) {
            removeCharacter(line);
        } else if (typed == eraseLine) {
            while (!line.isEmpty()) {
                removeCharacter(line);
            }
        } else if (line.size() < maxPin) {
            line.append(typed);
        }
    }
    return false;
}

}  // namespace

bool readPin(const QString& path, QByteArray& pin) {
    QByteArray content;
    const WipeOnExit wiped(content);
    const bool isInput = path == QLatin1String("-");
    if (!readSecretFile(isInput ? QStringLiteral("/proc/self/fd/0") : path, "file with the PIN", maxPin + 2, content)) {
        return false;
    }
    const qsizetype lineEnd = content.indexOf('\n');
    qsizetype size = lineEnd < 0 ? content.size() : lineEnd;
    if (size > 0 && lineEnd >= 0 && content.at(size - 1) == '\r') {
        --size;
    }
    if (size == 0 || (lineEnd >= 0 && lineEnd + 1 != content.size()) || content.contains('\0')) {
        return reportError("The file with the PIN %s must contain one line, the PIN", qUtf8Printable(path));
    }
    pin = QByteArray(content.constData(), size);
    return true;
}

bool askForPin(const QString& tokenLabel, QByteArray& pin) {
    const FileHandle terminal(open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC));
    if (!terminal.isOpen()) {
        return reportError("The token %s needs a PIN, and there is no terminal to ask for it : use pin-source",
                           qUtf8Printable(tokenLabel));
    }
    QByteArray line;
    const WipeOnExit wiped(line);
    bool isTyped = false;
    {
        const SilentTerminal silent(terminal.get());
        isTyped = silent.isSilent() && terminal.write("PIN of the token " + tokenLabel.toUtf8() + ": ") &&
                  readLine(terminal, line);
        static_cast<void>(terminal.write("\n"));
    }
    if (!isTyped || line.isEmpty()) {
        return reportError("No PIN was typed for the token %s", qUtf8Printable(tokenLabel));
    }
    pin = QByteArray(line.constData(), line.size());
    return true;
}

}  // namespace token
