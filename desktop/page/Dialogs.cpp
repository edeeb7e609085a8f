#include "desktop/page/Dialogs.h"

#include "desktop/page/Settings.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QInputDialog>
#include <QMessageBox>
#include <QPushButton>
#include <QRegularExpression>
#include <QSettings>
#include <QVariant>

#include <array>

namespace desktop {

namespace {

QString text(const char* source) {
    return QCoreApplication::translate("Dialogs", source);
}

/// The suffix for a file name without one: the first of the filter; empty if the filter has none.
QString firstSuffix(const QString& filter) {
    static const QRegularExpression pattern(QStringLiteral("\\*\\.(\\w+)"));
    return pattern.match(filter).captured(1);
}

/// Restores the settings that Qt's dialogs write, so that they don't keep the folder of a key.
class WithoutTrace {
  public:
    WithoutTrace() : notes_(QSettings::UserScope, QStringLiteral("QtProject")) {
        for (const char* key : keys) {
            before_.append(notes_.value(QLatin1String(key)));
        }
    }
    ~WithoutTrace() {
        for (std::size_t i = 0; i < keys.size(); ++i) {
            const QVariant& value = before_.at(static_cast<qsizetype>(i));
            if (value.isValid()) {
                notes_.setValue(QLatin1String(keys[i]), value);
            } else {
                notes_.remove(QLatin1String(keys[i]));
            }
        }
    }
    WithoutTrace(const WithoutTrace&) = delete;
    WithoutTrace& operator=(const WithoutTrace&) = delete;

  private:
    static constexpr std::array keys = {"FileDialog/lastVisited", "FileDialog/history"};

    QSettings notes_;
    QVariantList before_;
};

}  // namespace

Dialogs::Dialogs(Settings& settings) : settings_(settings) {
}

Dialogs::~Dialogs() = default;

QString Dialogs::openFile(QWidget* parent, const QString& title, jobs::PathRole role, const QString& filter) {
    const WithoutTrace without;
    QString path = QFileDialog::getOpenFileName(parent, title, settings_.lastFolder(role), filter);
    if (!path.isEmpty()) {
        settings_.setLastFolder(role, QFileInfo(path).absolutePath());
    }
    return path;
}

QStringList Dialogs::openFiles(QWidget* parent, const QString& title, jobs::PathRole role, const QString& filter) {
    const WithoutTrace without;
    QStringList paths = QFileDialog::getOpenFileNames(parent, title, settings_.lastFolder(role), filter);
    if (!paths.isEmpty()) {
        settings_.setLastFolder(role, QFileInfo(paths.constFirst()).absolutePath());
    }
    return paths;
}

QString Dialogs::saveFile(QWidget* parent, const QString& title, jobs::PathRole role, const QString& filter,
                          const QString& proposed) {
    const WithoutTrace without;
    QFileDialog dialog(parent, title, settings_.lastFolder(role), filter);
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    if (!proposed.isEmpty()) {
        dialog.selectFile(QDir(settings_.lastFolder(role)).filePath(proposed));
    }
    QString path = dialog.exec() == QDialog::Accepted ? dialog.selectedFiles().value(0) : QString();
    const QString ending = firstSuffix(filter);
    if (!path.isEmpty() && !ending.isEmpty() && QFileInfo(path).suffix().isEmpty()) {
        // The dialog asked only about a file with the name that the user entered, without the suffix.
        path += u'.' + ending;
        if (QFileInfo::exists(path) && !confirm(parent, text("“%1” exists already.").arg(path), text("Replace"))) {
            return {};
        }
    }
    if (const QFileInfo file(path); file.exists() && !file.isFile()) {  // a pipe would block the window
        showFault(parent, text("“%1” is no plain file.").arg(path));
        return {};
    }
    if (!path.isEmpty()) {
        settings_.setLastFolder(role, QFileInfo(path).absolutePath());
    }
    return path;
}

QString Dialogs::openFolder(QWidget* parent, const QString& title, jobs::PathRole role) {
    const WithoutTrace without;
    QString path = QFileDialog::getExistingDirectory(parent, title, settings_.lastFolder(role));
    if (!path.isEmpty()) {
        settings_.setLastFolder(role, path);
    }
    return path;
}

SaveAnswer Dialogs::askSave(QWidget* parent, const QString& document) {
    QMessageBox box(QMessageBox::NoIcon, text("Save changes?"),
                    text("“%1” has changes that aren't saved. Without saving they are lost.").arg(document),
                    QMessageBox::Save | QMessageBox::Discard | QMessageBox::Cancel, parent);
    box.setTextFormat(Qt::PlainText);
    box.setDefaultButton(QMessageBox::Save);
    switch (box.exec()) {
        case QMessageBox::Save:
            return SaveAnswer::save;
        case QMessageBox::Discard:
            return SaveAnswer::discard;
        default:
            return SaveAnswer::cancel;
    }
}

QString Dialogs::askPin(QWidget* parent, const QString& question) {
    bool isAnswered = false;
    const QString pin = QInputDialog::getText(parent, QCoreApplication::applicationName(), question,
                                              QLineEdit::Password, QString(), &isAnswered);
    return isAnswered ? pin : QString();
}

bool Dialogs::confirm(QWidget* parent, const QString& question, const QString& action) {
    QMessageBox box(QMessageBox::NoIcon, QCoreApplication::applicationName(), question, QMessageBox::Cancel, parent);
    box.setTextFormat(Qt::PlainText);
    const QPushButton* accept = box.addButton(action, QMessageBox::AcceptRole);
    box.setDefaultButton(QMessageBox::Cancel);  // an accidental Enter loses nothing
    box.exec();
    return box.clickedButton() == accept;
}

void Dialogs::showFault(QWidget* parent, const QString& fault) {
    QMessageBox box(QMessageBox::Warning, QCoreApplication::applicationName(), fault, QMessageBox::Ok, parent);
    box.setTextFormat(Qt::PlainText);
    box.exec();
}

}  // namespace desktop
