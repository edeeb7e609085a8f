#pragma once

#include "display/Display.h"

#include <QList>
#include <QString>

/// Takes the messages of the tool's libraries on this thread from its construction to its destruction, for a program
/// that shows them otherwise than the tool. All messages go through one callback of the process; each thread has
/// collectors of its own, so that a worker's messages don't mix with the window's. Collectors nest. A thread without
/// one has the callback that was there before; the first collector of a process is made while one thread runs.
class MessageCollector {
  public:
    MessageCollector();
    ~MessageCollector();
    MessageCollector(const MessageCollector&) = delete;
    MessageCollector& operator=(const MessageCollector&) = delete;

    /// The errors so far, one a line, without prefix and outer blanks. Control characters, which may come from a file,
    /// are shown as \xNN.
    [[nodiscard]] QString faults() const;
    /// The last of them alone, for a library that goes from the general to the particular.
    [[nodiscard]] QString lastFault() const;
    /// The same as `faults` for warnings.
    [[nodiscard]] QString warnings() const;
    /// All messages of these kinds.
    [[nodiscard]] QString texts(const QList<MessageKind>& kinds) const;

  private:
    struct Message {
        std::int32_t kind;
        QString text;
    };

    static void collect(std::int32_t kind, const wchar_t* text);

    QList<Message> messages_;
    MessageCollector* before_;
};
