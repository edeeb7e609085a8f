#pragma once

#include <QByteArray>
#include <QString>

#include <p11-kit/pkcs11.h>

#include <memory>

struct p11_kit_uri;

namespace token {

/// A slot's token and its driver, as PKCS #11 describes them.
struct TokenRecord {
    CK_SLOT_ID slot = 0;
    CK_INFO driver{};
    CK_SLOT_INFO slotInfo{};
    CK_TOKEN_INFO token{};
};

/// The URI of a key in a token (RFC 7512). p11-kit reads and compares the values.
///
/// An attribute that isn't in the table in the source could select another key than the user means, so that no token
/// matches such a URI. It is refused, and so is a repeated attribute. pin-value is refused, because other users can
/// read the arguments of a process.
class KeyUri {
  public:
    /// Whether a key's name is such a URI, and not the path of a file.
    [[nodiscard]] static bool isUri(const QString& name);

    /// Reads the URI. False, with a message, if it can't select a key of the class, which is CKO_PRIVATE_KEY or
    /// CKO_SECRET_KEY.
    [[nodiscard]] bool parse(const QString& text, CK_OBJECT_CLASS wanted);

    [[nodiscard]] const QString& text() const { return text_; }
    [[nodiscard]] const QString& modulePath() const { return modulePath_; }
    [[nodiscard]] const QString& moduleName() const { return moduleName_; }
    /// The path of the file with the PIN; empty if the URI names none. "-" is standard input.
    [[nodiscard]] const QString& pinPath() const { return pinPath_; }

    [[nodiscard]] bool matches(const TokenRecord& record) const;
    /// The label and the identifier that the key must have; null if the URI doesn't name them.
    [[nodiscard]] const QByteArray& label() const { return label_; }
    [[nodiscard]] const QByteArray& id() const { return id_; }

  private:
    struct Release {
        void operator()(p11_kit_uri* uri) const;
    };

    QString text_;
    QString modulePath_;
    QString moduleName_;
    QString pinPath_;
    QByteArray label_;
    QByteArray id_;
    std::unique_ptr<p11_kit_uri, Release> uri_;
};

/// The URI that selects an object with this label and identifier in a token. Either may be empty. With `modulePath`,
/// the URI also selects the driver. Empty if there is no memory.
[[nodiscard]] QString uriOf(const TokenRecord& record, const QByteArray& label, const QByteArray& id,
                            const QString& modulePath);
/// The URI of the token alone.
[[nodiscard]] QString uriOf(const TokenRecord& record, const QString& modulePath);

}  // namespace token
