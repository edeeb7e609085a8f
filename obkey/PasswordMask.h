#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

/// Keeps the passwords of a template from the readers of XML, which leave copies of all that they read in memory that
/// is freed. A masked text has a mark in the place of each password, and can be read and edited like any template.
class PasswordMask {
  public:
    PasswordMask() = default;
    /// Wipes the passwords.
    ~PasswordMask() { clear(); }
    PasswordMask(const PasswordMask&) = delete;
    PasswordMask& operator=(const PasswordMask&) = delete;

    void clear();

    /// A template with marks in the place of the `Value` and `Default` texts of its `Text` elements. What is no plain
    /// text there stays, since it may be a fault that the reader has to find. Lines stay where they are.
    [[nodiscard]] QByteArray mask(const QByteArray& text);

    /// A masked template as it was, but for what was changed outside of the marks.
    [[nodiscard]] QByteArray unmask(const QByteArray& masked) const;

    [[nodiscard]] bool isMark(const QString& tagText) const;

    /// In UTF-8, the password that a tag's text in a masked template stands for; a text without a mark as it is.
    [[nodiscard]] QByteArray passwordOf(const QString& tagText) const;

    /// A mark for a password that is to be written into a masked template.
    [[nodiscard]] QString markFor(QByteArrayView password);

  private:
    struct Entry {
        QByteArray raw;   ///< as in the template
        QByteArray text;  ///< what it means
    };

    [[nodiscard]] QByteArray markOf(qsizetype index) const;
    [[nodiscard]] qsizetype indexOf(QByteArrayView markedText) const;
    void maskTag(QByteArrayView raw, QByteArray& masked);

    QList<Entry> entries_;
};
