#pragma once

#include "images/ProtectedItem.h"

#include "display/Display.h"
#include "files/parseNumber.h"

#include <QJsonArray>
#include <QJsonObject>

#include <initializer_list>
#include <limits>

/// What the backup document and the secrets document share: an object whose `Files` array lists items with protection
/// fields. Numbers are strings of hexadecimal digits.

/// Reads the document at `jsonPath`; `files` receives the elements of its `Files`, none if that is absent or the
/// document has another shape. False with a message if it can't be opened or is no JSON.
[[nodiscard]] bool readItemDocument(const QString& jsonPath, QJsonArray& files);

[[nodiscard]] bool hasKeys(const QJsonObject& object, std::initializer_list<QLatin1String> keys);

/// Reads a string of hexadecimal digits that has to fit `number`. The message about any other value shows `shown`.
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

/// Prints an item behind its `number`. `path` is what its path line shows; an empty `nonce` has no line.
void listItem(int number, const ProtectedItem& item, const QString& path, const QString& nonce);
