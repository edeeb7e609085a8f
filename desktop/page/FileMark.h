#pragma once

#include <QByteArray>
#include <QString>

class Dialogs;
class QWidget;

/// What the file of a document held when it was opened or saved, so that another program's change isn't lost unasked.
class FileMark {
  public:
    /// The file at `path` is as the document has it now.
    void note(const QString& path);
    /// Whether saving over the noted file loses nothing, or the user wants that. One that is gone is made anew.
    [[nodiscard]] bool mayReplace(Dialogs& dialogs, QWidget* parent) const;

  private:
    QString path_;
    qint64 size_ = 0;
    QByteArray digest_;  ///< SHA-256, since the content may be secret
};
