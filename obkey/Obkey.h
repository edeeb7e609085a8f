#pragma once

#include "obkey/Imgtool.h"
#include "obkey/McubootTemplate.h"
#include "obkey/ObdataTemplate.h"
#include "obkey/PasswordMask.h"
#include "obkey/TemplateDocument.h"

namespace obkey {

/// The provisioning template engine: reads XML templates, checks them, and makes provisioning files (`Obdata`
/// templates) or signed images through imgtool (`McubootFormat` templates).
///
/// One engine serves a whole run. An operation that fails reports the reason, unless its comment says otherwise. No
/// operation ends the process. Callers use the operations in this order:
///
///     provisioning file                          signed image
///     startObkeyJob(path)                        startImageJob()
///     validateTemplate(path, schema)             validateTemplate(path, schema)
///     loadTemplate(path)                         loadTemplate(path)
///     checkDuplicateTags, checkMandatoryTags     addImageConfig(path)
///     checkLayout                                generateImage
///     generateObkey
///
/// Free functions do the work; they receive the data of a template as arguments. The engine holds the state that
/// remains between two calls.
class Obkey {
  public:
    /// Uses the imgtool in the subfolder Utilities/Windows of the executable's folder, or the one at `imgtoolPath`.
    Obkey();
    explicit Obkey(const QString& imgtoolPath);
    ~Obkey() = default;
    Obkey(const Obkey&) = delete;
    Obkey& operator=(const Obkey&) = delete;

    /// Checks a template's text. See TemplateDocument.h.
    [[nodiscard]] bool validateTemplate(const QString& templatePath, const QString& xsdPath);
    /// Reads a template of either format. If `templatePath` is the path of the text that was validated last, that text
    /// is read, otherwise the file. False if the format forbids something in the template. Also false, without a
    /// message, if the template isn't well-formed XML.
    [[nodiscard]] bool loadTemplate(const QString& templatePath);

    /// Begins the provisioning file of the template at `templatePath`.
    void startObkeyJob(const QString& templatePath);
    /// Checks that no tag occurs more often than allowed.
    [[nodiscard]] bool checkDuplicateTags() const;
    /// Checks that every mandatory tag is present.
    [[nodiscard]] bool checkMandatoryTags() const;
    /// Checks names, default numbers and the slots of the device's memory. See MemoryLayout.h.
    [[nodiscard]] bool checkLayout() const;
    /// Writes the provisioning file, and then its values back into the template. False if no provisioning file was
    /// written; callers continue their run nevertheless.
    bool generateObkey();

    /// Begins a signed image. Empties the current configuration.
    void startImageJob();
    /// Moves the template that was read into a new configuration, which becomes the current one.
    void addImageConfig(const QString& templatePath);
    /// Runs imgtool with the current configuration. Returns the exit status for the process.
    [[nodiscard]] int generateImage();

    /// Makes a key pair. See generateKeyPair.h.
    void generateKeyPair(const QString& keyPath, const QString& keyType);

  private:
    /// Provisioning files, one template after the other.
    struct ObkeyJob {
        QString xmlPath;
        ObdataTemplate obdata;
        bool hashMode = false;  ///< a template of this run had a `Hash` element, which applies to all later ones
    };
    /// Signed images. The last configuration is the current one.
    struct ImageJob {
        McubootTemplate mcuboot;
        QList<McubootConfig> configs;
    };

    QString validatedPath_;     ///< path of the template that was validated last
    QByteArray validatedText_;  ///< its masked text, kept because a pipe can be read only once
    PasswordMask passwords_;
    ObkeyJob obkeyJob_;
    ImageJob imageJob_;
    TemplateFormat templateFormat_ = formatObdata;  ///< of the last template whose format was recognised
    Imgtool imgtool_;
};

}  // namespace obkey
