#include "display/MessageCollector.h"

#include <QMutex>
#include <QStringList>

#include <atomic>

namespace {

thread_local MessageCollector* current = nullptr;

const QList<MessageKind> faultKinds = {MessageKind::error, MessageKind::errorLook};

/// The callback of the process before the first collector.
std::atomic<DisplayCallback> without = nullptr;

}  // namespace

QString shownMessage(QString text) {
    for (const QLatin1String prefix : {QLatin1String("Error: "), QLatin1String("Warning: ")}) {
        if (text.startsWith(prefix)) {
            text.remove(0, prefix.size());
            break;
        }
    }
    QString shown;
    for (const QChar character : text.trimmed()) {
        const bool acts = character.category() == QChar::Other_Control || character.category() == QChar::Other_Format;
        if (acts && character != u'\n' && character != u'\t') {
            shown += QStringLiteral("\\x%1").arg(character.unicode(), 2, 16, QLatin1Char('0'));
        } else {
            shown += character;
        }
    }
    return shown;
}

MessageCollector::MessageCollector() : before_(current) {
    static QMutex installing;
    const QMutexLocker lock(&installing);
    DisplayCallback& callback = Display::getInstance()->callback;
    if (callback != collect) {
        without = callback;
        callback = collect;
    }
    current = this;
}

MessageCollector::~MessageCollector() {
    current = before_;
}

void MessageCollector::collect(std::int32_t kind, const wchar_t* text) {
    if (current != nullptr) {
        current->messages_.append({kind, QString::fromWCharArray(text)});
    } else if (const DisplayCallback callback = without) {
        callback(kind, text);
    }
}

QString MessageCollector::faults() const {
    return texts(faultKinds);
}

QString MessageCollector::lastFault() const {
    for (auto message = messages_.crbegin(); message != messages_.crend(); ++message) {
        if (faultKinds.contains(static_cast<MessageKind>(message->kind))) {
            return shownMessage(message->text);
        }
    }
    return {};
}

QString MessageCollector::warnings() const {
    return texts({MessageKind::warning, MessageKind::warningLook});
}

QString MessageCollector::texts(const QList<MessageKind>& kinds) const {
    QStringList lines;
    for (const Message& message : messages_) {
        if (kinds.contains(static_cast<MessageKind>(message.kind))) {
            lines.append(shownMessage(message.text));
        }
    }
    return lines.join(u'\n');
}
