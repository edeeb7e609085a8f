#pragma once

#include "display/Display.h"

#include <QList>
#include <QString>

/// The text of a message as a user sees it, without its prefix. Control characters and direction marks, which a file's
/// name may contain, are replaced by \xNN.
[[nodiscard]] QString shownMessage(QString text);

/// Collects the messages of the tool's libraries on this thread from its construction to its destruction, for a program
/// that shows them in its own way. The process has one callback for all messages, but each thread has its own
/// collectors, so that a worker's messages don't mix with the window's. Collectors nest. On a thread without a
/// collector, messages go to the callback that was set before. Create the first collector of a process before a second
/// thread runs.
class MessageCollector {
  public:
    MessageCollector();
    ~MessageCollector();
    MessageCollector(const MessageCollector&) = delete;
    MessageCollector& operator=(const MessageCollector&) = delete;

    /// The errors so far, one per line, without prefix and without blanks at either end. Control characters are shown
    /// as \xNN, because they may be from a file.
    [[nodiscard]] QString faults() const;
    /// Only the last error. Use it for a library that reports the general fault first and the specific fault last.
    [[nodiscard]] QString lastFault() const;
    /// The warnings so far, in the form of `faults`.
    [[nodiscard]] QString warnings() const;
    /// All messages of these kinds, in the form of `faults`.
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
