#pragma once

#include "obkey/McubootTemplate.h"
#include "obkey/TemplateDocument.h"

#include <map>

namespace obkey {

/// A template that another template reads values from, with its content node.
struct LinkedTemplate {
    TemplateDocument document;
    QDomNode linkedContent;  ///< the first child of the content node
};

/// The linked templates of one image. Up to 16 of them are cached, so that each is read only once.
class LinkedTemplates {
  public:
    /// The template at `templatePath`, valid until the next call; null without a message if it can't be read.
    [[nodiscard]] const LinkedTemplate* find(const QString& templatePath);

  private:
    std::map<QString, LinkedTemplate> loaded_;
};

/// Sets the default value of `param` to the value of the same name in a linked template. `linkedContent` is the first
/// child of that template's content node.
void applyLinkedTemplate(const QDomNode& linkedContent, McubootParam& param);

}  // namespace obkey
