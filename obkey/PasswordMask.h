#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

namespace obkey {

/// Hides the passwords of a template from XML readers, which leave copies of everything that they read in freed memory.
/// A masked text contains a mark instead of each password and can be read and edited like any template.
class PasswordMask {
  public:
    PasswordMask() = default;
    /// Wipes the passwords.
    ~PasswordMask() { clear(); }
    PasswordMask(const PasswordMask&) = delete;
    PasswordMask& operator=(const PasswordMask&) = delete;

    void clear();

    /// The template with marks instead of the `Value` and `Default` texts of its `Text` elements. Content that isn't
    /// plain text stays, because it may be a fault that the reader has to find. The line numbers don't change.
    /// A template that contains the sign of a mark itself is returned unchanged.
    [[nodiscard]] QByteArray mask(const QByteArray& text);

    /// The template with the passwords instead of their marks.
    [[nodiscard]] QByteArray unmask(const QByteArray& masked) const;

    [[nodiscard]] bool isMark(const QString& tagText) const;

    /// `tagText` is the text of a tag in a masked template. Returns the password, in UTF-8, that its mark replaces.
    /// Returns a text without a mark unchanged.
    [[nodiscard]] QByteArray passwordOf(const QString& tagText) const;

    /// A new mark for a password that the caller writes into a masked template.
    [[nodiscard]] QString markFor(QByteArrayView password);

  private:
    struct Entry {
        QByteArray raw;   ///< as in the template
        QByteArray text;  ///< without escapes
    };

    [[nodiscard]] QByteArray markOf(qsizetype index) const;
    [[nodiscard]] qsizetype indexOf(QByteArrayView markedText) const;
    void maskTag(QByteArrayView raw, QByteArray& masked);

    QList<Entry> entries_;
};

}  // namespace obkey
