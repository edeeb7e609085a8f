#pragma once

#include "obkey/Imgtool.h"
#include "obkey/McubootTemplate.h"
#include "obkey/ObdataTemplate.h"
#include "obkey/PasswordMask.h"
#include "obkey/TemplateDocument.h"

/// The provisioning template engine: reads XML templates, checks them, and makes provisioning files (`Obdata`
/// templates) or signed images through imgtool (`McubootFormat` templates).
///
/// One engine serves a whole run. An operation that fails has reported why, unless its comment says otherwise; nothing
/// here ends the process. The callers' order:
///
///     provisioning file                          signed image
///     startObkeyJob(path)                        startImageJob()
///     validateTemplate(path, schema)             validateTemplate(path, schema)
///     loadTemplate(path)                         loadTemplate(path)
///     checkDuplicateTags, checkMandatoryTags     addImageConfig(path)
///     checkLayout                                generateImage
///     generateObkey
///
/// The work is done by functions on the values of a job; here is what outlives one of their calls.
class Obkey {
  public:
    /// With the imgtool beside the executable, or another one.
    Obkey();
    explicit Obkey(const QString& imgtoolPath);
    ~Obkey() = default;
    Obkey(const Obkey&) = delete;
    Obkey& operator=(const Obkey&) = delete;

    /// Checks a template's text. See TemplateDocument.h.
    [[nodiscard]] bool validateTemplate(const QString& templatePath, const QString& xsdPath);
    /// Takes in a template of either format: the text that was validated last, or that of another path. False if it is
    /// no well-formed XML, without a message, or has something that its format refuses.
    [[nodiscard]] bool loadTemplate(const QString& templatePath);

    /// Begins the next provisioning file, that of the template at `templatePath`.
    void startObkeyJob(const QString& templatePath);
    /// The tag checks: no tag twice that may stand once, and every mandatory tag present.
    [[nodiscard]] bool checkDuplicateTags() const;
    [[nodiscard]] bool checkMandatoryTags() const;
    /// Checks names, default numbers and the slots of the device's memory against each other.
    [[nodiscard]] bool checkLayout() const;
    /// Writes the provisioning file and, after it, the values used into the template. False means that no file was
    /// written; a run goes on all the same.
    bool generateObkey();

    /// Begins a signed image: empties the current configuration.
    void startImageJob();
    /// Moves the template that was read into a new configuration, which becomes the current one.
    void addImageConfig(const QString& templatePath);
    /// Runs imgtool as the current configuration says. The result is the status to end the process with.
    [[nodiscard]] int generateImage();

    /// Makes a key pair. See generateKeyPair.h.
    void generateKeyPair(const QString& keyPath, const QString& keyType);

  private:
    /// Provisioning files, one template after the other.
    struct ObkeyJob {
        QString xmlPath;
        ObdataTemplate obdata;
        bool hashMode = false;  ///< a `Hash` element counts for the later templates of a run, too
    };
    /// Signed images. The last configuration is the current one.
    struct ImageJob {
        McubootTemplate mcuboot;
        QList<McubootConfig> configs;
    };

    QString validatedPath_;  ///< and its text, masked: a pipe can be read only once
    QByteArray validatedText_;
    PasswordMask passwords_;
    ObkeyJob obkeyJob_;
    ImageJob imageJob_;
    TemplateFormat templateFormat_ = formatObdata;  ///< that of the last template which told one
    Imgtool imgtool_;                               ///< every run of imgtool, one after the other
};
