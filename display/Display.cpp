#include "display/Display.h"

#include <QTime>

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <string>

namespace {

constexpr int maxCharacters = 30719;

// A UTF-8 character has at most four bytes, so this many bytes are enough for all characters of a message.
constexpr std::size_t formatBytes = std::size_t{maxCharacters} * 4 + 1;

// The colour of a kind is an attribute of the Windows console: blue 1, green 2, red 4, bright 8.
constexpr int plainAttribute = 15;
constexpr std::array kindAttributes = {plainAttribute, 7, 10, 11, 14, 12, 3, 3, 3, 10, 14, 12};

constexpr char plainEscape[] = "\x1b[0m";

int attributeOf(std::int32_t kind) {
    const auto index = static_cast<std::uint32_t>(kind);
    return index < kindAttributes.size() ? kindAttributes[index] : plainAttribute;
}

// The terminal sequence for the same colour. On a terminal, red is 1 and blue is 4. Plain text has the terminal's
// default colour, because the bright white of the attribute can't be read on a light background.
std::string escapeOf(int attribute) {
    if (attribute == plainAttribute) {
        return plainEscape;
    }
    const int colour = (attribute & 4) >> 2 | (attribute & 2) | (attribute & 1) << 2;
    return "\x1b[" + std::to_string(colour + ((attribute & 8) != 0 ? 90 : 30)) + 'm';
}

// Returns the length of the well-formed UTF-8 sequence at `text`, or 0. `text` is NUL-terminated; the NUL makes an
// incomplete sequence at the end invalid.
int sequenceLength(const unsigned char* text) {
    const auto continues = [text](int index) { return (text[index] & 0xC0) == 0x80; };
    if (text[0] < 0x80) {
        return 1;
    }
    if (text[0] >= 0xC2 && text[0] <= 0xDF) {
        return continues(1) ? 2 : 0;
    }
    if ((text[0] & 0xF0) == 0xE0) {
        const bool overlong = text[0] == 0xE0 && text[1] < 0xA0;
        const bool surrogate = text[0] == 0xED && text[1] > 0x9F;
        return !overlong && !surrogate && continues(1) && continues(2) ? 3 : 0;
    }
    if (text[0] >= 0xF0 && text[0] <= 0xF4) {
        const bool overlong = text[0] == 0xF0 && text[1] < 0x90;
        const bool tooHigh = text[0] == 0xF4 && text[1] > 0x8F;
        return !overlong && !tooHigh && continues(1) && continues(2) && continues(3) ? 4 : 0;
    }
    return 0;
}

// Decodes NUL-terminated narrow text to at most `room` wide characters; returns the number written.
std::size_t widen(const char* narrow, wchar_t* wide, std::size_t room) {
    const auto* text = reinterpret_cast<const unsigned char*>(narrow);
    std::size_t count = 0;
    while (*text != 0 && count < room) {
        const int length = sequenceLength(text);
        constexpr std::array<unsigned, 5> leadMask = {0xFF, 0x7F, 0x1F, 0x0F, 0x07};
        std::uint32_t character = text[0] & leadMask[static_cast<std::size_t>(length)];
        for (int i = 1; i < length; ++i) {
            character = (character << 6) | (text[i] & 0x3FU);
        }
        wide[count] = static_cast<wchar_t>(character);
        ++count;
        text += std::max(length, 1);
    }
    return count;
}

void appendUtf8(std::string& out, std::uint32_t character) {
    if (character < 0x80) {
        out.push_back(static_cast<char>(character));
        return;
    }
    const int continuations = character < 0x800 ? 1 : character < 0x10000 ? 2 : 3;
    constexpr std::array<std::uint32_t, 4> lead = {0, 0xC0, 0xE0, 0xF0};
    out.push_back(
        static_cast<char>(lead[static_cast<std::size_t>(continuations)] | (character >> (6 * continuations))));
    for (int i = continuations - 1; i >= 0; --i) {
        out.push_back(static_cast<char>(0x80 | ((character >> (6 * i)) & 0x3F)));
    }
}

// On a terminal, control characters are printed as \xNN, because they may be from a file's name or content.
std::string utf8Of(const wchar_t* text, bool forTerminal) {
    std::string out;
    out.reserve(std::wcslen(text) + 16);
    for (; *text != 0; ++text) {
        const std::uint32_t character = std::char_traits<wchar_t>::to_int_type(*text);
        const bool control =
            (character < 0x20 && character != '\n' && character != '\t') || (character >= 0x7F && character < 0xA0);
        if (forTerminal && control) {
            std::array<char, 16> shown{};
            std::snprintf(shown.data(), shown.size(), "\\x%02X", static_cast<unsigned>(character));
            out += shown.data();
        } else {
            appendUtf8(out, character);
        }
    }
    return out;
}

// In the log, two percent signs in a row become one; a single one is kept.
std::string logTextOf(const wchar_t* text) {
    std::string out = utf8Of(text, false);
    std::size_t at = 0;
    while ((at = out.find("%%", at)) != std::string::npos) {
        out.erase(at, 1);
        ++at;
    }
    return out;
}

bool coloursWanted() {
    const char* const refused = std::getenv("NO_COLOR");  // an empty value has no effect
    return refused == nullptr || *refused == '\0';
}

bool writeAll(std::FILE* file, const std::string& text) {
    return std::fwrite(text.data(), 1, text.size(), file) == text.size();
}

bool shownOnConsole(std::int32_t kind, std::int32_t verbosity) {
    switch (kind) {
        case 6:
            return verbosity >= 1;
        case 7:
            return verbosity >= 2;
        case 8:
            return verbosity == 3;
        default:
            return true;
    }
}

const char* prefixOf(std::int32_t kind) {
    switch (kind) {
        case 4:
        case 10:
            return "Warning: ";
        case 5:
        case 11:
            return "Error: ";
        default:
            return "";
    }
}

void closeLogAtExit() {
    Display::getInstance()->closeLog();
}

}  // namespace

