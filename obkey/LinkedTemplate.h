#pragma once

#include "obkey/McubootTemplate.h"
#include "obkey/TemplateDocument.h"

#include <map>

/// A template that another one takes values from, read as far as its content node.
struct LinkedTemplate {
    TemplateDocument document;
    QDomNode linkedContent;  ///< the first child of the content node
};

/// The linked templates of one image, each read once as long as they are few.
class LinkedTemplates {
  public:
    /// The template at `templatePath`, valid until the next call; null without a message if it can't be read.
    [[nodiscard]] const LinkedTemplate* find(const QString& templatePath);

  private:
    std::map<QString, LinkedTemplate> loaded_;
};

/// Takes the value of `param` out of a linked template, given by the first child of its content node.
void applyLinkedTemplate(const QDomNode& linkedContent, McubootParam& param);
