#pragma once

#include <QByteArrayView>
#include <QString>

namespace produce {

/// Reads JSON text token by token (RFC 8259). A member that occurs twice is visible here, unlike in a QJsonDocument,
/// and a line of a device table is read without a document. The text must be valid UTF-8.
class JsonTokens {
  public:
    enum class Kind { objectStart, objectEnd, arrayStart, arrayEnd, colon, comma, string, word, end, fault };

    explicit JsonTokens(QByteArrayView text) : text_(text) {}

    /// Moves to the next token and returns its kind. After a fault or the end, it returns the same again.
    Kind next();
    /// The place of the current token in the text, in bytes.
    [[nodiscard]] qsizetype offset() const { return start_; }
    /// Decodes the current string. The result is false if it has an unknown escape or half a surrogate pair.
    [[nodiscard]] bool string(QString& value) const;

  private:
    Kind takeString();

    QByteArrayView text_;
    qsizetype start_ = 0;
    qsizetype end_ = 0;
};

/// The path of the first member that occurs twice in one object, such as "steps[0].values.key"; empty if there is none.
/// `json` was read by a QJsonDocument without a fault.
[[nodiscard]] QString repeatedMember(QByteArrayView json);

}  // namespace produce
