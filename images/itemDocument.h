#pragma once

#include "images/ProtectedItem.h"

#include "display/Display.h"
#include "files/parseNumber.h"

#include <QJsonArray>
#include <QJsonObject>

#include <initializer_list>
#include <limits>

/// The common part of backup documents and secrets documents. Both are objects whose `Files` array lists items with
/// protection fields. Numbers are strings of hexadecimal digits.

/// Reads the document at `jsonPath`. `files` receives the elements of its `Files` array; none if the array is absent or
/// the document isn't an object. False, with a message, if it can't be opened or isn't JSON.
[[nodiscard]] bool readItemDocument(const QString& jsonPath, QJsonArray& files);

[[nodiscard]] bool hasKeys(const QJsonObject& object, std::initializer_list<QLatin1String> keys);

/// Reads a string of hexadecimal digits into `number`. Reports a value that isn't such a string or doesn't fit; the
/// message contains `shown`.
template <typename Number>
[[nodiscard]] bool readHex(const QJsonValue& value, Number& number, const QJsonValue& shown) {
    std::uint32_t wide = 0;
    if (!parseNumber(value.toString(), 16, wide) || wide > std::numeric_limits<Number>::max()) {
        return reportError("Invalid hexadecimal value : %s", qUtf8Printable(shown.toString()));
    }
    number = static_cast<Number>(wide);
    return true;
}

template <typename Number>
[[nodiscard]] bool readHex(const QJsonValue& value, Number& number) {
    return readHex(value, number, value);
}

/// Reads the fields of a `Protection` object and the nonce path in it.
[[nodiscard]] bool readProtection(const QJsonObject& protection, const ProtectionFields<ProtectionField>& fields,
                                  QString& nonce);

/// Prints an item with its `number`. `path` is the text of its path line. An empty `nonce` has no line.
void listItem(int number, const ProtectedItem& item, const QString& path, const QString& nonce);
