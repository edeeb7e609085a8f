#include "token/KeyUri.h"

#include "display/Display.h"

#include <QHash>
#include <QSet>
#include <QStringList>

#include <p11-kit/uri.h>

#include <algorithm>
#include <array>
#include <cstdlib>

namespace token {

namespace {

constexpr qsizetype maxLength = 4096;
constexpr QLatin1String scheme("pkcs11:");
constexpr CK_SLOT_ID noSlot = ~CK_SLOT_ID{0};

constexpr std::array pathNames = {
    "token",
    "manufacturer",
    "serial",
    "model",
    "library-manufacturer",
    "library-version",
    "object",
    "type",
    "slot-id",
    "slot-manufacturer",
    "slot-description",
    "library-description",
    "id",
};
constexpr std::array queryNames = {"pin-source", "module-name", "module-path"};

template <std::size_t count>
bool isAmong(const std::array<const char*, count>& names, const QString& name) {
    return std::any_of(names.begin(), names.end(), [&name](const char* row) { return name == QLatin1String(row); });
}

/// Checks the names of the attributes of one part of the URI.
template <std::size_t count>
bool checkNames(const QString& part, QChar separator, const std::array<const char*, count>& names,
                const QString& text) {
    QSet<QString> seen;
    for (const QString& attribute : part.split(separator, Qt::SkipEmptyParts)) {
        const QString name = attribute.section(u'=', 0, 0);
        if (name == QLatin1String("pin-value")) {
            return reportError("A key's URI can't contain its PIN, because other users can read it : use pin-source");
        }
        if (!attribute.contains(u'=') || !isAmong(names, name)) {
            return reportError("The key %s matches nothing, because its attribute %s is unknown", qUtf8Printable(text),
                               qUtf8Printable(name));
        }
        if (seen.contains(name)) {
            return reportError("The key %s has the attribute %s twice", qUtf8Printable(text), qUtf8Printable(name));
        }
        seen.insert(name);
    }
    return true;
}

/// The value of an attribute of the object; null if the URI doesn't name it.
QByteArray valueOf(p11_kit_uri* uri, CK_ATTRIBUTE_TYPE type) {
    const CK_ATTRIBUTE* const attribute = p11_kit_uri_get_attribute(uri, type);
    return attribute == nullptr
               ? QByteArray()
               : QByteArray(attribute->pValue == nullptr ? "" : static_cast<const char*>(attribute->pValue),
                            static_cast<qsizetype>(attribute->ulValueLen));
}

/// The path of the file with the PIN, which the value of pin-source names.
bool readPinSource(const QString& value, QString& pinPath) {
    if (value.startsWith(u'|')) {
        return reportError("pin-source names a program, but only a file can contain the PIN");
    }
    QString path = value;
    for (const QLatin1String prefix : {QLatin1String("file://"), QLatin1String("file:")}) {
        if (path.startsWith(prefix)) {
            path = path.mid(prefix.size());
            break;
        }
    }
    if (path.isEmpty()) {
        return reportError("pin-source names no file");
    }
    pinPath = path;
    return true;
}

QString formatted(p11_kit_uri* uri, P11KitUriType type) {
    char* made = nullptr;
    if (p11_kit_uri_format(uri, type, &made) != P11_KIT_URI_OK) {
        return {};
    }
    const QString text = QString::fromUtf8(made);
    std::free(made);
    return text;
}

QString formattedKey(const TokenRecord& record, const CK_ATTRIBUTE* label, const CK_ATTRIBUTE* id,
                     const QString& modulePath) {
    p11_kit_uri* const uri = p11_kit_uri_new();
    if (uri == nullptr) {
        return {};
    }
    *p11_kit_uri_get_token_info(uri) = record.token;
    for (const CK_ATTRIBUTE* attribute : {label, id}) {
        CK_ATTRIBUTE copied = attribute == nullptr ? CK_ATTRIBUTE{} : *attribute;
        if (attribute != nullptr && p11_kit_uri_set_attribute(uri, &copied) != P11_KIT_URI_OK) {
            p11_kit_uri_free(uri);
            return {};
        }
    }
    if (!modulePath.isEmpty()) {
        p11_kit_uri_set_module_path(uri, modulePath.toUtf8().constData());
    }
    const QString text = formatted(uri, P11_KIT_URI_FOR_OBJECT_ON_TOKEN);
    p11_kit_uri_free(uri);
    return text;
}

}  // namespace

void KeyUri::Release::operator()(p11_kit_uri* uri) const {
    p11_kit_uri_free(uri);
}

bool KeyUri::isUri(const QString& name) {
    return name.startsWith(scheme, Qt::CaseInsensitive);
}

bool KeyUri::parse(const QString& text, CK_OBJECT_CLASS wanted) {
    const QByteArray bytes = text.toUtf8();
    if (!isUri(text) || text.size() > maxLength || bytes.contains('\0')) {
        return reportError("A key's URI begins with pkcs11: and has at most %lld characters", qint64{maxLength});
    }
    const QString path = text.mid(scheme.size()).section(u'?', 0, 0);
    const QString query = text.section(u'?', 1);
    if (!checkNames(path, u';', pathNames, text) || !checkNames(query, u'&', queryNames, text)) {
        return false;
    }
    std::unique_ptr<p11_kit_uri, Release> uri(p11_kit_uri_new());
    const int result =
        uri ? p11_kit_uri_parse(bytes.constData(), P11_KIT_URI_FOR_ANY, uri.get()) : P11_KIT_URI_UNEXPECTED;
    if (result != P11_KIT_URI_OK) {
        return reportError("The key %s isn't a URI : %s", qUtf8Printable(text), p11_kit_uri_message(result));
    }
    if (p11_kit_uri_any_unrecognized(uri.get()) != 0) {
        return reportError("The key %s matches nothing, because a value of it is unknown", qUtf8Printable(text));
    }
    const CK_ATTRIBUTE* const type = p11_kit_uri_get_attribute(uri.get(), CKA_CLASS);
    if (type != nullptr &&
        (type->ulValueLen != sizeof(CK_OBJECT_CLASS) || *static_cast<const CK_OBJECT_CLASS*>(type->pValue) != wanted)) {
        return reportError("The key %s has another type than this use needs : write type=%s", qUtf8Printable(text),
                           wanted == CKO_PRIVATE_KEY ? "private" : "secret-key");
    }
    const char* const pinSource = p11_kit_uri_get_pin_source(uri.get());
    QString pinPath;
    if (pinSource != nullptr && !readPinSource(QString::fromUtf8(pinSource), pinPath)) {
        return false;
    }
    pinPath_ = pinPath;
    text_ = text;
    modulePath_ = QString::fromUtf8(p11_kit_uri_get_module_path(uri.get()));
    moduleName_ = QString::fromUtf8(p11_kit_uri_get_module_name(uri.get()));
    label_ = valueOf(uri.get(), CKA_LABEL);
    id_ = valueOf(uri.get(), CKA_ID);
    uri_ = std::move(uri);
    return true;
}

bool KeyUri::matches(const TokenRecord& record) const {
    const CK_SLOT_ID wanted = p11_kit_uri_get_slot_id(uri_.get());
    return (wanted == noSlot || wanted == record.slot) &&
           p11_kit_uri_match_module_info(uri_.get(), &record.driver) == 1 &&
           p11_kit_uri_match_slot_info(uri_.get(), &record.slotInfo) == 1 &&
           p11_kit_uri_match_token_info(uri_.get(), &record.token) == 1;
}

QString uriOf(const TokenRecord& record, const QByteArray& label, const QByteArray& id, const QString& modulePath) {
    const auto attributeOf = [](CK_ATTRIBUTE_TYPE type, const QByteArray& value) {
        return CK_ATTRIBUTE{type, const_cast<char*>(value.constData()), static_cast<CK_ULONG>(value.size())};
    };
    const CK_ATTRIBUTE labelAttribute = attributeOf(CKA_LABEL, label);
    const CK_ATTRIBUTE idAttribute = attributeOf(CKA_ID, id);
    return formattedKey(record, label.isEmpty() ? nullptr : &labelAttribute, id.isEmpty() ? nullptr : &idAttribute,
                        modulePath);
}

QString uriOf(const TokenRecord& record, const QString& modulePath) {
    return formattedKey(record, nullptr, nullptr, modulePath);
}

}  // namespace token