Display* Display::getInstance() {
    static Display* const instance = [] {
        // The object is never destroyed, because an exit handler may print a message.
        auto* const made = new Display;  // NOLINT(clang-analyzer-cplusplus.NewDeleteLeaks)
        made->onTerminal = isatty(STDOUT_FILENO) == 1 ? 1 : 0;
        std::atexit(closeLogAtExit);
        return made;
    }();
    return instance;
}

void Display::displayMessage(MessageKind kind, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    displayMessageV(kind, format, arguments);
    va_end(arguments);
}

void Display::displayMessageV(MessageKind kind, const char* format, std::va_list arguments) {
    auto effective = static_cast<std::int32_t>(kind);
    const char* prefix = prefixOf(effective);
    if (plain != 0) {
        const bool unadorned = effective == 4 || effective == 5 || effective == 11;
        if (unadorned) {
            effective = 0;
            prefix = "";
        } else if (effective == 2) {
            effective = 9;
        }
    }
    if (forceVerbose != 0) {
        effective = 7;
    }

    std::array<char, formatBytes> narrow;
    std::vsnprintf(narrow.data(), narrow.size(), format, arguments);

    constexpr std::size_t prefixRoom = 16;
    std::array<wchar_t, maxCharacters + prefixRoom + 1> wide;
    const std::size_t prefixLength = widen(prefix, wide.data(), prefixRoom);
    const std::size_t length = prefixLength + widen(narrow.data(), wide.data() + prefixLength, maxCharacters);
    wide[length] = 0;
    if (callback != nullptr) {
        callback(effective, wide.data());
    }
}

void Display::openLog(const QString& path) {
    closeLog();
    logFile = std::fopen(path.toLocal8Bit().constData(), "w+");
    logEnabled = 1;
}

void Display::closeLog() {
    if (logFile != nullptr) {
        std::fclose(logFile);
        logFile = nullptr;
    }
    logEnabled = 0;
}

bool Display::finishOutput() {
    if (std::fflush(stdout) != 0) {
        outputFailed = 1;
    }
    return outputFailed == 0;
}

void Display::writeLastLine(const char* line) const {
    for (std::FILE* const file : {logFile, stdout}) {
        if (file != nullptr) {
            std::fputs(line, file);
            std::fputc('\n', file);
            std::fflush(file);
        }
    }
}

void displayCallback(std::int32_t kind, const wchar_t* text) {
    Display* const display = Display::getInstance();
    if (display->logEnabled != 0 && display->logFile != nullptr) {
        const QByteArray stamp = QTime::currentTime().toString(QStringLiteral("hh:mm:ss:zzz")).toUtf8();
        writeAll(display->logFile, stamp.toStdString() + ' ' + logTextOf(text) + '\n');
        std::fflush(display->logFile);
    }
    if (!shownOnConsole(kind, display->verbosity)) {
        return;
    }
    const bool forTerminal = display->onTerminal != 0;
    std::string line = utf8Of(text, forTerminal) + '\n';
    if (forTerminal && display->consoleOff == 0 && coloursWanted()) {
        line = escapeOf(attributeOf(kind)) + line + plainEscape;
    }
    if (!writeAll(stdout, line)) {
        display->outputFailed = 1;
    }
}

void displayMessage(MessageKind kind, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    Display::getInstance()->displayMessageV(kind, format, arguments);
    va_end(arguments);
}

bool reportError(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    Display::getInstance()->displayMessageV(MessageKind::error, format, arguments);
    va_end(arguments);
    return false;
}
