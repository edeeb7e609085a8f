#pragma once

#include <QString>

#include <cstdarg>
#include <cstdint>
#include <cstdio>

/// The kind of a message. The display callback receives these numbers.
enum class MessageKind : std::int32_t {
    normal = 0,
    grey = 1,
    success = 2,
    title = 3,
    warning = 4,  ///< printed after "Warning: "
    error = 5,    ///< printed after "Error: "
    verbose1 = 6,
    verbose2 = 7,
    verbose3 = 8,
    successLook = 9,
    warningLook = 10,
    errorLook = 11,
};

/// Receives every message: its kind and its NUL-terminated text, prefix included.
using DisplayCallback = void (*)(std::int32_t kind, const wchar_t* text);

/// Emits every line that the tool or the preparation library prints.
///
/// A message is formatted, cut at 30,719 characters, given its prefix and passed to the callback, which writes it to
/// the console and, when logging is on, to the log. Narrow text is UTF-8. A byte that isn't part of valid UTF-8 is read
/// as a Latin-1 character, so that names in both encodings are readable.
class Display {
  public:
    /// Returns the only object of the process. The first call creates it.
    static Display* getInstance();

    /// Formats and emits one message. `format` is printf-style and always a literal.
    void displayMessage(MessageKind kind, const char* format, ...) __attribute__((format(printf, 3, 4)));
    void displayMessageV(MessageKind kind, const char* format, std::va_list arguments)
        __attribute__((format(printf, 3, 0)));

    /// Creates or truncates the log at `path` and switches logging on. If the file can't be opened, the run continues
    /// without a log.
    void openLog(const QString& path);
    /// Closes the log; called when a run ends, and at process exit.
    void closeLog();

    /// Flushes standard output. Returns false if any output since the start of the run couldn't be written, for example
    /// to a closed pipe.
    [[nodiscard]] bool finishOutput();

    /// Writes a line to the console and the log without formatting it, and flushes both. Allocates nothing, because a
    /// run that is out of memory calls it.
    void writeLastLine(const char* line) const;

    std::uint8_t consoleOff = 0;    ///< not 0: no colours; text is still printed
    std::int32_t verbosity = 1;     ///< 1, 2 or 3: which of the verbose kinds the console shows
    std::uint8_t plain = 0;         ///< not 0: kinds 4, 5 and 11 become 0, without prefix; kind 2 becomes 9
    std::uint8_t forceVerbose = 0;  ///< not 0: the callback gets kind 7 for every message
    std::uint8_t onTerminal = 0;    ///< not 0: the console is a terminal; set when the object is created
    std::uint8_t logEnabled = 0;
    std::uint8_t outputFailed = 0;  ///< not 0: a message didn't reach standard output
    std::FILE* logFile = nullptr;
    DisplayCallback callback = nullptr;

  private:
    Display() = default;
};

/// Writes a message to the log and the console. The tool registers this callback at start.
void displayCallback(std::int32_t kind, const wchar_t* text);

/// Emits a message through the process-wide display.
void displayMessage(MessageKind kind, const char* format, ...) __attribute__((format(printf, 2, 3)));

/// Emits an error and returns false, so that a failing operation can return with it.
bool reportError(const char* format, ...) __attribute__((format(printf, 1, 2)));
