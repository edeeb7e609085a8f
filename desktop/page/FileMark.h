#pragma once

#include <QByteArray>
#include <QString>

class QWidget;

namespace desktop {

class Dialogs;

/// Size and digest of a document's file when it was last opened or saved. They reveal changes by another program, which
/// the next save would overwrite.
class FileMark {
  public:
    /// Notes the file at `path`, whose content the document has now.
    void note(const QString& path);
    /// Whether the noted file exists with other bytes.
    [[nodiscard]] bool isChanged() const;
    /// Whether the noted file may be overwritten: it is missing or unchanged, or the user agrees.
    [[nodiscard]] bool mayReplace(Dialogs& dialogs, QWidget* parent) const;

  private:
    QString path_;
    qint64 size_ = 0;
    QByteArray digest_;  ///< SHA-256, since the content may be secret
};

}  // namespace desktop
