#pragma once

#include "obkey/McubootConfig.h"
#include "obkey/ObkeyParam.h"

#include <QDomDocument>
#include <QDomElement>
#include <QList>
#include <QPair>
#include <QProcess>

#include <memory>

/// Stands in a tag list for the tag that names the element. It is how a tag list is told from a list of parameter
/// names.
inline constexpr QLatin1String nameTagMarker("duplicateElementCheck");

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
class Obkey {
  public:
    Obkey();
    ~Obkey() = default;
    Obkey(const Obkey&) = delete;
    Obkey& operator=(const Obkey&) = delete;

    /// Begins the next provisioning file: empties every list, gives fresh Info fields and takes `templatePath` as the
    /// template's path. `hashMode` stays: a `Hash` element counts for the later jobs of a run, too.
    void startObkeyJob(const QString& templatePath);
    /// Begins a signed image: empties the current configuration.
    void startImageJob();
    /// Adds a configuration for the template at `templatePath`, moves into it what loadTemplate read and makes it the
    /// current one.
    void addImageConfig(const QString& templatePath);

    /// Checks that the schema file exists and that the template is well-formed XML (W3C XML 1.0) behind a first line
    /// with one of the two accepted declarations. No schema validation takes place.
    [[nodiscard]] bool validateTemplate(const QString& templatePath, const QString& xsdPath);
    /// Reads a template into `params`, or into the lists that addImageConfig takes. False without a message if it is
    /// no well-formed XML or has an element that the format doesn't know.
    [[nodiscard]] bool loadTemplate(const QString& templatePath);
    /// Reads a template as far as its content node, whose first child goes to `linkedContent`. False without a message.
    /// The template that was read last isn't read again.
    [[nodiscard]] bool loadLinkedTemplate(const QString& templatePath);

    /// The tag checks of `Obdata` templates: no tag twice that may stand once, and every mandatory tag present.
    [[nodiscard]] bool checkDuplicateTags();
    [[nodiscard]] bool checkMandatoryTags() const;
    /// The same for `McubootFormat` templates.
    [[nodiscard]] bool checkMcubootDuplicateTags();
    [[nodiscard]] bool checkMcubootMandatoryTags() const;
    /// Reports the first entry that stands twice in `tags`. A list with the marker of a tag list names
    /// `duplicateGroup`, any other is taken as a list of parameter names.
    [[nodiscard]] bool checkTagList(const QStringList& tags) const;

    /// Reads the children of a content node. False if one is refused.
    [[nodiscard]] bool readObdata(const QDomNode& content);
    [[nodiscard]] bool readMcuboot(const QDomNode& content);
    [[nodiscard]] bool parseObkeyElement(ObkeyParam& param, const QDomElement& element);
    [[nodiscard]] bool parseMcubootElement(McubootParam& param, const QDomElement& element);

    /// Checks names, default numbers and the slots of the device's memory against each other. Addresses are unsigned
    /// 32-bit numbers and wrap.
    [[nodiscard]] bool checkLayout();
    [[nodiscard]] bool checkUniqueNames() const;
    [[nodiscard]] bool checkDataValues() const;
    void collectFlashSlots(const ObkeyParam& record);
    void collectObkSlots(const ObkeyParam& record);
    [[nodiscard]] bool checkFlashSlots() const;
    [[nodiscard]] bool checkObkSlots();
    [[nodiscard]] bool flashRulesActive() const { return !flashTags.isEmpty(); }
    [[nodiscard]] bool obkRulesActive() const { return !obkTags.isEmpty(); }
    [[nodiscard]] bool authObkRulesActive() const { return !authObkTags.isEmpty(); }

    /// Writes the provisioning file that `params` describe and, behind it, the values used into the template. False
    /// means that no file was written; a run goes on all the same.
    bool generateObkey();
    /// Writes password.bin for the template's `Text`: 00 00 00 80, the length in one byte, three zero bytes, the
    /// password in UTF-8.
    [[nodiscard]] bool writePasswordFile();
    /// Writes the values of `params` into the template at `xmlPath`.
    void rewriteTemplateValues() const;

    /// Runs imgtool as the current configuration says. The result is the status to end the process with.
    [[nodiscard]] int generateImage();
    /// Takes the value of `param` out of a linked template; `node` is the first child of its content node.
    static void applyLinkedTemplate(McubootParam& param, const QDomNode& node);
    /// Writes the values of the current configuration into its template. False without a message if that can't be
    /// opened for reading.
    [[nodiscard]] bool saveConfiguration() const;

    /// Makes a key pair of the type that imgtool knows as `keyType`: the private key at `keyPath`, the public key
    /// beside it with "_pub.pem" in place of the last four characters. An older private key is moved aside first.
    void generateKeyPair(const QString& keyPath, const QString& keyType);

    QString imgtoolPath;

    // The document.
    std::unique_ptr<QDomDocument> document;
    std::uint32_t documentState = documentMissing;
    QDomNode rootNode;
    std::uint32_t templateFormat = formatObdata;
    QString linkedPath;
    QDomNode linkedContent;

    static constexpr std::uint32_t documentMissing = 1;
    static constexpr std::uint32_t documentEmpty = 2;
    static constexpr std::uint32_t documentForeign = 3;
    static constexpr std::uint32_t documentRecognised = 4;
    static constexpr std::uint32_t formatObdata = 0;
    static constexpr std::uint32_t formatMcuboot = 1;

    // Tag lists of an `Obdata` template. The scratch lists belong to the element being read.
    QStringList infoTags, textTags, permissionTags, outputTags;
    QStringList dataTags, listTags, boolTags, fileTags;
    QList<QStringList> dataTagLists, listTagLists, boolTagLists, fileTagLists;
    QString duplicateGroup;  ///< the element kind under check

    // An `Obdata` template.
    ObkeyInfo info;
    QList<ObkeyParam> params;
    QString xmlPath;
    QString xmlFolder;
    bool daMode = false;
    bool hashMode = false;
    bool rawOutput = false;

    // Its memory layout.
    QStringList flashTags, obkTags, authObkTags;
    QList<SlotRecord> flashSlots, executionSlots, downloadSlots, obkSlots;
    QList<QPair<std::uint32_t, std::uint32_t>> flashRanges;

    // `McubootFormat` templates: what loadTemplate reads, and the configurations made of it.
    McubootConfig readConfig;
    QStringList globalParamTags, mcubootOutputTags;
    QList<QStringList> paramTagLists;
    QList<McubootConfig> configs;  ///< the last one is the current one
    QString dependencyPrefix;

    QProcess imgtool;  ///< every run of imgtool, one after the other
};
