#pragma once

#include "display/Display.h"

#include <QList>
#include <QString>

/// Takes the messages of the tool's libraries on this thread from its construction to its destruction, so that the
/// window can show them. All messages go through one callback of the process; each thread has collectors of its own, so
/// that a worker's messages don't mix with the window's. Collectors nest. Without one, messages are dropped.
class MessageCollector {
  public:
    MessageCollector();
    ~MessageCollector();
    MessageCollector(const MessageCollector&) = delete;
    MessageCollector& operator=(const MessageCollector&) = delete;

    /// The errors so far, one a line, without prefix and outer blanks. Control characters, which may come from a file,
    /// are shown as \xNN.
    [[nodiscard]] QString faults() const;
    /// The same for warnings.
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
